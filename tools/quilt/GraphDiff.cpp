#include "GraphDiff.h"

#include <algorithm>
#include <map>
#include <set>

namespace QuiltTool
{

namespace
{

class Differences
{
public:
    Differences(const GraphFile& before, const GraphFile& after) : m_before(before), m_after(after)
    {}

    std::vector<std::string> find()
    {
        findNodes();
        note("format", m_before.format != m_after.format);
        findSettings();
        findOutputs();
        return m_found;
    }

private:
    void note(const std::string& what, bool isDifferent)
    {
        if (isDifferent)
            m_found.push_back(what);
    }

    void findNodes()
    {
        struct Both
        {
            const Node* before = nullptr;
            const Node* after = nullptr;
        };
        std::map<std::string, Both> nodes;
        for (const Node& node : m_before.nodes)
            nodes[node.name].before = &node;
        for (const Node& node : m_after.nodes)
            nodes[node.name].after = &node;
        for (const auto& [name, node] : nodes)
        {
            note(name + " removed", !node.after);
            note(name + " added", !node.before);
            if (!node.before || !node.after)
                continue;
            if (node.before->operation != node.after->operation)
                m_found.push_back(name + ".task"); // which has parameters of its own
            else
                findParams(node.before->params, node.after->params, name);
            findInputs(*node.before, *node.after);
        }
    }

    // A list counts as one parameter: points come by the thousand.
    void findParams(const Json& before, const Json& after, const std::string& owner)
    {
        std::set<std::string> names;
        for (const Json* const params : {&before, &after})
            for (const auto& [name, value] : params->items())
                names.insert(name);
        for (const std::string& name : names)
        {
            const Json a = before.value(name, Json()), b = after.value(name, Json());
            const auto isObject = [](const Json& json) {
                return json.is_object() && !json.contains("keys");
            };
            if (isObject(a) && isObject(b))
                findParams(a, b, owner + '.' + name);
            else
                note(owner + '.' + name, a != b);
        }
    }

    void findInputs(const Node& before, const Node& after)
    {
        const auto sources = [](const GraphFile& graph, const Node& node, const std::string& slot) {
            std::vector<std::string> names;
            if (const auto found = node.inputs.find(slot); found != node.inputs.end())
                for (const size_t source : found->second)
                    names.push_back(graph.nodes[source].name);
            return names;
        };
        std::set<std::string> slots;
        for (const Node* const node : {&before, &after})
            for (const auto& [slot, nodes] : node->inputs)
                slots.insert(slot);
        for (const std::string& slot : slots)
            note(after.name + ".inputs." + slot,
                 sources(m_before, before, slot) != sources(m_after, after, slot));
    }

    void findSettings()
    {
        const Settings& a = m_before.settings;
        const Settings& b = m_after.settings;
        note("settings.threads", a.threads != b.threads);
        note("settings.tileSize", a.tileSize != b.tileSize);
        note("settings.memory", a.memory != b.memory);
        note("settings.swap", a.swap != b.swap);
        note("settings.caching", a.caching != b.caching);
        note("settings.ocio", a.ocio != b.ocio);
    }

    void findOutputs()
    {
        const size_t count = std::min(m_before.outputs.size(), m_after.outputs.size());
        for (size_t i = 0; i < std::max(m_before.outputs.size(), m_after.outputs.size()); ++i)
        {
            const std::string name = "outputs." + std::to_string(i);
            note(name + " removed", i >= m_after.outputs.size());
            note(name + " added", i >= m_before.outputs.size());
            if (i < count)
                findOutput(m_before.outputs[i], m_after.outputs[i], name);
        }
    }

    void findOutput(const Output& before, const Output& after, const std::string& name)
    {
        note(name + ".node", m_before.nodes[before.node].name != m_after.nodes[after.node].name);
        note(name + ".file", before.file != after.file);
        note(name + ".area", before.area != after.area);
        Json a = before.params, b = after.params;
        a.erase("filename");
        b.erase("filename");
        findParams(a, b, name + ".params");
    }

    const GraphFile& m_before;
    const GraphFile& m_after;
    std::vector<std::string> m_found;
};

}

std::vector<std::string> differences(const GraphFile& before, const GraphFile& after)
{
    return Differences(before, after).find();
}

}
