#include <gtest/gtest.h>

#include "images/Images.h"
#include "render/Probe.h"
#include "render/Recorder.h"
#include "support/Rest.h"

using namespace QUILT;
using namespace QUILT::Test;
using UTIL::Rect;

namespace
{

class StreamingTest : public testing::Test
{
protected:
    StreamingTest()
    {
        RenderManager::SetPollPeriod(100);
        RenderManager::SetTileOrder(RenderManager::TileOrder::Streaming);
        RenderManager::setRenderThreads(2);
    }
    void TearDown() override
    {
        EXPECT_TRUE(everythingIsGone());
        RenderManager::SetTileOrder(RenderManager::TileOrder::Waves);
    }

    static void renderNothing(const EMULSION::Image*, const std::vector<const EMULSION::Image*>&) {}
};

}

// Where new pixels are filled the picture is smaller, to be done in time.
#ifdef QUILT_POISON_PIXELS
constexpr int64_t s_height = 1024;
#else
constexpr int64_t s_height = 8640;
#endif

TEST_F(StreamingTest, ALargePictureFlowsThroughALongChainInLittleMemory)
{
    const Rect area(0, 0, 16384, s_height);
    RenderManager::setGlobalTileSize(256, 256);
    RenderManager::SetMaxImageMemory(64);
    Private::ImageAllocator& images = *Private::ImageAllocator::instance();
    for (const bool caching : {false, true})
    {
        RenderManager::setSpeculativeCachingEnable(caching);
        images.resetStatistics();
        ref_ptr<RenderTask> task = probe("leaf", {.region = area, .render = renderNothing});
        for (int i = 0; i < 20; ++i)
            task = probe("link", {.region = area, .inputs = {task}, .render = renderNothing});
        const RecorderPtr recorder = renderAll({{task, area, 1}});
        EXPECT_EQ(recorder->lines().back(), "finished 1");
        EXPECT_LE(Private::ImageTestAccess::peak(images), (caching ? 64 : 32) << 20);
        EXPECT_EQ(Private::ImageTestAccess::peakDisk(images), 0);
        EXPECT_GE(Private::ImageTestAccess::peak(images), 2 << 20);
        task = nullptr;
        EXPECT_TRUE(everythingIsGone());
    }
    RenderManager::SetMaxImageMemory(256);
}

// Tiles wait for others that are not in the window yet, and nothing but these can make room there.
TEST_F(StreamingTest, TilesOutsideTheWindowAreWaitedFor)
{
    RenderManager::setGlobalTileSize(16, 16);
    const Rect area(0, 0, 160, 160);
    const auto leaf = probe("leaf", {.region = area});
    const auto wide = probe("wide", {.region = area, .inputs = {leaf}, .reach = 100});
    const auto whole = probe("whole", {.region = area, .inputs = {leaf, wide}});
    whole->setRenderFullFrame(true, false);
    const RecorderPtr recorder =
        renderAll({{probe("top", {.region = area, .inputs = {whole, leaf}}), area, 1}});
    EXPECT_EQ(recorder->count("tile"), 301u);
    EXPECT_EQ(recorder->lines().back(), "finished 1");
}
