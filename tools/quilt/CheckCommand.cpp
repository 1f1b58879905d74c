#include <algorithm>
#include <iostream>

#include "Build.h"
#include "ColorConfig.h"
#include "CommandLine.h"
#include "Describe.h"
#include "Text.h"

namespace QuiltTool
{

namespace
{

constexpr int s_done = 0, s_failed = 1;

// What a task says of itself.
struct Description
{
    unsigned long channels = 0;
    UTIL::Region region;
    Imath::C4f background;
    std::string cacheID;
};

Description descriptionOf(RenderTask& task)
{
    Description description;
    task.getOutputDescription(&description.channels, &description.region);
    description.background = task.getBackgroundColor();
    description.cacheID = task.getCacheID();
    return description;
}

struct BuiltGraph
{
    GraphFile graph;
    Frame frame;

    /// Calls `see(node, description)` for each node that was built, inputs first.
    template <class See>
    void forEachNode(See see) const
    {
        for (size_t i = 0; i < graph.nodes.size() && i < frame.tasks.size(); ++i)
            if (frame.tasks[i])
                see(graph.nodes[i], descriptionOf(*frame.tasks[i]));
    }
};

BuiltGraph build(const GraphOptions& options)
{
    BuiltGraph built;
    built.graph = readGraphFile(options.graph, options.changes);
    const std::optional<std::string>& ofGraph = built.graph.settings.ocio;
    setColorConfig(options.ocio ? options.ocio : ofGraph,
                   options.ocio ? "--ocio" : options.graph + ": /settings/ocio");
    built.frame = buildFrame(built.graph, options.frame, {}, false);
    for (const Failure& failure : built.frame.failures)
        std::cerr << textOf(failure) << '\n';
    return built;
}

void printTable(std::vector<std::vector<std::string>> rows)
{
    std::vector<size_t> widths(rows.front().size());
    for (const auto& row : rows)
        for (size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], row[i].size());
    for (const auto& row : rows)
    {
        std::string line;
        for (size_t i = 0; i < row.size(); ++i)
            line += row[i] + std::string(widths[i] - row[i].size() + 2, ' ');
        std::cout << trimmed(line) << '\n';
    }
}

std::string escapedForDot(const std::string& text)
{
    std::string escaped;
    for (const char letter : text)
    {
        if (letter == '"' || letter == '\\')
            escaped += '\\';
        if (letter == '\n')
            escaped += "\\n";
        else
            escaped += letter;
    }
    return escaped;
}

}

int check(const GraphOptions& options)
{
    const BuiltGraph built = build(options);
    if (options.json)
    {
        OrderedJson nodes = OrderedJson::array();
        built.forEachNode([&](const Node& node, const Description& description) {
            nodes.push_back({{"name", node.name},
                             {"type", node.operation->name},
                             {"channels", channelsText(description.channels)},
                             {"dataRegion", regionJson(description.region)},
                             {"background", colorJson(description.background)},
                             {"cacheID", description.cacheID}});
        });
        printJson({{"nodes", nodes}});
    }
    else
    {
        std::vector<std::vector<std::string>> rows = {
            {"NAME", "TYPE", "CHANNELS", "DATA REGION", "BACKGROUND", "CACHE ID"}};
        built.forEachNode([&](const Node& node, const Description& description) {
            rows.push_back({node.name, node.operation->name, channelsText(description.channels),
                            regionText(description.region), colorText(description.background),
                            description.cacheID});
        });
        printTable(std::move(rows));
    }
    return built.frame.failures.empty() ? s_done : s_failed;
}

int dot(const GraphOptions& options)
{
    const BuiltGraph built = build(options);
    std::cout << "digraph quilt {\n  rankdir=BT;\n  node [shape=box];\n";
    built.forEachNode([&](const Node& node, const Description& description) {
        const std::string name = escapedForDot(node.name);
        std::cout << "  \"" << name << "\" [label=\"" << name << "\\n"
                  << node.operation->name << ", " << channelsText(description.channels) << "\\n"
                  << regionText(description.region) << "\"];\n";
    });
    for (const Node& node : built.graph.nodes)
        for (const auto& [slot, sources] : node.inputs)
            for (const size_t source : sources)
                std::cout << "  \"" << escapedForDot(built.graph.nodes[source].name) << "\" -> \""
                          << escapedForDot(node.name) << "\" [label=\"" << escapedForDot(slot)
                          << "\"];\n";
    for (const Output& output : built.graph.outputs)
        if (output.file)
            std::cout << "  \"" << escapedForDot(output.place) << "\" [shape=note, label=\""
                      << escapedForDot(*output.file) << "\"];\n  \""
                      << escapedForDot(built.graph.nodes[output.node].name) << "\" -> \""
                      << escapedForDot(output.place) << "\";\n";
    std::cout << "}\n";
    return built.frame.failures.empty() ? s_done : s_failed;
}

}
