#include "GraphChanges.h"

#include "Text.h"

namespace QuiltTool
{

namespace
{

// A value as in the graph file; what is no JSON is taken as a text, so that nobody has to quote a
// file name twice.
Json valueOf(const std::string& text)
{
    Json value = Json::parse(text, nullptr, false, true);
    return value.is_discarded() ? Json(text) : value;
}

std::vector<std::string> split(const std::string& text, char separator)
{
    std::vector<std::string> parts(1);
    for (const char letter : text)
    {
        if (letter == separator)
            parts.emplace_back();
        else
            parts.back() += letter;
    }
    return parts;
}

// The longest name of a node that the text begins with: names may hold dots themselves.
std::string nodeOf(const std::string& path, const Json& nodes)
{
    std::string longest;
    for (const auto& [name, node] : nodes.items())
        if (path.starts_with(name + '.') && name.size() >= longest.size())
            longest = name;
    return longest;
}

// The value below `parent` that the step leads to, made when it is not there.
Json& step(Json& parent, const std::string& name, const std::string& option)
{
    if (parent.is_null())
        parent = Json::object();
    if (parent.is_object())
        return parent[name];
    if (parent.is_array() && !name.empty() &&
        name.find_first_not_of("0123456789") == std::string::npos && name.size() < 10 &&
        std::stoul(name) < parent.size())
        return parent[std::stoul(name)];
    throw UsageError(option + ": there is no " + inQuotes(name) + " in " + describe(parent));
}

void applySetting(Json& document, const std::string& setting)
{
    const std::string option = "--set " + setting;
    const size_t equals = setting.find('=');
    if (equals == std::string::npos || setting.find('.') > equals)
        throw UsageError(option + ": expected NODE.PARAM=VALUE");
    const std::string path = setting.substr(0, equals);
    if (!document.is_object() || !document.contains("nodes") || !document["nodes"].is_object())
        return; // which the check says
    Json& nodes = document["nodes"];
    const std::string node = nodeOf(path, nodes);
    if (!nodes.contains(node))
    {
        const std::string wrong = path.substr(0, path.find('.'));
        throw UsageError(option + ": no such node " + inQuotes(wrong) +
                         suggestion(wrong, keysOf(nodes)));
    }
    if (!nodes[node].is_object())
        return;
    Json* place = &nodes[node]["params"];
    for (const std::string& name : split(path.substr(node.size() + 1), '.'))
        place = &step(*place, name, option);
    *place = valueOf(setting.substr(equals + 1));
}

void applyOutputFile(Json& document, const std::string& file)
{
    if (!document.is_object() || !document.contains("outputs") || !document["outputs"].is_array())
        throw UsageError("-o " + file + ": the graph file has no output to write there");
    Json& outputs = document["outputs"];
    if (outputs.size() != 1)
        throw UsageError("-o " + file + ": expected a graph file of one output, found " +
                         std::to_string(outputs.size()));
    if (outputs[0].is_object())
        outputs[0]["file"] = std::filesystem::absolute(file).string();
}

}

void applyChanges(Json& document, const GraphChanges& changes)
{
    for (const std::string& setting : changes.settings)
        applySetting(document, setting);
    if (changes.outputFile)
        applyOutputFile(document, *changes.outputFile);
}

}
