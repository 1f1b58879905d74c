#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "GraphFile.h"

namespace QuiltTool
{

/// The node behind a task; null when the graph file has none: a task that the engine put in.
/// Factories name their inner tasks "<node>.<step>".
const Node* nodeOf(const GraphFile& graph, const std::string& task);

/// What went wrong with a node.
struct Failure
{
    std::string node;
    std::string kind; ///< "a rendering error", "an EMULSION error", ...
    std::string message;
};

/// "node: kind: message"
std::string textOf(const Failure& failure);

/// The failure that the exception in flight tells of. To be called inside a catch block.
Failure failureInFlight(const std::string& node);

/// One frame of a graph, as tasks. Tasks serve one render.
struct Frame
{
    int64_t number = 1;
    std::optional<UTIL::Rect> format;         ///< of the graph at this frame
    std::vector<ref_ptr<RenderTask>> tasks;   ///< for each node; null for those left out
    std::vector<ref_ptr<RenderTask>> outputs; ///< for each output: what is to be rendered
    std::vector<Failure> failures;            ///< of nodes that could not be built
};

/// Builds the nodes that `wanted` names (all of them when it is empty) and describes each; with
/// `withOutputs` also the tasks that write the outputs. Nodes behind one that failed are left out.
/// Stops early when `isStopped` says so.
Frame buildFrame(const GraphFile& graph, int64_t frame, const std::vector<bool>& wanted,
                 bool withOutputs, const std::function<bool()>& isStopped = {});

}
