#include <Bramble3/Log.h>

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

using namespace Bramble3::internal::BzLogging;

TEST(Log, WritesOneLineToStandardErrorUnlessASinkTakesIt)
{
    const BzLog log("Some::Class");
    std::string seen;
    setSink([&seen](const std::string& name, const std::string& message, int severity) {
        seen = name + "|" + message + "|" + std::to_string(severity);
    });
    testing::internal::CaptureStderr();
    log.log("to the sink", 20);
    setSink(
        [](const auto&, const auto&, int) { throw std::runtime_error("a sink's own trouble"); });
    log.log("dropped", 20);
    setSink(nullptr);
    log.log("to standard error", 50);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Some::Class: 50: to standard error\n");
    EXPECT_EQ(seen, "Some::Class|to the sink|20");
}

TEST(Log, ASinkMayLogAndBeReplacedWhileThreadsLog)
{
    std::atomic<int> messages = 0;
    const auto sink = [&messages](const std::string&, const std::string& message, int) {
        ++messages;
        if (message == "outer")
            BzLog("inner").log("inner", 10);
    };
    setSink(sink);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([] {
            for (int message = 0; message < 500; ++message)
                BzLog("outer").log("outer", 10);
        });
    for (int i = 0; i < 500; ++i)
        setSink(sink);
    for (std::thread& thread : threads)
        thread.join();
    setSink(nullptr);
    EXPECT_EQ(messages, 4000);
}
