#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "OperationTable.h"

/// Small graphs made of the rows of the operation table.
namespace QUILT::Test
{

struct GraphNode
{
    size_t operation; ///< number of the row
    std::vector<size_t> inputs;
    uint64_t seed = 0;                       ///< of the parameters
    std::map<size_t, uint64_t> changed = {}; ///< draws of the parameters that shrinking lowered
    size_t draws = 0;                        ///< how many the row has made
};

/// Inputs come before their consumers.
struct RandomGraph
{
    std::vector<GraphNode> nodes;
    std::vector<size_t> outputs;

    /// Fresh tasks for the outputs. An operation that does not accept its inputs is left out: its
    /// consumers get its first input.
    std::vector<ref_ptr<RenderTask>> build();

    /// A line for each node: its row, inputs, seed, description and parameters.
    std::string text();

private:
    std::vector<ref_ptr<RenderTask>> buildAll();
};

/// Up to 12 nodes and 3 outputs; nodes may be shared, and used twice by one consumer.
RandomGraph randomGraph(Random& random);

/// The graph after a change that a user may make: other parameters, another input, a node more or
/// less, another output. What is not changed is what it was.
RandomGraph edited(RandomGraph graph, Random& random);

/// The row on inputs that are patterns and the like.
RandomGraph graphOf(size_t operation, Random& random);

/// A smaller graph that fails as well: fewer outputs and nodes, then smaller draws, and with these
/// smaller rectangles and plainer parameters.
RandomGraph shrink(const RandomGraph& graph, const std::function<bool(RandomGraph&)>& fails);

}
