#include <EMULSION/Error.h>
#include <QUILT/Exceptions.h>
#include <QUILT/RenderManager.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <unistd.h>

using namespace QUILT;

namespace
{

class Checker final : public RenderManager::CancelChecker
{
public:
    Checker(bool cancelled, int* destroyed) : m_cancelled(cancelled), m_destroyed(destroyed) {}
    ~Checker() override { ++*m_destroyed; }
    bool isCancelled() override { return m_cancelled; }

private:
    const bool m_cancelled;
    int* const m_destroyed;
};

}

TEST(CheckError, TellsErrorsBeforeCancellation)
{
    int destroyed = 0;
    EXPECT_NO_THROW(CheckError());
    RenderManager::SetCancelChecker(new Checker(true, &destroyed));
    EXPECT_THROW(CheckError(), RenderCancelledException);

    EMULSION::SetError(EMULSION::ERROR_FILE_READ, "the disk is gone");
    try
    {
        CheckError();
        ADD_FAILURE() << "nothing was thrown";
    }
    catch (const EmulsionRenderingException& error)
    {
        EXPECT_STREQ(error.what(), "the disk is gone");
    }
    EXPECT_EQ(EMULSION::GetError(), EMULSION::ERROR_NONE);

    RenderManager::SetCancelChecker(new Checker(false, &destroyed));
    EXPECT_EQ(destroyed, 1);
    EXPECT_NO_THROW(CheckError());
    EMULSION::SetError(EMULSION::ERROR_CANCELLED, "");
    EXPECT_THROW(CheckError(), RenderCancelledException);
    EXPECT_NO_THROW(CheckError());
    RenderManager::SetCancelChecker(nullptr);
    EXPECT_EQ(destroyed, 2);
}

TEST(CheckAbort, IsEachThreadsOwn)
{
    int destroyed = 0;
    RenderManager::SetCancelChecker(new Checker(true, &destroyed));
    bool elsewhere = true;
    std::thread([&] { elsewhere = RenderManager::CheckAbort(); }).join();
    EXPECT_FALSE(elsewhere);
    EXPECT_TRUE(RenderManager::CheckAbort());
    RenderManager::SetCancelChecker(nullptr);
    EXPECT_FALSE(RenderManager::CheckAbort());
}

TEST(Exceptions, SayWhatAndWhere)
{
    EXPECT_STREQ(FatalErrorException("gone", "src/x", 12).what(), "Fatal Error: gone\nsrc/x:12");
    testing::internal::CaptureStderr();
    const UTIL::AssertException assertion("a == b", "src/y", 3);
    const UTIL::OutOfMemoryException memory("full", "src/z", 4);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "assert(a == b) failed at src/y:3\nOut of Memory: full at src/z:4\n");
    EXPECT_STREQ(assertion.what(), "assertion(a == b) failed at src/y:3");
    EXPECT_STREQ(memory.what(), "Out of Memory: full\nsrc/z:4");
    EXPECT_EQ(memory.getErrorCode(), 33);
    const std::string longText(9000, 'x');
    EXPECT_EQ(std::string(FatalErrorException(longText.c_str(), "f", 1).what()).size(), 8191u);
}

TEST(Exceptions, OutOfMemoryInBatchModeEndsTheProcess)
{
    ::setenv("LANTERN_BATCH_MODE", "", 1);
    EXPECT_EXIT(UTIL::OutOfMemoryException("full", "src/z", 4), testing::ExitedWithCode(33),
                "Out of Memory: full at src/z:4");
    ::unsetenv("LANTERN_BATCH_MODE");
}

TEST(TileSize, RefusesWhatIsNoSize)
{
    EXPECT_THROW(RenderManager::setGlobalTileSize(0, 16), UTIL::AssertException);
    EXPECT_EQ(RenderManager::getGlobalTileWidth(), 256);
    RenderManager::setGlobalTileSize(32, 16);
    EXPECT_EQ(RenderManager::getGlobalTileWidth(), 32);
    EXPECT_EQ(RenderManager::getGlobalTileHeight(), 16);
}

TEST(DebugTrace, WritesWholeLinesOfAllThreadsToTheFile)
{
    const std::filesystem::path path =
        std::filesystem::temp_directory_path() / ("trace" + std::to_string(::getpid()));
    RenderManager::debugStream() << "before it was on\n";
    RenderManager::setRenderDebug(true);
    RenderManager::setRenderLogFile(path.string());
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([t] {
            for (int i = 0; i < 200; ++i)
                RenderManager::debugStream() << "thread " << t << " line " << i << '\n';
        });
    for (std::thread& thread : threads)
        thread.join();
    RenderManager::setRenderDebug(false);
    RenderManager::debugStream() << "after it was off\n";
    RenderManager::setRenderLogFile("");

    std::vector<std::string> lines, expected;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);)
        lines.push_back(line);
    for (int t = 0; t < 4; ++t)
        for (int i = 0; i < 200; ++i)
            expected.push_back("thread " + std::to_string(t) + " line " + std::to_string(i));
    std::ranges::sort(lines);
    std::ranges::sort(expected);
    EXPECT_EQ(lines, expected);
    std::filesystem::remove(path);
}
