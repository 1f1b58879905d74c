#include "RandomGraph.h"

#include <algorithm>
#include <sstream>

#include <EMULSION/Channels.h>

#include "private/InPlaceTask.h"

namespace QUILT::Test
{

namespace
{

constexpr int s_mostTrials = 2000; // of shrinking

GraphNode leaf(const char* name, uint64_t seed)
{
    return {operationNamed(name), {}, seed};
}

// Mostly an operation on what was made last, so that chains come about.
size_t randomInput(size_t nodeCount, Random& random)
{
    if (random.oneIn(3))
        return static_cast<size_t>(random.between(0, static_cast<int64_t>(nodeCount) - 1));
    return nodeCount - 1;
}

// One that may come behind that many others.
GraphNode randomNode(size_t nodeCount, Random& random)
{
    GraphNode node{0, {}, random.bits()};
    node.operation =
        static_cast<size_t>(random.between(0, static_cast<int64_t>(operations().size()) - 1));
    for (size_t i = 0; i < operations()[node.operation].inputs; ++i)
        node.inputs.push_back(randomInput(nodeCount, random));
    return node;
}

// Without the nodes that no output needs.
RandomGraph compacted(const RandomGraph& graph)
{
    std::vector<bool> needed(graph.nodes.size());
    for (const size_t output : graph.outputs)
        needed[output] = true;
    for (size_t i = graph.nodes.size(); i-- > 0;)
        for (const size_t input : graph.nodes[i].inputs)
            needed[input] = needed[input] || needed[i];

    RandomGraph result;
    std::vector<size_t> newNumbers(graph.nodes.size());
    for (size_t i = 0; i < graph.nodes.size(); ++i)
    {
        if (!needed[i])
            continue;
        newNumbers[i] = result.nodes.size();
        result.nodes.push_back(graph.nodes[i]);
        for (size_t& input : result.nodes.back().inputs)
            input = newNumbers[input];
    }
    for (const size_t output : graph.outputs)
        result.outputs.push_back(newNumbers[output]);
    return result;
}

void replaceUses(RandomGraph& graph, size_t node, size_t by)
{
    for (GraphNode& other : graph.nodes)
        std::ranges::replace(other.inputs, node, by);
    std::ranges::replace(graph.outputs, node, by);
}

std::string parametersOf(RenderTask& task)
{
    CacheIDStream parameters;
    if (const auto* const inPlace = dynamic_cast<Private::InPlaceTask*>(&task))
        inPlace->getOp()->computeCacheID(parameters);
    else
        task.computeCacheID(parameters);
    return parameters.str();
}

// Takes a smaller graph whenever that fails as well.
class Shrinker
{
public:
    Shrinker(const RandomGraph& graph, const std::function<bool(RandomGraph&)>& fails)
        : m_graph(compacted(graph)), m_fails(fails)
    {}

    RandomGraph run()
    {
        while (dropOutputs() || dropNodes() || makeLeaves() || lowerDraws())
        {}
        return m_graph;
    }

private:
    bool take(const RandomGraph& smaller)
    {
        if (++m_trials > s_mostTrials)
            return false;
        RandomGraph candidate = compacted(smaller);
        if (!m_fails(candidate))
            return false;
        m_graph = candidate;
        return true;
    }

    bool dropOutputs()
    {
        for (size_t i = 0; m_graph.outputs.size() > 1 && i < m_graph.outputs.size(); ++i)
        {
            RandomGraph smaller = m_graph;
            smaller.outputs.erase(smaller.outputs.begin() + static_cast<std::ptrdiff_t>(i));
            if (take(smaller))
                return true;
        }
        return false;
    }

    bool dropNodes()
    {
        for (size_t i = m_graph.nodes.size(); i-- > 0;)
        {
            for (const size_t input : m_graph.nodes[i].inputs)
            {
                RandomGraph smaller = m_graph;
                replaceUses(smaller, i, input);
                if (take(smaller))
                    return true;
            }
        }
        return false;
    }

    bool makeLeaves()
    {
        for (size_t i = m_graph.nodes.size(); i-- > 0;)
        {
            if (m_graph.nodes[i].inputs.empty())
                continue;
            RandomGraph smaller = m_graph;
            smaller.nodes[i] = leaf("Pattern", m_graph.nodes[i].seed);
            if (take(smaller))
                return true;
        }
        return false;
    }

    bool lowerDraws()
    {
        bool lowered = false;
        for (size_t i = 0; i < m_graph.nodes.size(); ++i)
        {
            m_graph.build(); // counts the draws
            for (size_t draw = 0; draw < m_graph.nodes[i].draws; ++draw)
                lowered = lowerDraw(i, draw) || lowered;
        }
        return lowered;
    }

    bool lowerDraw(size_t node, size_t draw)
    {
        const auto found = m_graph.nodes[node].changed.find(draw);
        const uint64_t now =
            found == m_graph.nodes[node].changed.end() ? ~uint64_t(0) : found->second;
        for (const uint64_t value : {now >> 63 ? uint64_t(0) : now, now / 16, now / 2})
        {
            if (value >= now)
                continue;
            RandomGraph smaller = m_graph;
            smaller.nodes[node].changed[draw] = value;
            if (take(smaller))
                return true;
        }
        return false;
    }

    RandomGraph m_graph;
    const std::function<bool(RandomGraph&)> m_fails;
    int m_trials = 0;
};

}

std::vector<ref_ptr<RenderTask>> RandomGraph::buildAll()
{
    std::vector<ref_ptr<RenderTask>> tasks;
    for (GraphNode& node : nodes)
    {
        Inputs inputs;
        for (const size_t input : node.inputs)
            inputs.push_back(tasks[input]);
        const Operation& operation = operations()[node.operation];
        Random random(node.seed, node.changed);
        tasks.push_back(operation.accepts(inputs) ? operation.make(random, inputs) : inputs[0]);
        node.draws = random.drawCount();
    }
    return tasks;
}

std::vector<ref_ptr<RenderTask>> RandomGraph::build()
{
    const std::vector<ref_ptr<RenderTask>> tasks = buildAll();
    std::vector<ref_ptr<RenderTask>> result;
    for (const size_t output : outputs)
        result.push_back(tasks[output]);
    return result;
}

std::string RandomGraph::text()
{
    std::ostringstream text;
    const std::vector<ref_ptr<RenderTask>> tasks = buildAll();
    for (size_t i = 0; i < nodes.size(); ++i)
    {
        const GraphNode& node = nodes[i];
        text << "  " << i << " = " << operations()[node.operation].name << '(';
        for (const size_t input : node.inputs)
            text << ' ' << input;
        text << " ) seed " << node.seed;
        if (!node.changed.empty())
            text << " with " << node.changed.size() << " draws lowered";
        unsigned long channels = 0;
        tasks[i]->getOutputDescription(&channels, nullptr);
        text << ": channels " << EMULSION::GetChannelMaskName(channels) << ", background "
             << tasks[i]->getBackgroundColor() << ", data "
             << tasks[i]->getDefinedOutputDataRegion() << ", parameters " << parametersOf(*tasks[i])
             << '\n';
    }
    text << "  outputs";
    for (const size_t output : outputs)
        text << ' ' << output;
    return text.str();
}

RandomGraph randomGraph(Random& random)
{
    RandomGraph graph;
    const int64_t count = random.between(1, 12);
    while (static_cast<int64_t>(graph.nodes.size()) < count)
    {
        if (graph.nodes.empty() || random.oneIn(8))
        {
            graph.nodes.push_back(leaf("Pattern", random.bits()));
            continue;
        }
        graph.nodes.push_back(randomNode(graph.nodes.size(), random));
    }
    graph.outputs.push_back(graph.nodes.size() - 1);
    while (graph.outputs.size() < 3 && random.oneIn(4))
        graph.outputs.push_back(randomInput(graph.nodes.size(), random));
    return compacted(graph);
}

RandomGraph edited(RandomGraph graph, Random& random)
{
    const auto chosen =
        static_cast<size_t>(random.between(0, static_cast<int64_t>(graph.nodes.size()) - 1));
    GraphNode& node = graph.nodes[chosen];
    switch (random.between(0, 6))
    {
    case 0:
        for (size_t& input : node.inputs)
            input = random.oneIn(2) ? randomInput(chosen, random) : input;
        break;
    case 1:
        if (!node.inputs.empty())
            replaceUses(graph, chosen, random.pick(node.inputs));
        break;
    case 2: // a node at the end
        graph.nodes.push_back(randomNode(graph.nodes.size(), random));
        graph.outputs.back() = graph.nodes.size() - 1;
        break;
    case 3:
        graph.outputs.back() = chosen;
        break;
    default:
        node.seed = random.bits();
    }
    return compacted(graph);
}

RandomGraph graphOf(size_t operation, Random& random)
{
    RandomGraph graph;
    GraphNode node{operation, {}, random.bits()};
    for (size_t i = 0; i < operations()[operation].inputs; ++i)
    {
        node.inputs.push_back(i);
        graph.nodes.push_back(leaf(random.oneIn(6) ? "Pixel" : "Pattern", random.bits()));
        if (operations()[operation].needsZeroBackgrounds)
            graph.nodes.back().operation = operationNamed("ZeroPattern");
    }
    graph.outputs.push_back(graph.nodes.size());
    graph.nodes.push_back(std::move(node));
    return graph;
}

RandomGraph shrink(const RandomGraph& graph, const std::function<bool(RandomGraph&)>& fails)
{
    return Shrinker(graph, fails).run();
}

}
