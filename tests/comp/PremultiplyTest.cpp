#include <EMULSION/Premultiply.h>
#include <QUILT/ChannelTasks.h>
#include <QUILT/CompositeTasks.h>
#include <QUILT/Exceptions.h>
#include <UTIL/Exceptions.h>

#include <stdexcept>

#include <gtest/gtest.h>

#include "comp/Combined.h"

using namespace QUILT;
using namespace QUILT::Test;
using Imath::Color4f;
using UTIL::Rect;

namespace
{

class PremultiplyTest : public testing::Test
{
protected:
    PremultiplyTest()
    {
        RenderManager::SetPollPeriod(1000);
        RenderManager::setGlobalTileSize(16, 16);
    }
    ~PremultiplyTest() override { RenderManager::ClearRenderTaskCache(); }
};

class UnreadableTask final : public PatternTask
{
public:
    using PatternTask::PatternTask;

    std::string getType() const override { return "Unreadable"; }
    using RenderTask::renderRect;
    void renderRect(const EMULSION::Image*, const std::vector<const EMULSION::Image*>&) override
    {
        throw std::logic_error("nobody wants these pixels");
    }
};

// Both directions, rendered in tiles of which some hold no data of the alpha.
void expectByOtherAlpha(const PatternParams& input, const PatternParams& alpha)
{
    const ref_ptr<RenderTask> inputTask(new PatternTask("input", input));
    const ref_ptr<RenderTask> alphaTask(new PatternTask("alpha", alpha));
    const auto expect = [&](const ref_ptr<RenderTask>& task, auto combine) {
        const Picture picture = render(task, input.region.getBounds());
        EXPECT_EQ(picture.channels, input.channels | (alpha.channels & 8));
        const Picture expected =
            combined(input, alpha, picture.bounds, picture.channels, combine, true);
        EXPECT_EQ(difference(expected, picture), "");
    };
    expect(createPremultiplyTask("p", 0, inputTask, alphaTask),
           [](const Color4f& c, const Color4f& a) { return EMULSION::Premultiply(c, a); });
    expect(createUnpremultiplyTask("u", 0, inputTask, alphaTask),
           [](const Color4f& c, const Color4f& a) { return EMULSION::Unpremultiply(c, a); });
    RenderManager::ClearRenderTaskCache();
}

}

TEST_F(PremultiplyTest, TakesTheAlphaThatStandsForTheOther)
{
    const PatternParams colors{Rect(-5, -5, 40, 40), 7, {1, 2, 3, 4}, 1};
    const PatternParams all{Rect(-5, -5, 40, 40), 15, {1, 2, 3, 4}, 1};
    const PatternParams matte{Rect(10, 12, 70, 20), 8, {-1, 0.5f, 0, 0.5f}, 2};
    const PatternParams clear{Rect(10, 12, 20, 20), 8, {0, 0, 0, 0}, 3};
    const PatternParams onlyAlpha{Rect(0, 0, 50, 50), 8, {0, 0, 0, 1}, 4};
    expectByOtherAlpha(colors, matte);
    expectByOtherAlpha(all, clear);
    expectByOtherAlpha(onlyAlpha, matte);
    expectByOtherAlpha(colors, {matte.region, 7, matte.background, 5});
}

TEST_F(PremultiplyTest, ReadsNoColorsForAlphaAlone)
{
    const PatternParams unread{Rect(-5, -5, 40, 40), 7, {1, 2, 3, 4}, 1};
    const PatternParams matte{Rect(10, 12, 20, 20), 8, {0, 0, 0, 0.5f}, 2};
    const auto task = createPremultiplyTask("p", 0, new UnreadableTask("input", unread),
                                            new PatternTask("alpha", matte));
    const Picture picture =
        render(createChannelSelectTask("a", 0, 8, 8, task), unread.region.getBounds());
    const Picture expected = combined(unread, matte, picture.bounds, 8,
                                      [](const Color4f&, const Color4f& alpha) { return alpha; });
    EXPECT_EQ(difference(expected, picture), "");
}

TEST_F(PremultiplyTest, IsOfTheImageItselfUnlessAnotherAlphaIsGiven)
{
    const ref_ptr<RenderTask> input(new PatternTask("in", {Rect(0, 0, 9, 9), 8, {1, 2, 4, 0.5f}}));
    const ref_ptr<RenderTask> other(new PatternTask("other", {Rect(0, 0, 9, 9), 7, {8, 8, 8, 0}}));
    const auto typeOf = [](const ref_ptr<RenderTask>& task) { return task->getType(); };
    const auto task = createPremultiplyTask("p", 0, input, nullptr);
    EXPECT_EQ(typeOf(task), "Premultiply");
    unsigned long channels = 0;
    UTIL::Region region;
    task->getOutputDescription(&channels, &region);
    EXPECT_EQ(channels, 15u);
    EXPECT_EQ(task->getBackgroundColor(), Color4f(0.5f, 1, 2, 0.5f));
    EXPECT_EQ(task->getCacheID(), createPremultiplyTask("q", 0, input, input)->getCacheID());
    EXPECT_EQ(typeOf(createUnpremultiplyTask("u", 0, input, input)), "Unpremultiply");

    const auto byOther = createUnpremultiplyTask("u", 0, input, other);
    EXPECT_EQ(typeOf(byOther), "UnpremultiplyOtherAlpha");
    EXPECT_EQ(byOther->getCacheID(),
              compressCacheID("UnpremultiplyOtherAlpha {0," + input->getCacheID() + "," +
                              other->getCacheID() + ",}"));
    EXPECT_EQ(byOther->getBackgroundColor(), Color4f(0, 0, 0, 0));
    EXPECT_EQ(typeOf(createPremultiplyTask("p", 0, input, other)), "PremultiplyOtherAlpha");

    EXPECT_THROW(createPremultiplyTask("p", 0, nullptr, nullptr), RenderTaskRenderingException);
    try
    {
        createPremultiplyTask("p", 0, nullptr, other);
        FAIL() << "took a null input";
    }
    catch (const UTIL::AssertException& failure)
    {
        EXPECT_STREQ(failure.m_text, "inputTask != 0");
        EXPECT_STREQ(failure.m_file, "src/comp/Premultiply");
    }
}
