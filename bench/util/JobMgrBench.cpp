#include <private/JobMgr.h>

#include <atomic>

#include <benchmark/benchmark.h>

using Util::Job;
using Util::JobMgr;
using Util::RcPtr;

namespace
{

class CountDown final : public Job
{
public:
    explicit CountDown(std::atomic<long>& left) : m_left(left) {}
    void run() override { m_left.fetch_sub(1); }

private:
    std::atomic<long>& m_left;
};

// One job from its making to its destruction, `threads` workers beside the thread that submits.
void jobsOfNothing(benchmark::State& state)
{
    JobMgr* const manager = JobMgr::instance();
    manager->setThreadCount(static_cast<unsigned long>(state.range(0)));
    constexpr long s_count = 100000;
    for ([[maybe_unused]] auto _ : state)
    {
        std::atomic<long> left = s_count;
        RcPtr<Job> last;
        for (long i = 0; i < s_count; ++i)
        {
            last = RcPtr<Job>(new CountDown(left));
            manager->queueJob(last);
        }
        while (left > 0)
            manager->waitForJob(last);
    }
    state.SetItemsProcessed(state.iterations() * s_count);
}
BENCHMARK(jobsOfNothing)
    ->Arg(1)
    ->Arg(2)
    ->Arg(8)
    ->MeasureProcessCPUTime()
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

}
