#include <QUILT/CompositeTasks.h>
#include <QUILT/Exceptions.h>
#include <UTIL/Exceptions.h>

#include <atomic>
#include <functional>
#include <stdexcept>

#include <EMULSION/Error.h>
#include <gmock/gmock.h>

#include "private/JobMgr.h"
#include "render/Probe.h"
#include "render/Recorder.h"
#include "support/Rest.h"

using namespace QUILT;
using namespace QUILT::Test;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using UTIL::Rect;

namespace
{

constexpr auto s_type = RenderManager::RenderTypePrimary;
const Rect s_square(0, 0, 64, 64);

// Something that a task may throw, and how the observer hears of it: the rest of a line behind the
// task's name, if there is one, and whether it is told of a cancellation.
struct Failure
{
    const char* text; // what() of an exception, null for what is none
    std::string report;
    bool cancels;
    void (*raise)();
};

const Failure s_failures[] = {
    {"message", "a rendering error: message: 12", false,
     [] { throw RenderTaskRenderingException("name", "type", "message", 12); }},
    {"broken", "an EMULSION error: broken: -1", false,
     [] {
         EMULSION::SetError(EMULSION::ERROR_FILE_READ, "broken");
         CheckError();
     }},
    {"EMULSION Cancellation", "", true,
     [] {
         EMULSION::SetError(EMULSION::ERROR_CANCELLED, "");
         CheckError();
     }},
    {"Out of Memory: text\nfile:7", ": Out of Memory: text\nfile:7: 33", true,
     [] { throw UTIL::OutOfMemoryException("text", "file", 7); }},
    {"assertion(x) failed at file:7", ": assertion(x) failed at file:7: -1", false,
     [] { throw UTIL::AssertException("x", "file", 7); }},
    {"wrong", ": wrong: -1", false, [] { throw std::runtime_error("wrong"); }},
    {nullptr, "an unknown exception: : -1", false, [] { throw 7; }},
};

std::vector<std::string> expectedReport(const std::string& task, const Failure& failure)
{
    std::vector<std::string> lines;
    if (!failure.report.empty())
        lines.push_back("error " + task + ": " + failure.report);
    if (failure.cancels)
        lines.push_back("cancelled");
    return lines;
}

// A failure while the data region is computed comes wrapped.
std::vector<std::string> expectedReport(const std::string& task, const Failure& failure,
                                        Operation operation)
{
    if (operation != Operation::DataRegion)
        return expectedReport(task, failure);
    const std::string doing = "while computing the outputDataRegion";
    return {"error " + task + ": a rendering error: " +
            (failure.text ? "An error occurred " + doing + ", '" + failure.text + "'"
                          : "An unknown error has occurred " + doing) +
            ": -1"};
}

class FailureTest : public testing::Test
{
protected:
    FailureTest()
    {
        RenderManager::SetPollPeriod(100);
        RenderManager::setGlobalTileSize(64, 64);
        RenderManager::setRenderThreads(3);
    }

    // Nothing may be left of a failed render, and the next one is none the wiser.
    void TearDown() override { expectNothingLeft(); }

    static void expectNothingLeft()
    {
        EXPECT_FALSE(RenderManager::isRenderInProgress(s_type));
        ASSERT_TRUE(everythingIsGone());
        EXPECT_THAT(renderAll({{probe("next"), s_square, 1}})->lines(),
                    ElementsAre("setup 1", "started", "tile next", "output 1 0,0", "finished 1"));
        ASSERT_TRUE(everythingIsGone());
    }

    static ref_ptr<RenderTask> failing(Operation where, const Failure& failure)
    {
        const auto fail = [where, &failure](Operation operation) {
            if (operation == where)
                failure.raise();
        };
        return probe("failing", {.inputs = {probe("leaf")}, .hook = fail});
    }
};

}

TEST_F(FailureTest, OfEveryOperationReachTheObserver)
{
    for (const Operation where : s_operations)
    {
        for (const Failure& failure : s_failures)
        {
            SCOPED_TRACE(std::to_string(int(where)) + ": " + failure.report);
            const bool inSetUp = where < Operation::PreRender;
            RecorderPtr recorder;
            // A consumer would describe the task while the graph is built.
            if (where < Operation::Requests)
                recorder = renderAll({{failing(where, failure), s_square, 1}});
            else
                recorder =
                    renderAll({{probe("top", {.inputs = {failing(where, failure)}}), s_square, 1}});

            std::vector<std::string> expected =
                expectedReport(inSetUp ? "RenderSetup" : "failing", failure, where);
            if (inSetUp)
                expected.push_back("started");
            else
                expected.insert(expected.begin(), {"setup 3", "started", "tile leaf"});
            EXPECT_EQ(recorder->lines(), expected);
            expectNothingLeft();
            if (HasFailure())
                return;
        }
    }
}

// With several outputs the caller's thread puts a task in front of each.
TEST_F(FailureTest, OfTheDescriptionOfOneOfSeveralOutputsReachTheObserver)
{
    for (const Failure& failure : s_failures)
    {
        const auto task = failing(Operation::DataRegion, failure);
        for (int time = 0; time < 2; ++time) // it fails every time that it is tried
        {
            RecorderPtr recorder;
            EXPECT_NO_THROW(recorder =
                                renderAll({{probe("other"), s_square, 1}, {task, s_square, 2}}));
            EXPECT_EQ(recorder->lines("error"),
                      expectedReport("RenderSetup", failure, Operation::DataRegion));
            EXPECT_EQ(recorder->count("tile"), 0u);
        }
        EXPECT_EQ(renderAll({{task, s_square, 1}})->lines("error"),
                  expectedReport("RenderSetup", failure, Operation::DataRegion));
    }
}

TEST_F(FailureTest, LeftPendingIsFoundBehindTheOperation)
{
    const auto leaveError = [](Operation operation) {
        if (operation == Operation::RenderRect)
            EMULSION::SetError(EMULSION::ERROR_UNKNOWN, "left");
    };
    EXPECT_THAT(renderAll({{probe("leaving", {.hook = leaveError}), s_square, 1}})->lines("error"),
                ElementsAre("error leaving: an EMULSION error: left: -1"));

    // What a set-up leaves behind on its thread is none of the tiles' that come there later.
    const auto leaveEarly = [](Operation operation) {
        if (operation == Operation::InputRects)
            EMULSION::SetError(EMULSION::ERROR_UNKNOWN, "left");
    };
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(
            renderAll({{probe("leaving", {.hook = leaveEarly}), s_square, 1}})->count("error"), 0u);
}

TEST_F(FailureTest, OfTypeNamesFailTheirTile)
{
    std::atomic<bool> rendering{false};
    const auto failLater = [&](Operation operation) {
        if (operation == Operation::RenderRect)
            rendering = true;
        else if (operation == Operation::GetType && rendering)
            throw std::runtime_error("no type");
    };
    const auto task = probe("typeless", {.hook = failLater});
    task->setCaching(false);
    EXPECT_THAT(renderAll({{task, s_square, 1}})->lines(),
                ElementsAre("setup 1", "started", "error typeless: : no type: -1"));
}

TEST_F(FailureTest, OfPreRenderFailAllTilesOfTheTask)
{
    const auto linesOf = [](const std::function<void()>& end) {
        const auto fail = [end](Operation operation) {
            if (operation != Operation::PreRender)
                return;
            // The other tile has its memory: it no longer looks whether the render goes on.
            const auto bytes = [] { return Private::ImageAllocator::instance()->getMemUsage(); };
            EXPECT_TRUE(comesTrue([&] { return bytes() == 2 * 64 * 64 * 16; }));
            end();
        };
        const auto task = probe("failing", {.region = Rect(0, 0, 128, 64), .hook = fail});
        const RecorderPtr recorder = renderAll({{task, Rect(0, 0, 128, 64), 1}});
        EXPECT_TRUE(comesTrue([&] { return recorder->lines().size() == 4; })); // Render may be back
        return recorder->lines();
    };
    EXPECT_THAT(linesOf([] { throw std::runtime_error("wrong"); }),
                testing::UnorderedElementsAre(
                    "setup 2", "started", "error failing: : wrong: -1",
                    "error failing: a rendering error: An error occurred in preRender.: -1"));
    expectNothingLeft();
    // Of a render that is cancelled no tile has an error to tell.
    EXPECT_THAT(linesOf([] { throw RenderCancelledException(); }),
                ElementsAre("setup 2", "started", "cancelled", "cancelled"));
}

// One tile fails while three others wait for their turn on the only thread.
TEST_F(FailureTest, OfOneTileCancelTheOthers)
{
    RenderManager::setRenderThreads(1);
    const auto fail = [](Operation operation) {
        if (operation != Operation::RenderRect)
            return;
        const auto queued = [] { return Util::JobMgr::instance()->getQueuedJobCount(); };
        EXPECT_TRUE(comesTrue([&] { return queued() == 3; }));
        throw RenderTaskRenderingException("", "", "first", 3);
    };
    const auto leaf = probe("leaf", {.region = Rect(0, 0, 256, 64), .hook = fail});
    const auto top = probe("top", {.region = Rect(0, 0, 256, 64), .inputs = {leaf}});
    const RecorderPtr recorder(new Recorder);
    RenderManager::Render({{top, Rect(0, 0, 256, 64), 1}}, recorder, nullptr, false, s_type);
    ASSERT_TRUE(comesTrue([&] { return recorder->lines().size() == 6; }));
    EXPECT_THAT(recorder->lines(),
                ElementsAre("setup 8", "started", "error leaf: a rendering error: first: 3",
                            "cancelled", "cancelled", "cancelled"));
}

TEST_F(FailureTest, OfTheObserverHarmNobody)
{
    testing::internal::CaptureStderr();
    const auto made = [](bool fails) {
        return probe("task", {.hook = [fails](Operation operation) {
                         if (fails && operation == Operation::RenderRect)
                             throw UTIL::OutOfMemoryException("text", "file", 7);
                     }});
    };
    for (const std::string call :
         {"setup", "started", "tile", "output", "finished", "error", "cancelled"})
    {
        for (const bool standard : {true, false})
        {
            const bool fails = call == "error" || call == "cancelled";
            const RecorderPtr recorder =
                renderAll({{made(fails), s_square, 1}}, [&](const std::string& line) {
                    if (!line.starts_with(call))
                        return;
                    if (standard)
                        throw std::runtime_error("observer of " + call);
                    throw 7;
                });
            EXPECT_EQ(recorder->lines().back(), fails ? "cancelled" : "finished 1");
        }
    }
    const std::string text = testing::internal::GetCapturedStderr();
    EXPECT_THAT(text, HasSubstr("a render observer has thrown: observer of finished"));
    EXPECT_THAT(text, HasSubstr("a render observer has thrown an unknown exception"));
}

// The tiles of a chain hold each other. They must not take a stack frame each to go.
TEST_F(FailureTest, OfALongChainLeaveNothingBehind)
{
    ref_ptr<RenderTask> task = probe("leaf", {.hook = [](Operation operation) {
                                         if (operation == Operation::RenderRect)
                                             throw std::runtime_error("wrong");
                                     }});
    for (int i = 0; i < 100000; ++i)
        task = probe("link", {.inputs = {task}});
    EXPECT_THAT(renderAll({{task, s_square, 1}})->lines("error"),
                ElementsAre("error leaf: : wrong: -1"));
    task = nullptr;
}
