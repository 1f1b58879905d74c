#include <EMULSION/Composite.h>
#include <QUILT/CompositeTasks.h>
#include <QUILT/ProceduralTasks.h>

#include <array>
#include <cmath>
#include <limits>
#include <set>

#include <gtest/gtest.h>

#include "comp/Combined.h"
#include "private/RenderTask_Imp.h"
#include "support/SmallTiles.h"

using namespace QUILT;
using namespace QUILT::Test;
using Imath::Color4f;
using UTIL::Rect;
using UTIL::Region;

namespace
{

using Tasks = std::vector<ref_ptr<RenderTask>>;

constexpr float s_nan = std::numeric_limits<float>::quiet_NaN();

class MatteTasks : public testing::Test, QUILT::Test::SmallTiles
{};

const Tasks& inputsOf(const ref_ptr<RenderTask>& task)
{
    return Private::RenderTask_Imp::of(*task).inputTasks();
}

// "name(first input, ...)"; a task without inputs is its name. "~" marks one that is not cached.
std::string treeOf(const ref_ptr<RenderTask>& task)
{
    std::string text;
    for (const ref_ptr<RenderTask>& input : inputsOf(task))
        text += (text.empty() ? "(" : ", ") + treeOf(input);
    return task->getName() + (task->getCaching() ? "" : "~") + text + (text.empty() ? "" : ")");
}

Tasks makeEmpties(int count)
{
    Tasks tasks;
    for (int i = 0; i < count; ++i)
        tasks.push_back(createEmptyTask("i" + std::to_string(i), 0, Color4f(float(i), 0, 0, 1)));
    return tasks;
}

const PatternParams s_first{Rect(-5, -5, 20, 20), 7, {0, 0, 0, 0}, 1};
const PatternParams s_second{Rect(10, 2, 40, 35), 15, {0, 0, 0, 0}, 2};
const PatternParams s_matte{Rect(0, 0, 30, 17), 15, {1, 2, 3, 0}, 3};

ref_ptr<RenderTask> matteMix(float mix, float matteBackground)
{
    RenderManager::ClearRenderTaskCache();
    PatternParams matte = s_matte;
    matte.background.a = matteBackground;
    return createMatteMixTask("mix", 0, mix, new PatternTask("first", s_first),
                              new PatternTask("second", s_second), new PatternTask("matte", matte));
}

}

// Beyond the data of both the matte's is not seen.
TEST_F(MatteTasks, MixEachPixelByItsMatte)
{
    constexpr float backgrounds[] = {0.25f, -1, 2, -0.5f, 0.5f, 0, s_nan};
    forEachRandomCase(100, [&](Random& random) {
        RenderManager::ClearRenderTaskCache();
        const PatternParams first = anyPattern(random, random.oneIn(2));
        const PatternParams second = anyPattern(random, random.oneIn(2));
        PatternParams matte = anyPattern(random, false);
        matte.background.a = random.pick(backgrounds);
        const float mix = random.pick(std::array{0.5f, -0.5f, 0.25f, 0.0f});
        const ref_ptr<RenderTask> task =
            createMatteMixTask("mix", 0, mix, new PatternTask("first", first),
                               new PatternTask("second", second), new PatternTask("matte", matte));
        const Picture found = render(task, Rect(-20, -20, 85, 85));
        EXPECT_EQ(found.channels, first.channels | second.channels);
        const auto color = [&](int64_t x, int64_t y) {
            const bool isSeen = hasDataAt(first, x, y) || hasDataAt(second, x, y);
            return EMULSION::MatteMix(colorAt(first, x, y), colorAt(second, x, y),
                                      isSeen ? colorAt(matte, x, y, true) : matte.background, mix);
        };
        EXPECT_EQ(difference(pictureOf(found.bounds, found.channels, color), found), "");
    });
}

TEST_F(MatteTasks, MixReadsNothingThatHasNoWeight)
{
    const Rect tile(10, 10, 50, 50), withinMatte(10, 10, 30, 17);
    const Region first(s_first.region), second(s_second.region), matte(s_matte.region);
    const auto expectReading = [&](float background, const Rect& ofFirst, const Rect& ofSecond,
                                   const Region& a, const Region& b) {
        const ref_ptr<RenderTask> task = matteMix(0.5f, background);
        Region expected = a;
        expected.add(b);
        std::vector<Rect> rects(3);
        task->getCacheID();
        task->computeRequiredInputRects(tile, rects);
        EXPECT_EQ(rects, (std::vector<Rect>{ofFirst, ofSecond, tile}));
        const Region& found = task->getDefinedOutputDataRegion();
        EXPECT_TRUE(found.subtracted(expected).isEmpty() && expected.subtracted(found).isEmpty());
    };
    expectReading(-0.5f, tile, withinMatte, first, second.intersected(matte));
    expectReading(0.5f, withinMatte, tile, first.intersected(matte), second);
    expectReading(0, tile, tile, first, second);
    expectReading(s_nan, tile, tile, first, second);
}

TEST_F(MatteTasks, MixOfNothingOrAllIsOneOfItsInputs)
{
    const Tasks in = makeEmpties(3);
    const auto mix = [&](float amount) {
        return createMatteMixTask("mix", 0, amount, in[0], in[1], in[2]);
    };
    EXPECT_EQ(createMatteMixTask("mix", 0, 1, in[0], in[0], nullptr), in[0]);
    EXPECT_EQ(mix(1), in[1]);
    EXPECT_EQ(mix(-1), in[0]);
    EXPECT_EQ(mix(s_nan)->getCacheID(), mix(0)->getCacheID());
    EXPECT_EQ(mix(0.5f)->getCacheID(),
              compressCacheID("MatteMix {0.5," + in[0]->getCacheID() + "," + in[1]->getCacheID() +
                              "," + in[2]->getCacheID() + ",}"));
}

TEST_F(MatteTasks, AddMixWeighsByCurvesOfBothAlphas)
{
    const std::vector<float> curveA{0, 0.25f, 1, 0.5f, 7}, curveB{0.5f, 0, 0.5f, 1};
    PatternParams first = s_first;
    first.channels = 13;
    const auto make = [&](bool premultiplied) {
        return createAddMixTask("t", 0, curveA, curveB, new PatternTask("a", first),
                                new PatternTask("b", s_second), premultiplied);
    };
    for (const bool premultiplied : {false, true})
    {
        const Picture found = render(make(premultiplied), Rect(-20, -20, 60, 60));
        const Picture expected =
            combined(first, s_second, found.bounds, 15, [&](const Color4f& a, const Color4f& b) {
                return EMULSION::AddMix(a, b, premultiplied, curveA.data(), 2, curveB.data(), 2);
            });
        EXPECT_EQ(difference(expected, found), "");
        RenderManager::ClearRenderTaskCache();
    }
    const ref_ptr<RenderTask> task = make(true);
    EXPECT_EQ(task->getCacheID(),
              compressCacheID("AddMix {5 [ 0 0.25 1 0.5 7 ]\n4 [ 0.5 0 0.5 1 ]\n1," +
                              inputsOf(task)[0]->getCacheID() + "," +
                              inputsOf(task)[1]->getCacheID() + ",}"));
}

TEST_F(MatteTasks, ClearedPicturesHoldFiniteValues)
{
    const PatternParams params{Rect(0, 0, 40, 40), 15, {s_nan, 0, 0, 0}, 5, true};
    const ref_ptr<RenderTask> wild(new PatternTask("wild", params));
    const ref_ptr<RenderTask> task = createClearNansAndInfsTask("clear", 2, wild, true);
    EXPECT_TRUE(std::isnan(task->getBackgroundColor().r));
    EXPECT_EQ(task->getCacheID(),
              compressCacheID("ClearNansAndInfs {ClearNansAndInfs," + wild->getCacheID() + ",2,1," +
                              wild->getCacheID() + ",}"));
    Picture expected = render(wild, Rect(0, 0, 40, 40));
    for (float& value : expected.pixels)
        value = std::isnan(value) ? 0 : std::isinf(value) ? std::copysign(65504.0f, value) : value;
    RenderManager::ClearRenderTaskCache();
    EXPECT_EQ(difference(expected, render(createClearNansAndInfsTask(
                                              "clear", 2, new PatternTask("wild", params), true),
                                          Rect(0, 0, 40, 40))),
              "");
}

TEST_F(MatteTasks, ListsFoldIntoBalancedTrees)
{
    // A node that is there already would stand in for its equal, under its own name.
    const auto multi = [](int count, bool cleanup) {
        RenderManager::ClearRenderTaskCache();
        return treeOf(createMultiCompositeTask("m", 0, COMPOSITEOP_Over, false, false, cleanup,
                                               makeEmpties(count)));
    };
    EXPECT_EQ(multi(0, true), "m.emptyTask");
    EXPECT_EQ(multi(1, true), "i0");
    EXPECT_EQ(multi(2, true), "m.clamp(m.composite.0.clamp~(m.composite.0~(i1, i0)))");
    EXPECT_EQ(multi(3, false), "m.composite.1(m.composite.0~(i2, i1), i0)");
    EXPECT_EQ(multi(5, false), "m.composite.3(m.composite.2~(m.composite.0~(i4, i3), "
                               "m.composite.1~(i2, i1)), i0)");

    const auto combined = [](int op, int count) {
        RenderManager::ClearRenderTaskCache();
        return createMatteCombinerTask("m", 0, static_cast<MatteCombinerOp>(op),
                                       makeEmpties(count));
    };
    EXPECT_EQ(combined(MATTECOMBINER_Multiply, 0), nullptr);
    EXPECT_EQ(combined(3, 2), nullptr);
    EXPECT_EQ(treeOf(combined(MATTECOMBINER_Screen, 1)), "i0");
    EXPECT_EQ(treeOf(combined(MATTECOMBINER_First, 3)), "i0");
    EXPECT_EQ(treeOf(combined(MATTECOMBINER_Multiply, 3)),
              "m.combiner.1(m.combiner.0~(i0, i1), i2)");
    EXPECT_EQ(treeOf(combined(MATTECOMBINER_Screen, 3)),
              "m(m.mult.combiner.1~(m.mult.combiner.0~(m.preinvert.0~(i0), m.preinvert.1~(i1)), "
              "m.preinvert.2~(i2)))");
}

// Over is associative, so that the tree shows what layer on layer would, but for rounding: a node
// adds at most 2^-22 for colours up to 1, and what its inputs have is weighted by 1 at most.
TEST_F(MatteTasks, AThousandLayersComeToWhatTheyAreOneByOne)
{
    constexpr int count = 1000;
    const Rect rect(0, 0, 2, 2);
    Tasks layers;
    double expected[4] = {};
    for (int i = 0; i < count; ++i)
    {
        const auto shade = float(i % 97) / 9700, alpha = 0.01f + float(i) / 1e6f;
        const Color4f color(shade, 0.01f - shade, float(i) / 1e5f, alpha);
        layers.push_back(createColorTask("layer", 0, rect, color));
        for (int channel = 0; channel < 4; ++channel)
            expected[channel] = color[channel] + expected[channel] * (1 - double(alpha));
    }
    const ref_ptr<RenderTask> task =
        createMultiCompositeTask("m", 0, COMPOSITEOP_Over, false, false, false, layers);
    std::set<RenderTask*> nodes;
    Tasks level{task};
    size_t depth = 0;
    for (; !level.empty(); ++depth)
    {
        Tasks next;
        for (const ref_ptr<RenderTask>& node : level)
        {
            nodes.insert(node.get());
            next.insert(next.end(), inputsOf(node).begin(), inputsOf(node).end());
        }
        level = next;
    }
    EXPECT_EQ(nodes.size(), size_t(2 * count - 1));
    EXPECT_EQ(depth, 11u);
    const Picture found = render(task, rect);
    for (int channel = 0; channel < 4; ++channel)
        EXPECT_NEAR(found.at(1, 1)[channel], expected[channel], count * 0x1p-22);
}
