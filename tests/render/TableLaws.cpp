#include <gtest/gtest.h>

#include "GraphTasks.h"
#include "RandomGraph.h"
#include "support/PlainEvaluator.h"
#include "support/Tasks.h"

// What holds for the description of every operation, whatever the engine makes of it.

using namespace QUILT;
using namespace QUILT::Test;
using UTIL::Rect;

namespace
{

const Rect s_window(-40, -30, 60, 50);

class EveryDescription : public testing::TestWithParam<size_t>
{
protected:
    ~EveryDescription() override { RenderManager::ClearRenderTaskCache(); }

    const Operation& operation() const { return operations()[GetParam()]; }
};

std::string nameOfRow(const testing::TestParamInfo<size_t>& info)
{
    return operations()[info.param].name;
}

// A pattern whose background is made of pixels all around its data.
class SurroundedPatternTask final : public PatternTask
{
public:
    SurroundedPatternTask(const PatternParams& params)
        : PatternTask("surrounded", params), m_params(params)
    {}

    std::string getType() const override { return "SurroundedPattern"; }
    UTIL::Region computeOutputDataRegion() override
    {
        return m_params.region.getBounds().unite(Rect(-7, -7, 9, 8)).pad(11, 13, true);
    }
    using PatternTask::renderRect;
    void renderRect(const EMULSION::Image* output,
                    const std::vector<const EMULSION::Image*>& inputs) override
    {
        EMULSION::Fill(output, m_params.background.getValue());
        for (const Rect& piece : m_params.region.intersected(output->bounds))
        {
            EMULSION::Image view;
            EMULSION::GetSubImage(&view, output, piece.x0, piece.y0, piece.x1, piece.y1);
            PatternTask::renderRect(&view, inputs);
        }
    }

private:
    const PatternParams m_params;
};

// The operation on patterns of all channels, or on the same with pixels around them.
Picture pictureOn(const Operation& operation, Random random, bool surrounded)
{
    RenderManager::ClearRenderTaskCache();
    Inputs inputs;
    for (size_t i = 0; i < operation.inputs; ++i)
    {
        PatternParams params;
        params.region = randomRegion(random);
        params.background = awkwardColor(random);
        params.seed = static_cast<int>(random.between(0, 1000));
        params.awkward = random.oneIn(3);
        if (operation.needsZeroBackgrounds)
            params.background = {0, 0, 0, 0};
        inputs.push_back(surrounded ? new SurroundedPatternTask(params)
                                    : new PatternTask("pattern", params));
    }
    return evaluatePlainly(operation.make(random, inputs), s_window);
}

Picture channelsOf(Picture picture, unsigned long channels)
{
    Picture chosen(picture.bounds, channels & picture.channels);
    const EMULSION::Image to = chosen.image(), from = picture.image();
    EMULSION::CopyInto(&to, &from);
    return chosen;
}

struct Described
{
    std::string cacheID;
    UTIL::Region data;
    Picture picture;
};

Described describe(RandomGraph graph)
{
    RenderManager::ClearRenderTaskCache();
    Described result;
    const ref_ptr<RenderTask> task = graph.build()[0];
    result.cacheID = task->getCacheID();
    result.data = task->getDefinedOutputDataRegion();
    result.picture = evaluatePlainly(task, s_window);
    return result;
}

}

TEST_P(EveryDescription, MakesOfTheBackgroundWhatItMakesOfPixels)
{
    if (operation().dependsOnEdges || operation().inputs == 0)
        return;
    forEachRandomCase(20, [&](Random& random) {
        const Random same(random.bits());
        const std::string text =
            difference(pictureOn(operation(), same, false), pictureOn(operation(), same, true));
        EXPECT_EQ(text, "");
    });
}

// Each draw that the row makes of its parameters is changed by itself.
TEST_P(EveryDescription, HasAnIdentityThatTellsPicturesApart)
{
    forEachRandomCase(3, [&](Random& random) {
        RandomGraph graph = graphOf(GetParam(), random);
        const Described before = describe(graph);
        EXPECT_EQ(describe(graph).cacheID, before.cacheID);
        graph.build(); // counts the draws
        for (size_t draw = 0; draw < graph.nodes.back().draws; ++draw)
        {
            RandomGraph changed = graph;
            changed.nodes.back().changed[draw] = random.bits();
            const Described after = describe(changed);
            if (after.cacheID != before.cacheID)
                continue;
            EXPECT_TRUE(after.data.subtracted(before.data).isEmpty() &&
                        before.data.subtracted(after.data).isEmpty() &&
                        difference(before.picture, after.picture).empty())
                << "one identity for\n"
                << graph.text() << "\nand\n"
                << changed.text();
        }
    });
}

TEST_P(EveryDescription, GivesAChannelTheSameValuesWhateverElseIsAskedFor)
{
    forEachRandomCase(12, [&](Random& random) {
        RandomGraph graph = graphOf(GetParam(), random);
        RenderManager::ClearRenderTaskCache();
        const Picture whole = evaluatePlainly(graph.build()[0], s_window);
        RenderManager::ClearRenderTaskCache();
        const ref_ptr<RenderTask> task = graph.build()[0];
        ShiftParams itself;
        itself.region = s_window;
        itself.channels = static_cast<unsigned long>(random.between(1, 14));
        const Picture part = evaluatePlainly(new ShiftTask("part", itself, task), s_window);
        EXPECT_EQ(difference(channelsOf(whole, itself.channels), channelsOf(part, whole.channels)),
                  "")
            << graph.text();
    });
}

INSTANTIATE_TEST_SUITE_P(Table, EveryDescription, testing::Range(size_t(0), operations().size()),
                         nameOfRow);
