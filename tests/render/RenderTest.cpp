#include <QUILT/CompositeTasks.h>
#include <QUILT/ProceduralTasks.h>

#include <Bramble3/XmlElement.h>
#include <gtest/gtest.h>

#include "private/LivingCounts.h"
#include "support/Render.h"
#include "support/Tasks.h"

using namespace QUILT;
using namespace QUILT::Test;
using UTIL::Rect;

namespace
{

class RenderTest : public testing::Test
{
protected:
    RenderTest()
    {
        RenderManager::SetPollPeriod(1000);
        RenderManager::setGlobalTileSize(16, 16);
    }
    ~RenderTest() override { RenderManager::ClearRenderTaskCache(); }
};

}

TEST_F(RenderTest, GivesEveryPixelOnce)
{
    const ref_ptr<RenderTask> pattern(
        new PatternTask("pattern", {Rect(-20, 3, 40, 50), 11, {1, 2, 3, 4}, 5}));
    const Picture picture = render(pattern, Rect(-30, 0, 30, 60));
    for (int64_t y = 0; y < 60; ++y)
    {
        for (int64_t x = -30; x < 30; ++x)
        {
            const bool inside = x >= -20 && y >= 3 && y < 50;
            const float* const found = picture.at(x, y);
            ASSERT_EQ(found[0], inside ? patternAt(x, y, 0, 5) : 1) << x << ',' << y;
            ASSERT_EQ(found[1], inside ? patternAt(x, y, 1, 5) : 2);
            ASSERT_EQ(found[2], inside ? patternAt(x, y, 3, 5) : 4);
        }
    }
}

TEST_F(RenderTest, ReadsAcrossTilesAndBeyondTheData)
{
    const ref_ptr<RenderTask> pattern(
        new PatternTask("pattern", {Rect(-20, 3, 40, 50), 1, {9, 0, 0, 0}, 5}));
    const ref_ptr<RenderTask> task(new ReachTask("reach", {7}, pattern));
    const auto expected = [](int64_t x, int64_t y) {
        return x >= -20 && x < 40 && y >= 3 && y < 50 ? patternAt(x, y, 0, 5) : 9;
    };
    const Picture picture = render(task, Rect(-40, -10, 60, 70));
    for (int64_t y = -10; y < 70; ++y)
        for (int64_t x = -40; x < 60; ++x)
            ASSERT_EQ(*picture.at(x, y), expected(x, y) + expected(x + 7, y) + expected(x, y + 7))
                << x << ',' << y;
}

TEST_F(RenderTest, ATaskThatActsOutsideRendersEachTimeAndSoDoesWhatItFeeds)
{
    const auto renderedTasks = [](bool actsOutside) {
        RenderManager::ClearRenderTaskCache();
        const ref_ptr<RenderTask> pattern(new PatternTask("pattern", {Rect(0, 0, 16, 16), 15}));
        const ref_ptr<RenderTask> middle(new ReachTask("middle", {0}, pattern));
        if (actsOutside)
            middle->setActsOutside();
        const ref_ptr<RenderTask> end(new ReachTask("end", {0}, middle));
        const ref_ptr<Collector> collector(new Collector);
        RenderManager::Render({{end, Rect(0, 0, 16, 16), 0}}, collector, nullptr, false,
                              RenderManager::RenderTypePrimary);
        return collector->m_renderedTasks;
    };
    const std::vector<std::string> all{"pattern", "middle", "end"};
    RenderManager::clearSpeculativeCache();
    EXPECT_EQ(renderedTasks(false), all);
    EXPECT_EQ(renderedTasks(false), std::vector<std::string>{"end"});
    RenderManager::clearSpeculativeCache();
    EXPECT_EQ(renderedTasks(true), all);
    EXPECT_EQ(renderedTasks(true), all);
}

TEST_F(RenderTest, IsReportedAsATreeOfFigures)
{
    RenderManager::setRenderThreads(2);
    RenderManager::clearSpeculativeCache();
    const auto figures = [] {
        std::string text;
        for (XmlElement element = RenderManager::getStatistics(); element;)
        {
            text += element->getName() + '\n';
            for (const auto& [name, value] : element->getAttributes())
                if (name != "Peak Disk Usage") // of the whole process
                    text += "  " + name + ": " + value + '\n';
            element = element->getChildren().empty() ? nullptr : element->getChildren()[0];
        }
        return text;
    };
    const auto renderPattern = [] {
        RenderManager::ClearRenderTaskCache();
        render(new PatternTask("pattern", {Rect(0, 0, 32, 32)}), Rect(0, 0, 32, 32));
    };
    renderPattern();
    RenderManager::resetStatistics();
    renderPattern();
    EXPECT_EQ(figures(), "Render Manager\n"
                         "  Render Threads: 2\n"
                         "  Tile Width: 16\n"
                         "  Tile Height: 16\n"
                         "  Speculative Caching Enabled: 1\n"
                         "Image Memory Management\n"
                         "  Peak Memory Usage: 0 B\n" // all came from the cache
                         "  Peak Memory Usage (FileIn): 0 B\n"
                         "  Max Memory Allowed: 256 MB\n"
                         "  Tile Swap Count (to disk): 0\n"
                         "  Tile Swap Time (to disk): 0.00 us\n"
                         "  Tile Swap Count (from disk): 0\n"
                         "  Tile Swap Time (from disk): 0.00 us\n"
                         "  Tile Swap Time (total): 0.00 us\n"
                         "Speculative Cache\n"
                         "  Total Entries: 4\n"
                         "  Num Hits: 4\n"
                         "  Memory Usage: 16 KB\n");
    RenderManager::setRenderThreads(3);
    RenderManager::clearSpeculativeCache();
}
