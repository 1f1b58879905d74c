#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>

#include <gmock/gmock.h>
#include <UTIL/Exceptions.h>

#include "render/Probe.h"
#include "render/Recorder.h"
#include "support/Render.h"
#include "support/Rest.h"
#include "support/Tasks.h"

using namespace QUILT;
using namespace QUILT::Test;
using EMULSION::Image;
using testing::ElementsAre;
using testing::HasSubstr;
using UTIL::Rect;

// How tiles reach a task's renderRect: pieces, full frame, locking, and what surrounds it.

namespace
{

using Images = std::vector<const Image*>;

const Rect s_area(0, 0, 48, 16);

class TaskCallsTest : public testing::Test
{
protected:
    TaskCallsTest()
    {
        RenderManager::SetPollPeriod(100);
        RenderManager::setGlobalTileSize(16, 16);
        RenderManager::setRenderThreads(3);
    }
    void TearDown() override { EXPECT_TRUE(everythingIsGone()); }

    // Renders each pixel as its place, and keeps the bounds.
    auto noting()
    {
        return [this](const Image* output, const Images&) {
            const Rect& r = output->bounds;
            for (int64_t y = r.y0; y < r.y1; ++y)
            {
                for (int64_t x = r.x0; x < r.x1; ++x)
                {
                    const float rgba[] = {float(x + 100 * y), 0, 0, 0};
                    EMULSION::SetPixel(output, x, y, rgba);
                }
            }
            const std::lock_guard lock(m_mutex);
            m_bounds.push_back(r);
        };
    }

    std::mutex m_mutex; // guards m_bounds
    std::vector<Rect> m_bounds;
};

// Compares what it is told of a tile.
struct Listener : RenderObserver
{
    void tileRendered(const std::string& name, const std::string& type, double time) override
    {
        t_told = name + type + std::to_string(time);
    }
    void tileFinished(const TileReport& report) override
    {
        EXPECT_EQ(report.taskName + report.taskType + std::to_string(report.span.seconds()),
                  t_told); // on the same thread, right before
        EXPECT_EQ(report.rect, report.id.rect().intersect(Rect(0, 0, 320, 10)));
        EXPECT_EQ(report.fromCache, report.span.seconds() == 0);
        const double wait = report.preRender.seconds();
        EXPECT_TRUE(wait == 0 || (report.preRender.begin >= report.span.begin &&
                                  report.preRender.end <= report.span.end));
        const std::lock_guard lock(m_mutex);
        ++m_tiles;
        m_cached += report.fromCache;
        m_waiting += wait > 0;
        m_longestWait = std::max(m_longestWait, wait);
    }

    std::mutex m_mutex; // guards the rest
    int m_tiles = 0, m_cached = 0, m_waiting = 0;
    double m_longestWait = 0;
    static inline thread_local std::string t_told;
};

}

TEST_F(TaskCallsTest, AFullFrameTaskRendersOnceWhateverThePieces)
{
    const auto renderWhole = [&](const UTIL::Region& region) {
        m_bounds.clear();
        const auto whole = probe("whole", {.region = region, .render = noting(), .channels = 1});
        whole->setRenderFullFrame(true, false);
        const Picture picture = render(
            probe("top", {.region = s_area, .inputs = {whole}, .channels = 1, .requested = 1}),
            s_area);
        for (int64_t y = 0; y < 16; ++y)
            for (int64_t x = 0; x < 48; ++x)
                EXPECT_EQ(*picture.at(x, y),
                          region.contains(Rect(x, y, x + 1, y + 1)) ? float(x + 100 * y) : 0);
    };
    renderWhole(UTIL::Region::fromRectangles({Rect(0, 0, 10, 16), Rect(20, 0, 48, 9)}));
    EXPECT_THAT(m_bounds, ElementsAre(s_area));
    renderWhole(Rect(-5, -5, 60, 60));
    EXPECT_THAT(m_bounds, ElementsAre(s_area));
    // An output of its own: cut to its data, so there is one piece.
    m_bounds.clear();
    const auto whole = probe("whole", {.region = Rect(3, 0, 30, 9), .render = noting()});
    whole->setRenderFullFrame(true, false);
    EXPECT_THAT(renderAll({{whole, s_area, 1}})->lines("output"), ElementsAre("output 1 0,0"));
    EXPECT_THAT(m_bounds, ElementsAre(Rect(3, 0, 30, 9)));
}

TEST_F(TaskCallsTest, AMissingInputIsNullOrWrapped)
{
    const auto renderWhole = [](bool wrap) {
        const ref_ptr<RenderTask> pattern(
            new PatternTask("elsewhere", {Rect(900, 0, 910, 9), 15, {1, 2, 3, 4}, 1}));
        int wrapped = 0, missing = 0;
        const auto look = [&](const Image*, const Images& inputs) {
            if (!inputs[0])
            {
                ++missing;
                return;
            }
            ++wrapped;
            float rgba[4] = {};
            EXPECT_EQ(inputs[0]->bounds, s_area);
            EMULSION::GetPixel(inputs[0], 47, 15, rgba);
            EXPECT_THAT(rgba, ElementsAre(1, 0, 3, 0)); // as requested
        };
        const auto whole =
            probe("whole", {.region = s_area, .inputs = {pattern}, .render = look, .requested = 5});
        whole->setRenderFullFrame(true, wrap);
        EXPECT_EQ(renderAll({{whole, s_area, 1}})->count("finished"), 1u);
        return std::pair(wrapped, missing);
    };
    EXPECT_EQ(renderWhole(true), std::pair(1, 0));
    EXPECT_EQ(renderWhole(false), std::pair(0, 1));
}

namespace
{

// Locks its input itself.
class DelayedTask final : public ProbeTask
{
public:
    explicit DelayedTask(const ref_ptr<RenderTask>& input)
        : ProbeTask("delayed", {.region = s_area, .inputs = {input}})
    {
        setRenderLocalLocking(true);
    }

    using ProbeTask::renderRect;
    void renderRect(const Image* output, std::vector<ImageBuffer>& inputs) override
    {
        EXPECT_THROW(inputs[0].getImage(), UTIL::AssertException);
        inputs[0].lock();
        EMULSION::CopyInto(output, inputs[0].getImage());
        inputs[0].unlock();
    }
};

// Renders in neither way.
class IdleTask final : public ProbeTask
{
public:
    IdleTask() : ProbeTask("idle", {.region = s_area}) {}

    void renderRect(const Image* output, const Images& inputs) override
    {
        RenderTask::renderRect(output, inputs);
    }
    void renderRect(const Image* output, std::vector<ImageBuffer>& inputs) override
    {
        RenderTask::renderRect(output, inputs);
    }
};

}

TEST_F(TaskCallsTest, TheLockingModeDecidesWhichFormIsCalled)
{
    const ref_ptr<RenderTask> pattern(new PatternTask("pattern", {s_area, 15, {0, 0, 0, 0}, 3}));
    EXPECT_EQ(*render(new DelayedTask(pattern), s_area).at(20, 3), patternAt(20, 3, 0, 3));
    const ref_ptr<RenderTask> immediate(new IdleTask), delayed(new IdleTask);
    delayed->setRenderLocalLocking(true);
    RenderManager::setRenderThreads(1);
    EXPECT_THAT(renderAll({{immediate, s_area, 1}})->lines("error"),
                ElementsAre(HasSubstr("assertion(!\"This RenderTask does not support immediate "
                                      "locking.\") failed at src/renderSystem/core/RenderTask:")));
    EXPECT_THAT(renderAll({{delayed, s_area, 1}})->lines("error"),
                ElementsAre(HasSubstr("assertion(!\"This RenderTask does not support delayed "
                                      "locking.\") failed at src/renderSystem/core/RenderTask:")));
}

TEST_F(TaskCallsTest, PreRenderComesFirstAndPostRenderLastAndBothOnce)
{
    std::atomic<int> pre{0}, rendered{0}, post{0};
    const auto look = [&](Operation operation) {
        if (operation == Operation::PreRender)
        {
            EXPECT_EQ(rendered, 0);
            ++pre;
        }
        else if (operation == Operation::RenderRect)
        {
            EXPECT_EQ(pre, 1);
            EXPECT_EQ(post, 0);
            ++rendered;
        }
        else if (operation == Operation::PostRender)
        {
            EXPECT_EQ(rendered, 20);
            ++post;
        }
    };
    const auto task = probe("task", {.region = Rect(0, 0, 320, 16), .hook = look});
    EXPECT_EQ(renderAll({{task, Rect(0, 0, 320, 16), 1}})->count("finished"), 1u);
    EXPECT_EQ(pre, 1);
    EXPECT_EQ(post, 1);
}

TEST_F(TaskCallsTest, ATileIsReportedWithItsPlaceAndItsTime)
{
    const auto rendered = [](const Rect& area) {
        RenderManager::ClearRenderTaskCache();
        const auto sleep = [](Operation operation) {
            if (operation == Operation::PreRender)
                std::this_thread::sleep_for(std::chrono::milliseconds(20));
        };
        const auto task =
            probe("task", {.region = Rect(0, 0, 320, 10), .hook = sleep, .identity = "reported"});
        ref_ptr<Listener> listener(new Listener);
        RenderManager::Render({{task, area}}, listener, nullptr, false,
                              RenderManager::RenderTypePrimary);
        return listener;
    };
    RenderManager::clearSpeculativeCache();
    const auto first = rendered(Rect(0, 0, 160, 16));
    EXPECT_EQ(first->m_tiles, 10);
    EXPECT_EQ(first->m_cached, 0);
    EXPECT_GE(first->m_waiting, 1);
    EXPECT_LE(first->m_waiting, 3); // one a thread: those that come later do not wait
    EXPECT_GE(first->m_longestWait, 0.02);
    const auto second = rendered(Rect(0, 0, 320, 16));
    EXPECT_EQ(second->m_tiles, 20);
    EXPECT_EQ(second->m_cached, 10);
}

TEST_F(TaskCallsTest, ATileFromTheCacheEndsTheOutputButNotTheTask)
{
    RenderManager::setRenderThreads(1);
    int post = 0;
    const auto make = [&] {
        RenderManager::ClearRenderTaskCache();
        return probe("task", {.region = s_area,
                              .hook = [&](Operation o) { post += o == Operation::PostRender; },
                              .identity = "same"});
    };
    renderAll({{make(), Rect(32, 0, 48, 16), 1}});
    EXPECT_EQ(post, 1);
    const RecorderPtr recorder = renderAll({{make(), s_area, 1}}); // the last tile is there
    EXPECT_EQ(recorder->count("tile"), 3u);
    EXPECT_EQ(recorder->lines().back(), "finished 1");
    EXPECT_EQ(post, 1);
}

// One thread is about to hand over a tile when another one finishes the last.
TEST_F(TaskCallsTest, AnOutputEndsWhenAllItsTilesAreHandedOver)
{
    RenderManager::setRenderThreads(2);
    const auto task = probe("task", {.region = Rect(0, 0, 32, 16)});
    RecorderPtr recorder;
    std::atomic<bool> first{true};
    recorder = RecorderPtr(new Recorder([&](const std::string& line) {
        if (line != "tile task" || !first.exchange(false))
            return;
        EXPECT_TRUE(comesTrue([&] { return recorder->count("output") == 1; }));
    }));
    RenderManager::Render({{task, s_area, 1}}, recorder, nullptr, false,
                          RenderManager::RenderTypePrimary);
    EXPECT_EQ(recorder->lines().back(), "finished 1");
}
