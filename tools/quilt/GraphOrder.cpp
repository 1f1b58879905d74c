#include <algorithm>
#include <numeric>

#include "GraphFile.h"
#include "Text.h"

namespace QuiltTool
{

namespace
{

// Walks from every node to its inputs, depth first, without recursion: a graph may be as deep as
// it is long.
class Walk
{
public:
    Walk(const GraphFile& graph, Problems& problems)
        : m_nodes(graph.nodes), m_problems(problems), m_states(m_nodes.size(), State::New)
    {}

    /// The nodes in an order in which inputs come first, otherwise in that of names.
    std::vector<size_t> order()
    {
        for (size_t i = 0; i < m_nodes.size(); ++i)
            if (m_states[i] == State::New)
                walkFrom(i);
        return m_order;
    }

private:
    enum class State
    {
        New,
        OnPath,
        Done
    };

    struct Step
    {
        size_t node;
        std::vector<size_t> inputs;
        size_t next = 0;
    };

    void enter(size_t node)
    {
        m_states[node] = State::OnPath;
        std::vector<size_t> inputs;
        for (const auto& [slot, sources] : m_nodes[node].inputs)
            inputs.insert(inputs.end(), sources.begin(), sources.end());
        m_path.push_back({node, std::move(inputs)});
    }

    void walkFrom(size_t start)
    {
        enter(start);
        while (!m_path.empty())
        {
            Step& step = m_path.back();
            if (step.next == step.inputs.size())
            {
                m_states[step.node] = State::Done;
                m_order.push_back(step.node);
                m_path.pop_back();
                continue;
            }
            const size_t input = step.inputs[step.next++];
            if (m_states[input] == State::New)
                enter(input);
            else if (m_states[input] == State::OnPath)
                reportCycle(input);
        }
    }

    // From the node through its inputs back to itself.
    void reportCycle(size_t node)
    {
        auto step = std::ranges::find(m_path, node, &Step::node);
        std::vector<std::string> names;
        for (; step != m_path.end(); ++step)
            names.push_back(inQuotes(m_nodes[step->node].name));
        names.push_back(inQuotes(m_nodes[node].name));
        m_problems.add(m_nodes[node].place, "a cycle of inputs: " + joined(names, " <- "));
    }

    const std::vector<Node>& m_nodes;
    Problems& m_problems;
    std::vector<State> m_states;
    std::vector<Step> m_path;
    std::vector<size_t> m_order;
};

}

void sortNodes(GraphFile& graph, Problems& problems)
{
    const std::vector<size_t> order = Walk(graph, problems).order();
    std::vector<size_t> places(order.size());
    std::vector<Node> sorted;
    for (const size_t node : order)
    {
        places[node] = sorted.size();
        sorted.push_back(std::move(graph.nodes[node]));
    }
    for (Node& node : sorted)
        for (auto& [slot, sources] : node.inputs)
            for (size_t& source : sources)
                source = places[source];
    graph.nodes = std::move(sorted);
    for (Output& output : graph.outputs)
        if (output.node < places.size())
            output.node = places[output.node];
}

}
