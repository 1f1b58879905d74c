#include <gtest/gtest.h>

#include "RandomGraph.h"
#include "support/Harness.h"

using namespace QUILT;
using namespace QUILT::Test;

namespace
{

std::string kindOf(const std::string& failure)
{
    return failure.substr(0, failure.find_first_of(": "));
}

// Another render has had one of the graph's nodes for its output, or one that wants perhaps fewer
// channels of it.
GraphCheck checkOf(const RandomGraph& graph, uint64_t seed)
{
    RandomGraph other = graph;
    other.outputs = {seed % graph.nodes.size()};
    if ((seed >> 32) % 2 == 0)
    {
        other.nodes.push_back({operationNamed("Shift"), other.outputs, seed});
        other.outputs = {graph.nodes.size()};
    }
    return GraphCheck([copy = graph]() mutable { return copy.build(); }, seed,
                      [copy = other]() mutable { return copy.build(); });
}

std::string checkUnder(const RandomGraph& graph, uint64_t seed, const Setting& setting)
{
    return checkOf(graph, seed).check(setting);
}

// The failure with the plainest graph and setting that fail in the same way.
std::string explain(RandomGraph graph, uint64_t seed, Setting setting, const std::string& failure)
{
    const auto fails = [&](const RandomGraph& g, const Setting& s) {
        return kindOf(checkUnder(g, seed, s)) == kindOf(failure);
    };
    graph = shrink(graph, [&](RandomGraph& g) { return fails(g, setting); });
    for (bool plainer = true; plainer;)
    {
        plainer = false;
        for (const Setting& candidate : plainerSettings(setting))
        {
            if (!fails(graph, candidate))
                continue;
            setting = candidate;
            plainer = true;
            break;
        }
    }
    std::ostringstream text;
    text << failure << "\nthe smallest graph that fails so:\n"
         << graph.text() << "\n  " << setting << "\n  " << checkUnder(graph, seed, setting);
    RenderManager::ClearRenderTaskCache();
    return text.str();
}

void expectSameBits(const RandomGraph& graph, uint64_t seed, const std::vector<Setting>& settings)
{
    const GraphCheck check = checkOf(graph, seed);
    for (const Setting& setting : settings)
    {
        const std::string failure = check.check(setting);
        if (!failure.empty())
        {
            ADD_FAILURE() << explain(graph, seed, setting, failure);
            return;
        }
    }
}

class EveryOperation : public testing::TestWithParam<size_t>
{};

std::string nameOfRow(const testing::TestParamInfo<size_t>& info)
{
    return operations()[info.param].name;
}

}

TEST_P(EveryOperation, GivesTheSameBitsUnderEverySetting)
{
    forEachRandomCase(4, [](Random& random) {
        const RandomGraph graph = graphOf(GetParam(), random);
        std::vector<Setting> settings = standardSettings();
        for (int i = 0; i < 4; ++i)
            settings.push_back(randomSetting(random));
        expectSameBits(graph, random.bits(), settings);
    });
}

INSTANTIATE_TEST_SUITE_P(Table, EveryOperation, testing::Range(size_t(0), operations().size()),
                         nameOfRow);
TEST(RandomGraphs, GiveTheBitsOfThePlainEvaluator)
{
    forEachRandomCase(400, [](Random& random) {
        const RandomGraph graph = randomGraph(random);
        expectSameBits(graph, random.bits(), {randomSetting(random)});
    });
}
