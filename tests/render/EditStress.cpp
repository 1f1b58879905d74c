#include <array>
#include <atomic>
#include <thread>

#include <Bramble3/XmlElement.h>
#include <gtest/gtest.h>

#include "private/ImageAllocator.h"
#include "private/JobMgr.h"
#include "render/GraphTasks.h"
#include "render/Recorder.h"
#include "support/Random.h"
#include "support/Rest.h"
#include "support/Stress.h"
#include "support/Tasks.h"

using namespace QUILT;
using namespace QUILT::Test;
using UTIL::Rect;

namespace
{

const Rect s_data(-30, -20, 110, 90);
const Rect s_area(-40, -30, 100, 70);

// A picture of two branches, whose pixels can be told. All that make one have the same few knobs,
// so that one finds in the cache what another has left there.
class Comp
{
public:
    void edit(Random& random) { m_knobs[size_t(random.between(0, 8))] = int(random.between(1, 3)); }

    ref_ptr<RenderTask> build() const
    {
        RenderManager::ClearRenderTaskCache();
        const ref_ptr<RenderTask> a = branch(0), b = branch(4);
        return affine("top", float(m_knobs[8]), 1, new SumTask("sum", 3, -2, a, b));
    }

    float at(int64_t x, int64_t y) const
    {
        return (branchAt(0, x, y) + branchAt(4, x + 3, y - 2)) * float(m_knobs[8]) + 1;
    }

private:
    ref_ptr<RenderTask> branch(size_t i) const
    {
        const std::string n = std::to_string(i);
        ref_ptr<RenderTask> task(
            new PatternTask("read" + n, {s_data, 15, {0, 0, 0, 0}, m_knobs[i]}));
        task = affine("grade" + n, float(m_knobs[i + 1]), 2, task);
        task = new ReachTask("reach" + n, {5 * int64_t(m_knobs[i + 2])}, task);
        return affine("top" + n, float(m_knobs[i + 3]), 0.5f, task);
    }

    float branchAt(size_t i, int64_t x, int64_t y) const
    {
        const auto graded = [&](int64_t px, int64_t py) {
            const bool isData = s_data.contains(Rect(px, py, px + 1, py + 1));
            const float read = isData ? patternAt(px, py, 0, m_knobs[i]) : 0;
            return read * float(m_knobs[i + 1]) + 2;
        };
        const int64_t reach = 5 * int64_t(m_knobs[i + 2]);
        return (graded(x, y) + graded(x + reach, y) + graded(x, y + reach)) *
                   float(m_knobs[i + 3]) +
               0.5f;
    }

    std::array<int, 9> m_knobs{1, 1, 1, 1, 2, 1, 1, 1, 1};
};

class CheckingRecorder final : public Recorder
{
public:
    explicit CheckingRecorder(const Comp& comp) : m_comp(comp) {}

    void outputTileRendered(ImageBuffer image, const FinalTile& id) override
    {
        image.lock();
        const Rect r = image.getBounds();
        for (int64_t y = r.y0; y < r.y1; ++y)
        {
            for (int64_t x = r.x0; x < r.x1; x += 3)
            {
                float rgba[4] = {};
                EMULSION::GetPixel(image.getImage(), x, y, rgba);
                if (rgba[0] != m_comp.at(x, y))
                    ++m_wrongPixels;
            }
        }
        image.unlock();
        Recorder::outputTileRendered(std::move(image), id);
    }

    std::atomic<size_t> m_wrongPixels{0};

private:
    const Comp m_comp;
};

void renderEdits(RenderManager::RenderType type, Comp& comp, std::mutex& buildMutex, Random& random)
{
    for (int round = 0; round < 6; ++round)
    {
        if (!random.oneIn(4))
            comp.edit(random);
        const ref_ptr<CheckingRecorder> recorder(new CheckingRecorder(comp));
        {
            const std::lock_guard lock(buildMutex);
            RenderManager::Render({{comp.build(), s_area, 1}}, recorder, nullptr, true, type);
            RenderManager::ClearRenderTaskCache();
        }
        const bool isCancelled = random.oneIn(4);
        if (isCancelled)
        {
            std::this_thread::sleep_for(std::chrono::microseconds(random.between(0, 2000)));
            RenderManager::cancel(type, true);
        }
        RenderManager::finishRender(type);
        EXPECT_EQ(recorder->m_wrongPixels, 0u);
        EXPECT_EQ(recorder->count("error"), 0u) << testing::PrintToString(recorder->lines());
        EXPECT_TRUE(isCancelled || recorder->count("finished") == 1);
    }
}

void changeSettings(Random& random)
{
    // Pixels of one tile are 4096 bytes, those of one task 256 kilobytes.
    static constexpr int64_t s_budgets[] = {0, 20000, 300000, 1500000, int64_t(1) << 28};
    switch (random.between(0, 7))
    {
    case 0:
        RenderManager::setRenderThreads(static_cast<unsigned long>(random.between(1, 6)));
        break;
    case 1:
        RenderManager::setSpeculativeCachingEnable(!random.oneIn(3));
        break;
    case 2:
        RenderManager::SetTileOrder(random.oneIn(2) ? RenderManager::TileOrder::Waves
                                                    : RenderManager::TileOrder::Streaming);
        break;
    case 3:
        if (random.oneIn(8))
            RenderManager::clearSpeculativeCache();
        break;
    case 4:
        RenderManager::getStatistics();
        RenderManager::GetSpeculativeCacheContents();
        break;
    default:
        Private::ImageAllocator::instance()->setMaxMemUsage(random.pick(s_budgets));
    }
    std::this_thread::sleep_for(std::chrono::microseconds(random.between(0, 2000)));
}

// With no render under way, what lives is what the cache holds.
void expectFiguresToAddUp()
{
    ASSERT_TRUE(Util::JobMgr::instance()->waitUntilIdle(std::chrono::seconds(60)));
    Private::ImageAllocator& images = *Private::ImageAllocator::instance();
    const XmlElement contents = RenderManager::GetSpeculativeCacheContents();
    long bytes = 0, count = 0;
    for (const XmlElement& record : contents->getChildren().at(0)->getChildren())
    {
        bytes += std::stol(*record->findAttr("size"));
        count += std::stol(*record->findAttr("count"));
    }
    EXPECT_EQ(images.getMemUsage(), bytes);
    EXPECT_EQ(images.getSpeculativeCache().getMemoryUsage(), bytes);
    EXPECT_EQ(Private::livingCount(Private::Living::Images), count);
    EXPECT_EQ(images.getDiskUsage(), 0);
}

long hits()
{
    const XmlElement cache =
        Private::ImageAllocator::instance()->getSpeculativeCache().getStatistics();
    return std::stol(*cache->findAttr("Num Hits"));
}

}

TEST(EditStress, RendersOfAllTypesShareTheCacheUnderPressure)
{
    RenderManager::SetPollPeriod(200);
    RenderManager::setGlobalTileSize(16, 16);
    const uint64_t seed = numberFromEnvironment("QUILT_TEST_SEED", 1);
    const StressTime time(2);
    const long hitsBefore = hits();
    // The cache tells of tiles that are too small for the picture after an edit.
    testing::internal::CaptureStderr();

    std::mutex buildMutex;
    std::array<Comp, 3> comps;
    for (uint64_t round = 0; time.isLeft() && !testing::Test::HasFailure(); ++round)
    {
        std::atomic<int> running{3};
        std::vector<std::jthread> threads;
        for (size_t i = 0; i < comps.size(); ++i)
            threads.emplace_back([&, i] {
                Random random(seed + 4 * round + i);
                renderEdits(static_cast<RenderManager::RenderType>(i), comps[i], buildMutex,
                            random);
                --running;
            });
        Random random(seed + 4 * round + 3);
        while (running > 0)
            changeSettings(random);
        threads.clear();
        expectFiguresToAddUp();
    }
    testing::internal::GetCapturedStderr();
    EXPECT_GT(hits(), hitsBefore);

    RenderManager::setRenderThreads(3);
    RenderManager::SetMaxImageMemory(256);
    RenderManager::setSpeculativeCachingEnable(true);
    RenderManager::SetTileOrder(RenderManager::TileOrder::Waves);
    EXPECT_TRUE(everythingIsGone());
}
