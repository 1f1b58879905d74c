#include "private/JobMgr.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <system_error>
#include <utility>

#include <pthread.h>

#include "private/Assert.h"

namespace Util
{

namespace
{

// The job manager whose worker the calling thread is, if it is one.
thread_local const JobMgr* s_workerOf = nullptr;

}

JobMgr* JobMgr::instance()
{
    static JobMgr* const manager = new JobMgr;
    return manager;
}

JobMgr::JobMgr()
{
    try
    {
        setThreadCount(4);
    }
    catch (const std::system_error&)
    {
        if (m_threads.empty())
            throw;
    }
}

void JobMgr::queueJob(const RcPtr<Job>& job)
{
    bool wake = false;
    {
        const std::lock_guard lock(m_mutex);
        QUILT_ASSERT_TEXT(!job->m_queued, "a job is queued once");
        m_queue.push_back(job);
        if (job->isResident())
        {
            ++m_residentCount;
            try
            {
                startWorkers();
            }
            catch (...)
            {
                --m_residentCount;
                m_queue.pop_back();
                throw;
            }
            countOrdinaryWorkers();
        }
        job->m_queued = true;
        wake = m_sleepingCount > 0;
    }
    if (wake)
        m_workCondition.notify_one();
}

void JobMgr::waitForJob(const RcPtr<Job>& job)
{
    if (!job->m_queued)
        return;
    std::unique_lock lock(job->m_finishedMutex);
    job->m_finishedCondition.wait(lock, [&job] { return job->m_finished; });
}

void JobMgr::setThreadCount(unsigned long n)
{
    std::vector<std::thread> surplus;
    {
        const std::lock_guard lock(m_mutex);
        m_askedCount = n;
        try
        {
            startWorkers();
        }
        catch (...)
        {
            m_askedCount = m_threads.size();
            throw;
        }
        removeSurplusWorkers(s_workerOf == this ? nullptr : &surplus);
        countOrdinaryWorkers();
    }
    for (std::thread& thread : surplus)
        thread.join();
}

std::size_t JobMgr::getThreadCount() const
{
    const std::lock_guard lock(m_mutex);
    return m_threads.size();
}

std::size_t JobMgr::getQueuedJobCount() const
{
    const std::lock_guard lock(m_mutex);
    return m_queue.size();
}

void JobMgr::stopTakingJobs()
{
    const std::lock_guard lock(m_mutex);
    m_stopped = true;
    m_idleCondition.notify_all();
}

bool JobMgr::waitUntilIdle(std::chrono::milliseconds limit)
{
    const std::size_t own = s_workerOf == this ? 1 : 0;
    std::unique_lock lock(m_mutex);
    ++m_idleWaiterCount;
    const bool idle = m_idleCondition.wait_for(
        lock, limit, [this, own] { return m_runningCount <= own && !mayTakeJob(); });
    --m_idleWaiterCount;
    return idle;
}

std::size_t JobMgr::wantedCount() const
{
    return std::max<std::size_t>(m_askedCount, m_residentCount > 0 ? m_residentCount + 1 : 0);
}

void JobMgr::startWorkers()
{
    while (m_threads.size() < wantedCount())
    {
        const long id = m_nextThreadID++;
        Worker& worker = m_threads[id];
        try
        {
            worker.thread = std::thread(&JobMgr::workerMain, this, id);
        }
        catch (...)
        {
            m_threads.erase(id);
            throw;
        }
    }
}

// Those with the lowest ids go, but none that runs a resident job: wantedCount() leaves room for
// them. Each ends when it next looks for itself in the map. The threads go to the list of those to
// be joined, or are left to end by themselves when there is none.
void JobMgr::removeSurplusWorkers(std::vector<std::thread>* toJoin)
{
    if (m_threads.size() <= wantedCount())
        return;
    if (toJoin)
        toJoin->reserve(m_threads.size() - wantedCount());
    for (auto worker = m_threads.begin(); m_threads.size() > wantedCount();)
    {
        if (worker->second.resident)
        {
            ++worker;
            continue;
        }
        if (toJoin)
            toJoin->push_back(std::move(worker->second.thread));
        else
            worker->second.thread.detach();
        worker = m_threads.erase(worker);
    }
    m_workCondition.notify_all();
}

void JobMgr::workerMain(long id)
{
    s_workerOf = this;
    pthread_setname_np(pthread_self(), "quilt-worker"); // as debuggers and profilers show it
    std::unique_lock lock(m_mutex);
    for (;;)
    {
        const auto self = m_threads.find(id);
        if (self == m_threads.end())
            return;
        if (!mayTakeJob())
        {
            ++m_sleepingCount;
            m_workCondition.wait(lock);
            --m_sleepingCount;
            continue;
        }
        RcPtr<Job> job = std::move(m_queue.front());
        m_queue.pop_front();
        ++m_runningCount;
        const bool resident = job->isResident();
        self->second.resident = resident;
        lock.unlock();

        runJob(*job);
        if (resident)
            endResidentJob(id);
        announceEnd(*job);
        job = RcPtr<Job>(); // a job's destruction may take long

        lock.lock();
        --m_runningCount;
        if (m_idleWaiterCount > 0)
            m_idleCondition.notify_all();
    }
}

void JobMgr::runJob(Job& job)
{
    try
    {
        job.run();
    }
    catch (const std::exception& error)
    {
        std::fprintf(stderr, "An exception came out of a job: %s\n", error.what());
    }
    catch (...)
    {
        std::fputs("An unknown exception came out of a job.\n", stderr);
    }
}

void JobMgr::announceEnd(Job& job)
{
    const std::lock_guard lock(job.m_finishedMutex);
    job.m_finished = true;
    job.m_finishedCondition.notify_all();
}

// Gives up the workers that only resident jobs kept, before anybody learns that the job has ended.
void JobMgr::endResidentJob(long id)
{
    const std::lock_guard lock(m_mutex);
    m_threads.find(id)->second.resident = false;
    --m_residentCount;
    removeSurplusWorkers(nullptr);
    countOrdinaryWorkers();
}

}
