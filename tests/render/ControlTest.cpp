#include <QUILT/Exceptions.h>

#include <array>
#include <atomic>
#include <latch>
#include <thread>

#include <gmock/gmock.h>

#include "private/JobMgr.h"
#include "render/Probe.h"
#include "render/Recorder.h"
#include "support/Render.h"
#include "support/Rest.h"
#include "support/Tasks.h"

using namespace QUILT;
using namespace QUILT::Test;
using testing::Each;
using testing::ElementsAre;
using testing::IsSupersetOf;
using testing::StartsWith;
using UTIL::Rect;

namespace
{

constexpr auto s_first = RenderManager::RenderTypePrimary;
constexpr RenderManager::RenderType s_types[] = {RenderManager::RenderTypePrimary,
                                                 RenderManager::RenderTypeSecondary,
                                                 RenderManager::RenderTypeTertiary};
const Rect s_square(0, 0, 64, 64);

class ControlTest : public testing::Test
{
protected:
    ControlTest()
    {
        RenderManager::SetPollPeriod(100);
        RenderManager::setGlobalTileSize(16, 16);
        RenderManager::setRenderThreads(3);
    }
    void TearDown() override { EXPECT_TRUE(everythingIsGone()); }

    static RecorderPtr start(const ref_ptr<RenderTask>& task, RenderManager::RenderType type,
                             Recorder::Hook hook = nullptr)
    {
        const RecorderPtr recorder(new Recorder(std::move(hook)));
        RenderManager::Render({{task, s_square, 1}}, recorder, nullptr, true, type);
        return recorder;
    }

    // A task of one tile that announces itself and then waits for its release.
    struct Gate
    {
        ref_ptr<RenderTask> task(const std::string& name)
        {
            return probe(name, {.region = Rect(0, 0, 16, 16), .hook = [this](Operation o) {
                                    if (o != Operation::RenderRect)
                                        return;
                                    entered.count_down();
                                    released.wait();
                                }});
        }
        std::latch entered{1}, released{1};
    };
};

}

TEST_F(ControlTest, ARenderInProgressIsNotTouchedByAnother)
{
    Gate gate;
    const RecorderPtr first = start(gate.task("first"), s_first);
    gate.entered.wait();
    EXPECT_TRUE(RenderManager::isRenderInProgress(s_first));
    EXPECT_FALSE(RenderManager::isRenderInProgress(s_types[1]));
    EXPECT_THAT(start(probe("second"), s_first)->lines(),
                ElementsAre("error Start Render: : There is already a render in progress, cancel "
                            "it first!: -1"));
    gate.released.count_down();
    RenderManager::finishRender(s_first);
    EXPECT_FALSE(RenderManager::isRenderInProgress(s_first));
    EXPECT_THAT(first->lines(),
                ElementsAre("setup 1", "started", "tile first", "output 1 0,0", "finished 1"));
}

TEST_F(ControlTest, WhatIsNothingToRenderEndsAllTheSame)
{
    EXPECT_THAT(renderAll({})->lines(), ElementsAre("setup 0", "started"));
    EXPECT_THAT(renderAll({{nullptr, s_square, 1}})->lines(),
                ElementsAre("error Start Render: : An output of the render has no task.: -1"));
    EXPECT_THAT(renderAll({{probe("task"), Rect(900, 0, 910, 9), 1}})->lines(),
                ElementsAre("setup 0", "started"));
    RenderManager::Render({{probe("unseen"), s_square, 1}}, nullptr, nullptr, false, s_first);
    RenderManager::finishRender(s_first);
    RenderManager::cancel(s_first, true);
}

TEST_F(ControlTest, SeveralOutputsMayFeedEachOther)
{
    RenderManager::setGlobalTileSize(64, 64);
    const auto inner = probe("inner");
    const auto outer = probe("outer", {.inputs = {inner}});
    const RecorderPtr recorder =
        renderAll({{outer, s_square, 7}, {inner, s_square, 9}, {inner, s_square, 11}});
    EXPECT_EQ(recorder->count("tile"), 5u);
    EXPECT_THAT(
        recorder->lines(),
        IsSupersetOf({"setup 5", "tile inner", "tile outer", "tile __RENDER_CONTROLLER_AOV_COPY__0",
                      "tile __RENDER_CONTROLLER_AOV_COPY__1",
                      "tile __RENDER_CONTROLLER_AOV_COPY__2", "output 7 0,0", "output 9 0,0",
                      "output 11 0,0", "finished 7", "finished 9", "finished 11"}));
}

TEST_F(ControlTest, ThreeTypesRunSideBySideOnOneThread)
{
    RenderManager::setRenderThreads(1);
    EXPECT_EQ(RenderManager::getRenderThreads(), 1);
    Gate gate;
    std::array<RecorderPtr, 3> recorders;
    recorders[0] = start(gate.task("gate"), s_types[0]);
    for (const int i : {1, 2})
        recorders[size_t(i)] = start(probe("task"), s_types[i]);
    EXPECT_THAT(s_types, Each(testing::Truly(RenderManager::isRenderInProgress)));
    gate.released.count_down();
    for (const RenderManager::RenderType type : s_types)
        RenderManager::finishRender(type);
    for (const RecorderPtr& recorder : recorders)
        EXPECT_EQ(recorder->lines().back(), "finished 1");
}

TEST_F(ControlTest, ACancelledRenderLeavesAtOnce)
{
    for (const bool waitForJob : {true, false})
    {
        Gate gate;
        const RecorderPtr recorder = start(gate.task("gate"), s_first);
        gate.entered.wait();
        RenderManager::cancel(s_first, waitForJob);
        EXPECT_FALSE(RenderManager::isRenderInProgress(s_first));
        gate.released.count_down();
        EXPECT_TRUE(everythingIsGone());
        EXPECT_THAT(recorder->lines(), ElementsAre("setup 1", "started", "cancelled"));
    }
    // From within: the other tiles do not run.
    RenderManager::setRenderThreads(1);
    const RecorderPtr recorder = start(probe("task"), s_first, [](const std::string& line) {
        if (line.starts_with("output"))
            RenderManager::cancel(s_first, false);
    });
    EXPECT_TRUE(everythingIsGone());
    EXPECT_EQ(recorder->count("output"), 1u);
    EXPECT_EQ(recorder->count("finished"), 0u);
    RenderManager::setRenderThreads(0);
    EXPECT_EQ(RenderManager::getRenderThreads(), 1);
}

// A change waits for renders of the first type only.
TEST_F(ControlTest, ARenderKeepsItsTileSize)
{
    std::latch entered{1}, released{1};
    const auto leaf = probe("leaf", {.hook = [&](Operation operation) {
                                if (operation == Operation::PreRender)
                                {
                                    entered.count_down();
                                    released.wait();
                                }
                            }});
    const ref_ptr<RenderTask> pattern(new PatternTask("pattern", {s_square, 1, {0, 0, 0, 0}, 4}));
    const auto top = probe("top", {.inputs = {pattern, leaf}, .reach = 3, .channels = 1});
    Picture picture;
    std::thread other([&] { picture = render(top, s_square, s_types[1]); });
    entered.wait();
    RenderManager::setGlobalTileSize(24, 40);
    released.count_down();
    other.join();
    for (int64_t y = 0; y < 64; ++y)
        for (int64_t x = 0; x < 64; ++x)
            ASSERT_EQ(*picture.at(x, y), patternAt(x, y, 0, 4)) << x << ',' << y;
}

TEST_F(ControlTest, WavesKeepTheOrderOfSubmission)
{
    RenderManager::setRenderThreads(1);
    // The first tile waits until all that are ready are in the queue.
    std::atomic<size_t> othersReady{15};
    const auto wait = [&](Operation operation) {
        const auto queued = [] { return Util::JobMgr::instance()->getQueuedJobCount(); };
        if (operation != Operation::PreRender)
            return;
        EXPECT_TRUE(comesTrue([&] { return queued() == othersReady; }));
    };
    const auto make = [&] { return probe("top", {.inputs = {probe("leaf", {.hook = wait})}}); };
    std::vector<std::string> expected(16, "tile leaf");
    expected.resize(32, "tile top");
    EXPECT_EQ(renderAll({{make(), s_square, 1}})->lines("tile"), expected);

    othersReady = 0;
    RenderManager::SetTileOrder(RenderManager::TileOrder::Streaming);
    const auto lines = renderAll({{make(), s_square, 1}})->lines();
    RenderManager::SetTileOrder(RenderManager::TileOrder::Waves);
    int waiting = 0, most = 0;
    for (const std::string& line : lines)
        most = std::max(most, waiting += (line == "tile leaf") - (line == "tile top"));
    EXPECT_LE(most, 3);
    EXPECT_THAT(lines.back(), "finished 1");
}

// Each render is given up at once, with a tile that still runs, one that fails and some that wait,
// and the next one starts.
TEST_F(ControlTest, ANewRenderHasNothingToDoWithTheOneBefore)
{
    for (int i = 0; i < 2000 && !HasFailure(); ++i)
    {
        std::latch released{1};
        const bool fails = i % 3 == 0;
        ref_ptr<RenderTask> old = probe("old", {.hook = [&, fails](Operation operation) {
                                            if (operation != Operation::RenderRect)
                                                return;
                                            released.wait();
                                            if (fails)
                                                throw std::runtime_error("old");
                                        }});
        old->setRenderFullFrame(true, false);
        old = probe("old", {.inputs = {old, probe("old")}});
        const auto before = start(old, s_first);
        old = nullptr;
        if (i % 2 == 0) // otherwise it may not have been set up yet
        {
            EXPECT_TRUE(comesTrue([&] { return before->count("started") == 1; }));
        }
        RenderManager::cancel(s_first, false);

        const RecorderPtr after = start(probe("new"), s_first, [&](const std::string& line) {
            if (line == "started")
                released.count_down(); // the old one goes on while this one runs
        });
        RenderManager::finishRender(s_first);
        EXPECT_EQ(after->lines().front(), "setup 16");
        EXPECT_EQ(after->lines().back(), "finished 1");
        EXPECT_THAT(after->lines("tile"), Each("tile new"));
        EXPECT_EQ(after->count("error") + after->count("cancelled"), 0u);
        EXPECT_EQ(before->count("tile new") + before->count("finished"), 0u);
        ASSERT_TRUE(everythingIsGone());
    }
}

TEST_F(ControlTest, ThreadsComeAndGoDuringRenders)
{
    std::atomic<unsigned> number{0};
    const auto change = [&] { RenderManager::setRenderThreads(number++ * 5 % 8 + 1); };
    std::atomic<bool> done{false};
    std::thread outside([&] {
        while (!done)
            change();
    });
    for (int i = 0; i < 60; ++i)
    {
        std::vector<RecorderPtr> recorders;
        for (const RenderManager::RenderType type : s_types)
            recorders.push_back(start(probe("top", {.inputs = {probe("leaf")}}), type,
                                      [&](const std::string&) { change(); }));
        for (const RenderManager::RenderType type : s_types)
            RenderManager::finishRender(type);
        for (const RecorderPtr& recorder : recorders)
            EXPECT_EQ(recorder->lines().back(), "finished 1");
    }
    done = true;
    outside.join();
    RenderManager::setRenderThreads(2);
    EXPECT_TRUE(comesTrue([] { return Util::JobMgr::instance()->getThreadCount() == 3; }));
}
