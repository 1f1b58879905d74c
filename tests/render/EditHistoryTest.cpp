#include <algorithm>
#include <array>
#include <functional>
#include <iterator>
#include <map>
#include <set>

#include <Bramble3/XmlElement.h>
#include <gmock/gmock.h>
#include <pthread.h>

#include "private/ImageAllocator.h"
#include "private/RenderTask_Imp.h"
#include "render/Probe.h"
#include "render/Recorder.h"
#include "support/Random.h"
#include "support/Rest.h"
#include "support/Tasks.h"

using namespace QUILT;
using namespace QUILT::Test;
using Private::RenderTask_Imp;
using Private::Tile;
using testing::ElementsAre;
using UTIL::Rect;

namespace
{

const Rect s_square(0, 0, 64, 64);

class EditHistoryTest : public testing::Test
{
protected:
    EditHistoryTest()
    {
        RenderManager::SetPollPeriod(100);
        RenderManager::setGlobalTileSize(64, 64);
    }

    void TearDown() override
    {
        RenderManager::SetMaxImageMemory(256);
        RenderManager::setRenderThreads(3);
        EXPECT_TRUE(everythingIsGone());
    }
};

// Sets up a render, and nothing more.
void setUp(const std::vector<ref_ptr<RenderTask>>& outputs)
{
    std::vector<RenderDescription> descriptions;
    for (const ref_ptr<RenderTask>& output : outputs)
        descriptions.push_back({output, Rect(0, 0, 1, 1), descriptions.size()});
    std::vector<ref_ptr<Tile>> ready;
    std::vector<FinalTile> finalTiles;
    RenderTask_Imp::setUpRender(descriptions, ready, finalTiles);
}

// Some names are those of two nodes. Inputs come before their consumers.
struct Node
{
    int number; // for good
    std::string name;
    int version; // of the parameters
    std::vector<size_t> inputs;

    std::string identity() const { return std::to_string(number) + '.' + std::to_string(version); }
};

struct Graph
{
    std::vector<Node> nodes;
    float sampleRate = 1;

    std::vector<size_t> outputs() const
    {
        std::vector<bool> isConsumed(nodes.size());
        for (const Node& node : nodes)
            for (const size_t input : node.inputs)
                isConsumed[input] = true;
        std::vector<size_t> outputs;
        for (size_t i = 0; i < nodes.size(); ++i)
            if (!isConsumed[i])
                outputs.push_back(i);
        return outputs;
    }

    std::vector<ref_ptr<RenderTask>> build() const
    {
        RenderManager::ClearRenderTaskCache();
        std::vector<ref_ptr<RenderTask>> tasks;
        for (const Node& node : nodes)
        {
            ProbeParams params{.identity = node.identity()};
            for (const size_t input : node.inputs)
                params.inputs.push_back(tasks[input]);
            tasks.push_back(probe(node.name, std::move(params)));
        }
        for (const size_t output : outputs())
            tasks[output]->setSampleRate(sampleRate, 1);
        return tasks;
    }
};

int newNumber()
{
    static int s_number = 0;
    return ++s_number;
}

std::vector<size_t> randomInputs(size_t nodes, Random& random)
{
    std::vector<size_t> inputs;
    while (nodes > 0 && inputs.size() < 3 && !random.oneIn(3))
        inputs.push_back(random.oneIn(2) ? nodes - 1
                                         : size_t(random.between(0, int64_t(nodes) - 1)));
    return inputs;
}

void addNode(Graph& graph, Random& random)
{
    const int number = newNumber();
    graph.nodes.push_back({number, "node" + std::to_string(number - (random.oneIn(9) ? 1 : 0)), 0,
                           randomInputs(graph.nodes.size(), random)});
}

void edit(Graph& graph, Random& random)
{
    const auto chosen = size_t(random.between(0, int64_t(graph.nodes.size()) - 1));
    switch (random.between(0, 5))
    {
    case 0:
        addNode(graph, random);
        break;
    case 1: // its consumers get its first input, or one input less
        for (size_t i = chosen + 1; i < graph.nodes.size(); ++i)
        {
            std::vector<size_t>& inputs = graph.nodes[i].inputs;
            if (graph.nodes[chosen].inputs.empty())
                std::erase(inputs, chosen);
            else
                std::ranges::replace(inputs, chosen, graph.nodes[chosen].inputs[0]);
        }
        break;
    case 2:
        graph.nodes[chosen].inputs = randomInputs(chosen, random);
        break;
    case 3:
        graph.sampleRate = float(random.between(1, 2));
        break;
    default:
        ++graph.nodes[chosen].version;
    }
}

// The probabilities as they are defined, with recursion and whole sets.
class PlainHistory
{
public:
    std::vector<float> render(const Graph& graph)
    {
        m_nodes = graph.nodes;
        m_order.clear();
        for (const size_t output : graph.outputs())
            list(output);

        const auto old = std::exchange(m_records, {});
        std::vector<float> edits(m_nodes.size());
        for (const size_t i : m_order)
        {
            const Record record{m_nodes[i].identity(), graph.sampleRate};
            const auto known = old.find(m_nodes[i].name);
            edits[i] = known != old.end() && known->second == record ? 0.0f : 1.0f;
            m_records.emplace(m_nodes[i].name, record);
        }

        std::vector<std::set<size_t>> dependents(m_nodes.size());
        for (size_t i = 0; i < m_nodes.size(); ++i)
        {
            const std::set<size_t> all = subgraph(i);
            for (const size_t input : m_nodes[i].inputs)
                std::ranges::set_difference(
                    all, subgraph(input),
                    std::inserter(dependents[input], dependents[input].end()));
        }
        std::vector<float> needed;
        for (const std::set<size_t>& tasks : dependents)
        {
            float product = 1;
            for (const size_t task : tasks)
                product *= 1 - edits[task];
            needed.push_back(1 - product);
        }
        return needed;
    }

private:
    using Record = std::pair<std::string, float>;

    void list(size_t i)
    {
        if (std::ranges::count(m_order, i) > 0)
            return;
        for (const size_t input : m_nodes[i].inputs)
            list(input);
        m_order.push_back(i);
    }

    std::set<size_t> subgraph(size_t i) const
    {
        std::set<size_t> tasks{i};
        for (const size_t input : m_nodes[i].inputs)
            tasks.merge(subgraph(input));
        return tasks;
    }

    std::vector<Node> m_nodes;
    std::vector<size_t> m_order;
    std::map<std::string, Record> m_records;
};

ref_ptr<RenderTask> chainOf(const std::vector<std::string>& identities)
{
    RenderManager::ClearRenderTaskCache();
    ref_ptr<RenderTask> task;
    for (const std::string& identity : identities)
    {
        ProbeParams params{.identity = identity};
        if (task)
            params.inputs = {task};
        task = probe(identity.substr(0, 1), std::move(params));
    }
    return task;
}

}

TEST_F(EditHistoryTest, FindsWhatTheDefinitionSays)
{
    forEachRandomCase(40, [](Random& random) {
        PlainHistory plain;
        Graph graph;
        // Now and then more edited nodes than go through the graph at a time.
        for (int64_t i = random.oneIn(4) ? 150 : random.between(1, 16); i > 0; --i)
            addNode(graph, random);
        for (int round = 0; round < 8 && !testing::Test::HasFailure(); ++round)
        {
            const std::vector<ref_ptr<RenderTask>> tasks = graph.build();
            std::vector<ref_ptr<RenderTask>> outputs;
            for (const size_t output : graph.outputs())
                outputs.push_back(tasks[output]);
            setUp(outputs);
            const std::vector<float> expected = plain.render(graph);
            for (size_t i = 0; i < tasks.size(); ++i)
                EXPECT_EQ(tasks[i]->getProbabilityIsNeeded(), expected[i])
                    << tasks[i]->getName() << ", number " << i << " in round " << round;
            for (int64_t i = random.pick(std::array{0, 1, 1, 3, 100}); i > 0; --i)
                edit(graph, random);
        }
    });
}

// What an edit reads is needed, and nothing else: what is above that is in it already.
TEST_F(EditHistoryTest, NeedsTheInputsOfWhatAnEditChanges)
{
    std::vector<ref_ptr<RenderTask>> tasks;
    const auto needed = [&](const std::string& a, const std::string& b, const std::string& side) {
        RenderManager::ClearRenderTaskCache();
        tasks = {probe("a", {.identity = a})};
        tasks.push_back(probe("b", {.inputs = {tasks[0]}, .identity = b}));
        tasks.push_back(probe("side", {.identity = side}));
        tasks.push_back(probe("top", {.inputs = {tasks[1], tasks[2]}, .identity = "top"}));
        renderAll({{tasks[3], s_square, 1}});
        std::vector<float> values;
        for (const ref_ptr<RenderTask>& task : tasks)
            values.push_back(task->getProbabilityIsNeeded());
        return values;
    };
    EXPECT_THAT(needed("a1", "b1", "s1"), ElementsAre(1, 1, 1, 0));
    EXPECT_THAT(needed("a1", "b1", "s1"), ElementsAre(0, 0, 0, 0));
    EXPECT_THAT(needed("a1", "b1", "s2"), ElementsAre(0, 1, 0, 0));
    EXPECT_THAT(needed("a2", "b1", "s2"), ElementsAre(0, 0, 1, 0));
    EXPECT_THAT(needed("a2", "b2", "s2"), ElementsAre(1, 0, 1, 0));
}

TEST_F(EditHistoryTest, AnEditInACollapsedChainIsSeen)
{
    std::vector<float> factors{2, 3, 4};
    const auto leafIsNeeded = [&] {
        RenderManager::ClearRenderTaskCache();
        const auto leaf = probe("leaf", {.identity = "leaf"});
        ref_ptr<RenderTask> task = leaf;
        for (const float factor : factors)
            task = affine("affine" + std::to_string(&factor - factors.data()), factor, 0, task);
        setUp({task});
        return leaf->getProbabilityIsNeeded();
    };
    leafIsNeeded();
    for (float& factor : factors)
    {
        EXPECT_EQ(leafIsNeeded(), 0.0f);
        factor += 1;
        EXPECT_EQ(leafIsNeeded(), 1.0f);
    }
}

// There is room for three and a half of five images. One thread, so that none of them is held
// longer than it is in use.
TEST_F(EditHistoryTest, WhatEditsNeedSurvivesInTheCacheWhenMemoryIsShort)
{
    RenderManager::setRenderThreads(1);
    RenderManager::clearSpeculativeCache();
    Private::ImageAllocator::instance()->setMaxMemUsage(7 * 64 * 64 * 16 / 2);
    const auto tilesSetUp = [](const std::vector<std::string>& identities) {
        const RecorderPtr recorder = renderAll({{chainOf(identities), s_square, 1}});
        EXPECT_EQ(recorder->count("error"), 0u);
        return recorder->lines().front();
    };
    for (const std::string first : {"a1", "a2", "a3"})
    {
        tilesSetUp({first, "b", "c", "d", "e1"});
        tilesSetUp({first, "b", "c", "d", "e2"});
        for (const std::string last : {"e3", "e4", "e5", "e6"})
            EXPECT_EQ(tilesSetUp({first, "b", "c", "d", last}), "setup 2") << first << last;
    }
    // The report tells that they rank first.
    const XmlElement contents = RenderManager::GetSpeculativeCacheContents();
    const auto& records = contents->getChildren().at(0)->getChildren();
    EXPECT_EQ(*records.at(0)->findAttr("name"), "d");
    EXPECT_EQ(*records.at(0)->findAttr("needed probability"), "1");
}

namespace
{

// On a thread whose stack has so many bytes.
void runOnStackOf(size_t bytes, std::function<void()> work)
{
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, bytes);
    pthread_t thread;
    const auto run = [](void* argument) -> void* {
        (*static_cast<std::function<void()>*>(argument))();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attributes, run, &work), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

}

// 20 bytes of stack for each task are not enough for a call.
TEST_F(EditHistoryTest, GraphsMayBeDeep)
{
    constexpr int depth = 20000;
    RenderManager::setGlobalTileSize(8, 8);
    bool isFirst = true;
    for (const int edited : {depth / 2, depth, depth / 2})
    {
        RenderManager::ClearRenderTaskCache();
        std::vector<ref_ptr<RenderTask>> tasks;
        for (int i = 0; i < depth; ++i)
        {
            ProbeParams params{.region = Rect(0, 0, 1, 1), .identity = std::to_string(i)};
            params.identity += i < edited ? "" : " edited at " + std::to_string(edited);
            if (i > 0)
                params.inputs = {tasks.back()};
            tasks.push_back(probe(std::to_string(i), std::move(params)));
        }
        runOnStackOf(400000, [&] { setUp({tasks.back()}); });
        const auto isNeeded = [&](int i) { return tasks[size_t(i)]->getProbabilityIsNeeded(); };
        EXPECT_EQ(isNeeded(depth / 2 - 2), isFirst ? 1.0f : 0.0f);
        EXPECT_EQ(isNeeded(depth / 2 - 1), 1.0f);
        EXPECT_EQ(isNeeded(depth - 2), 1.0f);
        isFirst = false;
    }
}
