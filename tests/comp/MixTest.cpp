#include <EMULSION/Composite.h>
#include <QUILT/CompositeTasks.h>

#include <limits>

#include <gtest/gtest.h>

#include "comp/Combined.h"
#include "support/SmallTiles.h"

using namespace QUILT;
using namespace QUILT::Test;
using Imath::Color4f;
using UTIL::Rect;

namespace
{

class MixTest : public testing::Test, QUILT::Test::SmallTiles
{};

void expectMix(const PatternParams& first, const PatternParams& second)
{
    const ref_ptr<RenderTask> task = createMixTask("mix", 0, 0.3f, new PatternTask("first", first),
                                                   new PatternTask("second", second));
    const Picture picture = render(task, Rect(-20, -20, 60, 60));
    EXPECT_EQ(picture.channels, first.channels | second.channels);
    const Picture expected =
        combined(first, second, picture.bounds, picture.channels,
                 [](const Color4f& a, const Color4f& b) { return EMULSION::Mix(a, b, 0.3f); });
    EXPECT_EQ(difference(expected, picture), "");
    RenderManager::ClearRenderTaskCache();
}

}

TEST_F(MixTest, CountsEachSideWithWhatStandsForIt)
{
    forEachRandomCase(60, [](Random& random) {
        const bool wild = random.oneIn(3);
        const PatternParams first = anyPattern(random, wild);
        expectMix(first, anyPattern(random, wild));
    });
}

TEST_F(MixTest, OfNothingOrAllIsOneOfItsInputs)
{
    const ref_ptr<RenderTask> first(new PatternTask("first", {Rect(0, 0, 9, 9)}));
    const ref_ptr<RenderTask> second(new PatternTask("second", {Rect(0, 0, 9, 9), 15, {}, 1}));
    const auto mix = [&](float amount) { return createMixTask("mix", 0, amount, first, second); };
    const float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(mix(0), first);
    EXPECT_EQ(mix(-1), first);
    EXPECT_EQ(mix(nan), first);
    EXPECT_EQ(mix(1), second);
    EXPECT_EQ(mix(2), second);
    EXPECT_EQ(mix(0.5f)->getCacheID(), compressCacheID("Mix {0.5," + first->getCacheID() + "," +
                                                       second->getCacheID() + ",}"));
}
