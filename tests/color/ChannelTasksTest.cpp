#include <QUILT/ChannelTasks.h>
#include <QUILT/Exceptions.h>

#include <functional>

#include <gtest/gtest.h>

#include "comp/Combined.h"

using namespace QUILT;
using namespace QUILT::Test;
using Color = Imath::Color4f;
using UTIL::Rect;

namespace
{

class ChannelTasks : public testing::Test
{
protected:
    ChannelTasks() { RenderManager::setGlobalTileSize(16, 16); }
    ~ChannelTasks() override { RenderManager::ClearRenderTaskCache(); }

    // Alpha of the one lies in its background colour alone.
    const PatternParams m_opaque{Rect(-5, -5, 20, 20), 7, {1, 2, 3, 4}, 1};
    const PatternParams m_whole{Rect(10, 12, 40, 33), 15, {-1, 0.5f, 0, 0.75f}, 2};
    const ref_ptr<RenderTask> m_a{new PatternTask("a", m_opaque)};
    const ref_ptr<RenderTask> m_b{new PatternTask("b", m_whole)};
};

void expectPicture(const ref_ptr<RenderTask>& task, const PatternParams& a, const PatternParams& b,
                   const std::function<Color(Color a, Color b)>& combine)
{
    const Picture found = render(task, Rect(-20, -20, 60, 60));
    EXPECT_EQ(difference(combined(a, b, found.bounds, 15, combine), found), "");
}

}

TEST_F(ChannelTasks, MergeReadsEachImageOnce)
{
    const ref_ptr<RenderTask> same(new PatternTask("another name", m_opaque));
    EXPECT_EQ(createChannelMergeTask("t", 0, m_a, m_a, same, m_a), m_a);
    const auto expectMasks = [&](const ref_ptr<RenderTask>& task, const std::string& masks) {
        EXPECT_EQ(task->getCacheID(), compressCacheID("ChannelMerge {" + masks + m_a->getCacheID() +
                                                      "," + m_b->getCacheID() + ",}"));
    };
    expectMasks(createChannelMergeTask("t", 0, m_a, m_b, same, m_b), "5,10,");
    expectMasks(createChannelMergeTask("t", 0, m_a, same, same, m_b), "7,8,");
    try
    {
        createChannelMergeTask("t", 0, m_a, m_b, nullptr, m_b);
        FAIL() << "a missing input passed";
    }
    catch (const RenderTaskRenderingException& error)
    {
        EXPECT_EQ(error.getName() + ' ' + error.getType(), "t createChannelMergeTask");
    }
}

TEST_F(ChannelTasks, TakeTheBackgroundForWhatAnInputLacks)
{
    expectPicture(createChannelMergeTask("t", 0, m_a, m_b, m_b, m_a), m_opaque, m_whole,
                  [](Color a, Color b) { return Color(a.r, b.g, b.b, 4); });
    expectPicture(createChannelExpandTask("t", 0, 6, m_a), m_opaque, m_whole,
                  [](Color a, Color) { return Color(a.g, a.g, a.g, a.g); });
    expectPicture(createChannelExpandTask("t", 0, 8, m_a), m_opaque, m_whole,
                  [](Color, Color) { return Color(4, 4, 4, 4); });
    expectPicture(createChannelExpandTask("t", 0, 0, m_b), m_opaque, m_whole,
                  [](Color, Color) { return Color(0, 0, 0, 0); });

    // Of the second, red has a place where the first would give it, too, and is drawn over it.
    const ref_ptr<ChannelMergeTask> merge(new ChannelMergeTask("t", 0));
    merge->addInput(m_a, 15);
    merge->addInput(m_b, 9);
    expectPicture(merge, m_opaque, m_whole,
                  [](Color a, Color b) { return Color(b.r, a.g, a.b, b.a); });
}

TEST_F(ChannelTasks, SelectAndSwizzleMoveChannels)
{
    const ref_ptr<RenderTask> select = createChannelSelectTask("t", 0, 4, 1, m_b);
    const unsigned long order[] = {8, 3, 16, 2}, own[] = {1, 2, 4, 8};
    const ref_ptr<RenderTask> swizzle = createSwizzleTask("t", 0, order, m_b);
    EXPECT_EQ(select->getBackgroundColor(), Color(0, 0, 0, 0));
    EXPECT_EQ(swizzle->getBackgroundColor(), Color(0.75f, 0, 0, 0.5f));
    unsigned long selected = 0, swizzled = 0;
    select->getOutputDescription(&selected, nullptr);
    swizzle->getOutputDescription(&swizzled, nullptr);
    EXPECT_EQ(selected, 1ul);
    EXPECT_EQ(swizzled, 9ul);
    EXPECT_EQ(createSwizzleTask("t", 0, own, m_b), m_b);

    const auto refusal = [&](unsigned long from, unsigned long to) -> std::string {
        try
        {
            createChannelSelectTask("t", 0, from, to, m_b);
            return "";
        }
        catch (const RenderTaskRenderingException& error)
        {
            return error.getName() + ' ' + error.getType() + ": " + error.what();
        }
    };
    EXPECT_EQ(refusal(3, 0),
              "t createChannelSelectTask: srcChannel must be red, green, blue or alpha.");
    EXPECT_EQ(refusal(8, 16),
              "t createChannelSelectTask: dstChannel must be red, green, blue or alpha.");
}
