#include <atomic>
#include <cstdlib>
#include <filesystem>

#include <unistd.h>

#include <Bramble3/Configuration.h>
#include <gmock/gmock.h>

#include "private/LivingCounts.h"
#include "render/Probe.h"
#include "render/Recorder.h"
#include "support/Rest.h"

using namespace QUILT;
using namespace QUILT::Test;
using testing::HasSubstr;
using testing::Not;
using UTIL::Rect;

// What happens once in a process: each case runs in a child that begins anew.

namespace
{

class ProcessTest : public testing::Test
{
protected:
    ProcessTest() { testing::GTEST_FLAG(death_test_style) = "threadsafe"; }
};

// Renders nothing, with standard output going where the parent looks.
[[noreturn]] void waitWithPeriod(const char* text)
{
    dup2(STDERR_FILENO, STDOUT_FILENO);
    setenv("LANTERN_RENDER_CONTROLLER_SLEEP_USECS", text, 1);
    renderAll({});
    std::exit(RenderManager::getRenderThreads()); // 0, because nobody has set it
}

}

TEST_F(ProcessTest, ThePollPeriodComesFromTheEnvironment)
{
    const auto exitedWell = testing::ExitedWithCode(0);
    const auto line = [](const std::string& period) {
        return HasSubstr("Render Controller sleep usecs: " + period + "\n");
    };
    EXPECT_EXIT(waitWithPeriod("0"), exitedWell, line("25000"));
    EXPECT_EXIT(waitWithPeriod("1000000"), exitedWell, line("25000"));
    EXPECT_EXIT(waitWithPeriod("999999"), exitedWell, line("999999"));
    EXPECT_EXIT(waitWithPeriod("0x10"), exitedWell, line("16"));
    EXPECT_EXIT(
        {
            RenderManager::SetPollPeriod(10);
            waitWithPeriod("16");
        },
        exitedWell, Not(HasSubstr("usecs")));
}

namespace
{

constexpr char s_folderVariable[] = "QUILT_TEST_SWAP_FOLDER";

// Starts a render that swaps, and ends the process from this thread or from one of the pool's.
[[noreturn]] void exitWhileSwapping(bool fromWorker)
{
    Bramble3::BzConfiguration::v1::Config().set("LANTERN_TMPDIR", getenv(s_folderVariable));
    RenderManager::SetPollPeriod(1000);
    RenderManager::SetMaxImageMemory(1);
    RenderManager::setGlobalTileSize(64, 64);
    const auto isSwapping = [] { return livingCount(Private::Living::SwapFiles) > 20; };
    const Rect area(0, 0, 2048, 2048);
    static std::atomic<bool> s_exiting{!fromWorker};
    const auto exitOnce = [=](Operation operation) {
        if (operation == Operation::RenderRect && isSwapping() && !s_exiting.exchange(true))
            std::exit(0);
    };
    const auto leaf = probe("leaf", {.region = area, .hook = exitOnce});
    const auto top = probe("top", {.region = area, .inputs = {leaf}, .reach = 64});
    const RecorderPtr recorder(new Recorder);
    RenderManager::Render({{top, area, 1}}, recorder, nullptr, true,
                          RenderManager::RenderTypePrimary);
    if (!fromWorker && comesTrue(isSwapping))
        std::exit(0);
    for (;;)
        pause();
}

}

TEST_F(ProcessTest, LeavesNoSwapFilesBehind)
{
    char name[] = "/tmp/quilt_exit_XXXXXX";
    if (!getenv(s_folderVariable)) // the children have got it from their parent
        setenv(s_folderVariable, mkdtemp(name), 1);
    const std::string folder = getenv(s_folderVariable);
    for (const bool fromWorker : {false, true})
    {
        EXPECT_EXIT(exitWhileSwapping(fromWorker), testing::ExitedWithCode(0), "^$");
        EXPECT_TRUE(std::filesystem::is_empty(folder)) << folder;
    }
    unsetenv(s_folderVariable);
    std::filesystem::remove_all(folder);
}
