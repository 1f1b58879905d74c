#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <UTIL/Rect.h>

#include "Operation.h"
#include "ParseValue.h"
#include "Problems.h"

namespace QuiltTool
{

/// A node of the graph file. Its parameters have been checked, and are read once more at each
/// frame.
struct Node
{
    std::string name;
    std::string place; ///< JSON pointer
    const Operation* operation = nullptr;
    Json params = Json::object();
    std::map<std::string, std::vector<size_t>> inputs; ///< nodes by the slot's name
};

struct Output
{
    std::string place; ///< JSON pointer
    size_t node = 0;
    std::optional<std::vector<UTIL::Rect>> area;
    std::optional<std::string> file; ///< as it stands in the graph file
    Json params = Json::object();    ///< of the file-out task, the file's name among them
};

struct Settings
{
    std::optional<unsigned long> threads;
    std::optional<UTIL::Rect> tileSize;        ///< from (0, 0), in pixels
    std::optional<unsigned long> memory, swap; ///< MiB
    std::optional<bool> caching;
    std::optional<std::string> ocio; ///< a file
};

/// A graph file without mistakes.
struct GraphFile
{
    std::filesystem::path path, folder;
    std::optional<UTIL::Rect> format;
    Settings settings;
    std::vector<Node> nodes; ///< in an order in which inputs come first
    std::vector<Output> outputs;

    /// The values of a node's parameters at a frame; `format` is that of the frame.
    Values valuesOf(const Node& node, int64_t frame,
                    const std::optional<UTIL::Rect>& frameFormat) const;
    /// Those of the file-out task behind an output that names a file.
    Values fileValuesOf(const Output& output, int64_t frame,
                        const std::optional<UTIL::Rect>& frameFormat) const;

    /// The files that parameters of that use name at a frame, with the parameters' names.
    std::vector<std::pair<std::string, std::string>> fileNames(const std::vector<Param>& params,
                                                               const Json& values, int64_t frame,
                                                               FileUse use) const;

    /// The first FileIn node in the order of names; null without one. It gives a graph its format
    /// that has none of its own.
    const Node* firstFileIn() const;

    /// True for each node that the outputs need.
    std::vector<bool> neededByOutputs() const;
};

/// What the command line changes in a graph file before it is checked.
struct GraphChanges
{
    std::vector<std::string> settings; ///< "NODE.PARAM=VALUE"
    std::optional<std::string> outputFile;
};

/// Reads a graph file, "-" being standard input. All that is wrong with it is thrown as one
/// UsageError.
GraphFile readGraphFile(const std::string& path, const GraphChanges& changes);

/// Checks a document; the parts of the result that have problems are not to be used.
GraphFile checkGraph(const Json& document, const std::filesystem::path& folder, Problems& problems);

/// Brings nodes into an order in which inputs come first; names those of each cycle.
void sortNodes(GraphFile& graph, Problems& problems);

}
