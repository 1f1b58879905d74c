#include "GraphFile.h"

#include <algorithm>

#include "GraphChanges.h"
#include "ReadJson.h"
#include "Text.h"

namespace QuiltTool
{

namespace
{

constexpr int64_t s_version = 1;

const std::vector<std::string> s_documentKeys{"quilt", "format", "settings", "nodes", "outputs"};
const std::vector<std::string> s_nodeKeys{"task", "params", "inputs"};
const std::vector<std::string> s_outputKeys{"node", "file", "params", "area"};

const std::vector<Param>& settingParams()
{
    static const std::vector<Param> s_params = {
        integer("threads", "").isComputed().between(1, 1024),
        list("tileSize", "", integer("", "").between(1, 1 << 20)).ofCount(2).isComputed(),
        integer("memory", "").isComputed().between(1, 1 << 30),
        integer("swap", "").isComputed().between(0, 1 << 30),
        flag("caching", "").isComputed(),
        text("ocio", "").isComputed().named(FileUse::Other),
    };
    return s_params;
}

// Checks a document part by part.
class GraphChecker
{
public:
    GraphChecker(const Json& document, GraphFile& graph, Problems& problems)
        : m_document(document), m_graph(graph), m_problems(problems)
    {
        m_context.folder = graph.folder;
        m_context.problems = &problems;
    }

    void check()
    {
        if (!m_document.is_object())
        {
            m_problems.add("", "found " + describe(m_document) + ", expected an object");
            return;
        }
        refuseOtherKeys(m_document, "", "a graph file", s_documentKeys);
        checkVersion();
        checkFormat();
        checkSettings();
        listNodes();
        for (size_t i = 0; i < m_graph.nodes.size(); ++i)
            checkInputs(m_graph.nodes[i]);
        // The format of a picture that is read is known when its header is read.
        if (!m_context.format && m_graph.firstFileIn())
            m_context.format = UTIL::Rect(0, 0, 1, 1);
        for (const Node& node : m_graph.nodes)
            checkParams(node);
        checkOutputs();
    }

private:
    void checkVersion()
    {
        const auto version = m_document.find("quilt");
        if (version == m_document.end() && isMisspelt("quilt", keysOf(m_document), s_documentKeys))
            return;
        if (version == m_document.end())
            m_problems.add("/quilt", "missing; expected 1, the version of the graph file's format");
        else if (*version != s_version)
            m_problems.add("/quilt", "found " + describe(*version) +
                                         ", expected 1, the version of the graph file's format");
    }

    void checkFormat()
    {
        const auto given = m_document.find("format");
        if (given == m_document.end())
            return;
        const size_t problems = m_problems.size();
        Values values;
        values.set("format", parseValue(rect("format", ""), *given, "/format", m_context));
        if (m_problems.size() > problems)
            m_context.format = UTIL::Rect(0, 0, 1, 1); // the one problem is said
        else if (values.rect("format").isNull())
            m_problems.add("/format", "found " + describe(*given) +
                                          ", expected a rectangle that holds a pixel");
        else
            m_context.format = m_graph.format = values.rect("format");
    }

    void checkSettings()
    {
        const auto given = m_document.find("settings");
        if (given == m_document.end())
            return;
        if (!isObject(*given, "/settings"))
            return;
        for (const auto& [key, value] : given->items())
            if (std::ranges::find(settingParams(), key, &Param::name) == settingParams().end())
                m_problems.add(below("/settings", key),
                               "no such setting" + suggestion(key, namesOf(settingParams())));
        Json known = Json::object();
        for (const Param& param : settingParams())
            if (given->contains(param.name))
                known[param.name] = (*given)[param.name];
        const size_t problems = m_problems.size();
        const Values values = parseParams(settingParams(), known, "/settings", "", m_context);
        if (m_problems.size() == problems)
            keepSettings(values, known);
    }

    void keepSettings(const Values& values, const Json& known)
    {
        Settings& settings = m_graph.settings;
        const auto number = [&](const char* name, std::optional<unsigned long>& setting) {
            if (values.has(name))
                setting = static_cast<unsigned long>(values.integer(name));
        };
        number("threads", settings.threads);
        number("memory", settings.memory);
        number("swap", settings.swap);
        if (values.has("tileSize"))
            settings.tileSize = UTIL::Rect(0, 0, known["tileSize"][0], known["tileSize"][1]);
        if (values.has("caching"))
            settings.caching = values.flag("caching");
        if (values.has("ocio"))
            settings.ocio = values.text("ocio");
    }

    void listNodes()
    {
        const auto nodes = m_document.find("nodes");
        if (nodes == m_document.end())
        {
            if (!isMisspelt("nodes", keysOf(m_document), s_documentKeys))
                m_problems.add("/nodes", "missing; expected the nodes by name");
            return;
        }
        if (!isObject(*nodes, "/nodes"))
            return;
        for (const auto& [name, json] : nodes->items())
        {
            m_nodeIndex[name] = m_graph.nodes.size();
            m_nodeNames.push_back(name);
            m_graph.nodes.push_back({name, below("/nodes", name), nullptr, Json::object(), {}});
            if (isObject(json, m_graph.nodes.back().place))
                checkTask(json, m_graph.nodes.back());
        }
    }

    void checkTask(const Json& json, Node& node)
    {
        refuseOtherKeys(json, node.place, "a node", s_nodeKeys);
        const std::string place = below(node.place, "task");
        const auto task = json.find("task");
        if (task == json.end() && isMisspelt("task", keysOf(json), s_nodeKeys))
            return;
        if (task == json.end())
            m_problems.add(place, "missing; expected the name of an operation");
        else if (!task->is_string())
            m_problems.add(place,
                           "found " + describe(*task) + ", expected the name of an operation");
        else if (const auto& name = task->get_ref<const std::string&>();
                 !(node.operation = findOperation(name)))
            m_problems.add(place, "no such operation " + inQuotes(name) +
                                      suggestion(name, namesOf(operations())));
        if (const auto params = json.find("params");
            params != json.end() && isObject(*params, below(node.place, "params")))
            node.params = *params;
    }

    void checkInputs(Node& node)
    {
        const Json& json = m_document["nodes"][node.name];
        if (!node.operation || !json.is_object())
            return;
        const std::string place = below(node.place, "inputs");
        Json inputs = Json::object();
        if (const auto given = json.find("inputs"); given != json.end())
        {
            if (!isObject(*given, place))
                return;
            inputs = *given;
        }
        const std::string& type = node.operation->name;
        for (const auto& [key, value] : inputs.items())
            if (!node.operation->findInput(key))
                m_problems.add(below(place, key),
                               "no such input of " + type +
                                   suggestion(key, namesOf(node.operation->inputs)));
        for (const InputSlot& slot : node.operation->inputs)
        {
            std::vector<size_t>& sources = node.inputs[slot.name];
            const std::string slotPlace = below(place, slot.name);
            if (const auto given = inputs.find(slot.name); given != inputs.end())
                sources = slot.list ? sourcesOf(*given, slotPlace) : sourceOf(*given, slotPlace);
            else if (!slot.optional &&
                     !isMisspelt(slot.name, keysOf(inputs), namesOf(node.operation->inputs)))
                m_problems.add(slotPlace, "missing; " + type + " needs " +
                                              (slot.list ? "a list of nodes" : "a node") +
                                              " there");
        }
    }

    std::vector<size_t> sourceOf(const Json& json, const std::string& place)
    {
        if (!json.is_string())
        {
            m_problems.add(place, "found " + describe(json) + ", expected the name of a node");
            return {};
        }
        const std::string& name = json.get_ref<const std::string&>();
        const auto found = m_nodeIndex.find(name);
        if (found != m_nodeIndex.end())
            return {found->second};
        m_problems.add(place, "no such node " + inQuotes(name) + suggestion(name, m_nodeNames));
        return {};
    }

    std::vector<size_t> sourcesOf(const Json& json, const std::string& place)
    {
        if (!json.is_array())
        {
            m_problems.add(place, "found " + describe(json) + ", expected a list of nodes");
            return {};
        }
        std::vector<size_t> sources;
        for (size_t i = 0; i < json.size(); ++i)
            std::ranges::copy(sourceOf(json[i], below(place, i)), std::back_inserter(sources));
        return sources;
    }

    void checkParams(const Node& node)
    {
        if (node.operation)
            parseParams(node.operation->params, node.params, below(node.place, "params"),
                        node.operation->name, m_context);
    }

    void checkOutputs()
    {
        const auto outputs = m_document.find("outputs");
        if (outputs == m_document.end())
            return;
        if (!outputs->is_array())
        {
            m_problems.add("/outputs", "found " + describe(*outputs) + ", expected a list");
            return;
        }
        for (size_t i = 0; i < outputs->size(); ++i)
            if (const std::string place = below("/outputs", i); isObject((*outputs)[i], place))
                checkOutput((*outputs)[i], place);
    }

    void checkOutput(const Json& json, const std::string& place)
    {
        refuseOtherKeys(json, place, "an output", s_outputKeys);
        Output output;
        output.place = place;
        if (const auto node = json.find("node"); node == json.end())
        {
            if (!isMisspelt("node", keysOf(json), s_outputKeys))
                m_problems.add(below(place, "node"), "missing; expected the name of a node");
        }
        else if (const auto source = sourceOf(*node, below(place, "node")); !source.empty())
            output.node = source.front();
        if (const auto area = json.find("area"); area != json.end())
            output.area = parseArea(*area, below(place, "area"), m_context);
        const auto params = json.find("params");
        if (params != json.end() && isObject(*params, below(place, "params")))
            output.params = *params;
        if (const auto file = json.find("file"); file != json.end())
            checkFile(*file, output);
        else if (params != json.end())
            m_problems.add(below(place, "params"),
                           "without \"file\" nothing is written that they could be for");
        m_graph.outputs.push_back(output);
    }

    void checkFile(const Json& file, Output& output)
    {
        const std::string place = below(output.place, "file");
        const std::string paramsPlace = below(output.place, "params");
        if (!file.is_string() || file.get_ref<const std::string&>().empty())
        {
            m_problems.add(place, "found " + describe(file) + ", expected a file name");
            return;
        }
        output.file = file;
        if (output.params.contains("filename"))
            m_problems.add(below(paramsPlace, "filename"),
                           "the file's name is given by \"file\" already");
        output.params["filename"] = file;
        parseParams(fileOut().params, output.params, paramsPlace, fileOut().name, m_context);
    }

    bool isObject(const Json& json, const std::string& place)
    {
        if (json.is_object())
            return true;
        m_problems.add(place, "found " + describe(json) + ", expected an object");
        return false;
    }

    void refuseOtherKeys(const Json& object, const std::string& place, const std::string& owner,
                         const std::vector<std::string>& keys)
    {
        for (const auto& [key, value] : object.items())
            if (std::ranges::find(keys, key) == keys.end())
                m_problems.add(below(place, key),
                               "no such key of " + owner + suggestion(key, keys));
    }

    const Json& m_document;
    GraphFile& m_graph;
    Problems& m_problems;
    ParseContext m_context;
    std::map<std::string, size_t> m_nodeIndex;
    std::vector<std::string> m_nodeNames;
};

ParseContext contextAt(int64_t frame, const std::optional<UTIL::Rect>& format,
                       const std::filesystem::path& folder, Problems& problems)
{
    ParseContext context;
    context.frame = frame;
    context.format = format;
    context.folder = folder;
    context.problems = &problems;
    return context;
}

// What was checked before has no problems at any frame.
Values valuesAt(const std::vector<Param>& params, const Json& json, const ParseContext& context)
{
    Values values = parseParams(params, json, "", "", context);
    if (!context.problems->isEmpty())
        throw std::logic_error(context.problems->list().front().text);
    return values;
}

}

GraphFile checkGraph(const Json& document, const std::filesystem::path& folder, Problems& problems)
{
    GraphFile graph;
    graph.folder = folder;
    GraphChecker(document, graph, problems).check();
    sortNodes(graph, problems);
    return graph;
}

GraphFile readGraphFile(const std::string& path, const GraphChanges& changes)
{
    Problems problems;
    Json document = readJson(readText(path), path, problems);
    applyChanges(document, changes);
    GraphFile graph = checkGraph(
        document, path == "-" ? "" : std::filesystem::path(path).parent_path(), problems);
    graph.path = path;
    if (problems.isEmpty())
        return graph;
    std::vector<std::string> lines;
    for (const Problem& problem : problems.list())
        lines.push_back(path + ": " + (problem.place.empty() ? "" : problem.place + ": ") +
                        problem.text);
    throw UsageError(lines);
}

Values GraphFile::valuesOf(const Node& node, int64_t frame,
                           const std::optional<UTIL::Rect>& frameFormat) const
{
    Problems problems;
    return valuesAt(node.operation->params, node.params,
                    contextAt(frame, frameFormat, folder, problems));
}

Values GraphFile::fileValuesOf(const Output& output, int64_t frame,
                               const std::optional<UTIL::Rect>& frameFormat) const
{
    Problems problems;
    return valuesAt(fileOut().params, output.params,
                    contextAt(frame, frameFormat, folder, problems));
}

std::vector<std::pair<std::string, std::string>>
GraphFile::fileNames(const std::vector<Param>& params, const Json& values, int64_t frame,
                     FileUse use) const
{
    std::vector<std::pair<std::string, std::string>> files;
    for (const Param& param : params)
        if (const auto value = values.find(param.name);
            param.fileUse == use && value != values.end() && value->is_string())
            files.emplace_back(
                param.name,
                resolved(withFrame(value->get_ref<const std::string&>(), frame), folder));
    return files;
}

const Node* GraphFile::firstFileIn() const
{
    const Node* first = nullptr;
    for (const Node& node : nodes)
        if (node.operation && node.operation->name == "FileIn" &&
            (!first || node.name < first->name))
            first = &node;
    return first;
}

std::vector<bool> GraphFile::neededByOutputs() const
{
    std::vector<bool> needed(nodes.size());
    for (const Output& output : outputs)
        needed[output.node] = true;
    // Consumers stand behind their inputs.
    for (size_t i = nodes.size(); i-- > 0;)
        if (needed[i])
            for (const auto& [slot, sources] : nodes[i].inputs)
                for (const size_t source : sources)
                    needed[source] = true;
    return needed;
}

}
