#include <private/JobMgr.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "support/Random.h"
#include "support/Stress.h"
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

// Submits jobs the way renders do: a resident one that submits others and waits for them, some of
// which submit more and some of which change the number of workers.
class Load
{
public:
    explicit Load(JobMgr& manager) : m_manager(manager) {}

    void renderOnce(Random& random)
    {
        const uint64_t seed = random.bits();
        const auto render = makeResidentJob([this, seed] { submitTiles(seed); });
        ++m_submitted;
        m_manager.queueJob(render);
        if (!random.oneIn(4)) // the others overlap with the next one
            m_manager.waitForJob(render);
    }

    long submitted() const { return m_submitted; }
    long ran() const { return m_ran; }

private:
    void submitTiles(uint64_t seed)
    {
        Random random(seed);
        std::vector<RcPtr<Job>> tiles;
        for (int64_t i = random.between(0, 20); i > 0; --i)
        {
            const bool more = random.oneIn(3);
            const int64_t threads = random.oneIn(10) ? random.between(0, 8) : -1;
            tiles.push_back(makeJob([this, more, threads] { runTile(more, threads); }));
            submit(tiles.back());
        }
        for (const RcPtr<Job>& tile : tiles)
            m_manager.waitForJob(tile);
        ++m_ran;
    }

    void runTile(bool more, int64_t threads)
    {
        if (more)
            submit(makeJob([this] { ++m_ran; }));
        if (threads >= 0)
            m_manager.setThreadCount(static_cast<unsigned long>(threads));
        ++m_ran;
    }

    void submit(const RcPtr<Job>& job)
    {
        ++m_submitted;
        m_manager.queueJob(job);
    }

    JobMgr& m_manager;
    std::atomic<long> m_submitted = 0;
    std::atomic<long> m_ran = 0;
};

}

TEST(JobMgrStress, EveryJobRunsOnceWhileWorkersComeAndGo)
{
    JobMgr& manager = newJobMgr(2);
    const long before = livingCount(Living::Jobs);
    Load load(manager);
    const StressTime time(1.5);
    const uint64_t seed = numberFromEnvironment("QUILT_TEST_SEED", 1);
    std::vector<std::thread> threads;
    for (uint64_t i = 0; i < 3; ++i)
        threads.emplace_back([&load, &time, seed, i] {
            Random random(seed + i);
            while (time.isLeft())
                load.renderOnce(random);
        });
    Random random(seed + 3);
    while (time.isLeft())
    {
        manager.setThreadCount(static_cast<unsigned long>(random.between(0, 8)));
        std::this_thread::yield();
    }
    for (std::thread& thread : threads)
        thread.join();

    manager.setThreadCount(1);
    ASSERT_TRUE(manager.waitUntilIdle(60s));
    EXPECT_EQ(load.ran(), load.submitted());
    EXPECT_EQ(livingCount(Living::Jobs), before);
    EXPECT_EQ(manager.getThreadCount(), 1u);
    RecordProperty("jobs", std::to_string(load.ran()));
}
