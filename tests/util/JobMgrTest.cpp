#include <private/JobMgr.h>
#include <UTIL/Exceptions.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <future>
#include <latch>
#include <stdexcept>
#include <string>
#include <vector>

#include <boost/interprocess/exceptions.hpp>
#include <gtest/gtest.h>

#include "TestJob.h"

using namespace QUILT::Test;
using namespace std::chrono_literals;
using QUILT::Private::Living;
using QUILT::Private::livingCount;
using Util::Job;
using Util::JobMgr;
using Util::RcPtr;

namespace
{

// A failure of a wait shows as a false answer; no test passes sooner or later for it.
constexpr auto s_generously = 60s;

bool comesTrue(auto&& condition)
{
    const auto end = std::chrono::steady_clock::now() + s_generously;
    while (!condition())
    {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::yield();
    }
    return true;
}

}

TEST(JobMgr, RunsJobsInTheOrderOfSubmission)
{
    JobMgr& manager = newJobMgr(0);
    std::string order;
    std::vector<RcPtr<Job>> jobs;
    for (char name = 'a'; name <= 'z'; ++name)
    {
        jobs.push_back(makeJob([&order, name] { order += name; }));
        manager.queueJob(jobs.back());
    }
    EXPECT_EQ(manager.getQueuedJobCount(), 26u); // without workers nothing happens to them
    manager.setThreadCount(1);
    manager.waitForJob(jobs.back());
    EXPECT_EQ(order, "abcdefghijklmnopqrstuvwxyz");
}

TEST(JobMgr, WaitsForJobsThatWereQueuedWhateverComesOutOfThem)
{
    JobMgr& manager = newJobMgr(1);
    manager.waitForJob(makeJob([] {}));

    testing::internal::CaptureStderr();
    const auto failing = makeJob([] { throw std::runtime_error("its own trouble"); });
    manager.queueJob(failing);
    manager.waitForJob(failing);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "An exception came out of a job: its own trouble\n");
    testing::internal::CaptureStderr();
    EXPECT_THROW(manager.queueJob(failing), UTIL::AssertException); // a job runs at most once
    testing::internal::GetCapturedStderr();

    bool ran = false;
    const auto next = makeJob([&ran] { ran = true; });
    manager.queueJob(next);
    manager.waitForJob(next);
    EXPECT_TRUE(ran);
}

TEST(JobMgr, GoesToNoWorkersWhenTheRunningJobHasEnded)
{
    JobMgr& manager = newJobMgr(3);
    std::latch started(1), mayEnd(1);
    std::atomic<bool> ended = false, otherRan = false;
    manager.queueJob(makeJob([&] {
        started.count_down();
        mayEnd.wait();
        ended = true;
    }));
    started.wait();
    auto endedFirst = std::async(std::launch::async, [&] {
        manager.setThreadCount(0);
        return ended.load();
    });
    ASSERT_TRUE(comesTrue([&] { return manager.getThreadCount() == 0; }));
    const auto other = makeJob([&] { otherRan = true; });
    manager.queueJob(other);
    mayEnd.count_down();
    EXPECT_TRUE(endedFirst.get());
    EXPECT_FALSE(otherRan);
    EXPECT_EQ(manager.getQueuedJobCount(), 1u);

    manager.setThreadCount(2);
    manager.waitForJob(other);
    EXPECT_TRUE(otherRan);
}

// Each takes away workers that run other jobs of this kind: none can wait for another.
TEST(JobMgr, JobsMayChangeTheNumberOfWorkers)
{
    JobMgr& manager = newJobMgr(4);
    std::latch together(4);
    std::vector<RcPtr<Job>> jobs;
    for (unsigned long count = 0; count < 4; ++count)
    {
        jobs.push_back(makeJob([&manager, &together, count] {
            together.arrive_and_wait();
            manager.setThreadCount(count);
            manager.setThreadCount(1);
        }));
        manager.queueJob(jobs.back());
    }
    for (const RcPtr<Job>& job : jobs)
        manager.waitForJob(job);
    EXPECT_EQ(manager.getThreadCount(), 1u);
    EXPECT_TRUE(manager.waitUntilIdle(s_generously));
}

TEST(JobMgr, ResidentJobsLeaveAWorkerToTheOthers)
{
    JobMgr& manager = newJobMgr(1);
    std::latch started(3), mayEnd(1);
    std::vector<RcPtr<Job>> residents;
    for (int i = 0; i < 3; ++i)
    {
        residents.push_back(makeResidentJob([&] {
            const auto part = makeJob([] {});
            manager.queueJob(part);
            manager.waitForJob(part);
            started.count_down();
            mayEnd.wait();
        }));
        manager.queueJob(residents.back());
    }
    started.wait(); // although only one worker was asked for
    EXPECT_EQ(manager.getThreadCount(), 4u);

    // Taking workers away neither waits for a resident job nor ends its worker.
    manager.setThreadCount(8);
    EXPECT_EQ(manager.getThreadCount(), 8u);
    manager.setThreadCount(0);
    EXPECT_EQ(manager.getThreadCount(), 4u);
    const auto part = makeJob([] {});
    manager.queueJob(part);
    manager.waitForJob(part);

    mayEnd.count_down();
    for (const RcPtr<Job>& job : residents)
        manager.waitForJob(job);
    EXPECT_EQ(manager.getThreadCount(), 0u); // what was asked for, now that it can be had
}

TEST(JobMgr, LetsNoJobBeginAfterItWasStopped)
{
    JobMgr& manager = newJobMgr(2);
    std::latch started(1), mayEnd(1);
    std::atomic<bool> otherRan = false;
    std::atomic<bool> idleButForMe = false;
    manager.queueJob(makeJob([&] {
        started.count_down();
        mayEnd.wait();
        idleButForMe = manager.waitUntilIdle(s_generously);
    }));
    started.wait();
    manager.stopTakingJobs();
    manager.queueJob(makeJob([&] { otherRan = true; }));
    EXPECT_FALSE(manager.waitUntilIdle(1ms));
    mayEnd.count_down();
    EXPECT_TRUE(manager.waitUntilIdle(s_generously));
    EXPECT_TRUE(idleButForMe);
    EXPECT_FALSE(otherRan);
    EXPECT_EQ(manager.getQueuedJobCount(), 1u);
}

TEST(RcPtr, TheLastOneDestroysTheObject)
{
    const long before = livingCount(Living::Jobs);
    RcPtr<TestJob> job(new TestJob([] {}, false));
    RcPtr<Job> base = job;
    EXPECT_EQ(base, job);
    RcPtr<Job> moved = std::move(base);
    const RcPtr<Job> none;
    EXPECT_NE(moved, none);
    job = RcPtr<TestJob>();
    EXPECT_EQ(livingCount(Living::Jobs), before + 1);
    moved = none;
    EXPECT_EQ(livingCount(Living::Jobs), before);
}

TEST(Semaphore, FailuresCarryTheErrorOfTheCall)
{
    Util::Semaphore full(SEM_VALUE_MAX);
    try
    {
        full.release();
        ADD_FAILURE() << "nothing was thrown";
    }
    catch (const boost::interprocess::interprocess_exception& error)
    {
        EXPECT_EQ(error.get_native_error(), EOVERFLOW);
        EXPECT_STREQ(error.what(), "Value too large for defined data type");
    }
}
