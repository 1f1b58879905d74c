#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

#include "private/Job.h"

namespace Util
{

/// The process's pool of threads: workers that take jobs from one queue, strictly in the order in
/// which these were submitted.
///
/// Every operation is safe from any thread, jobs included. A job manager is never destroyed,
/// because its threads use it as long as the process lives.
class JobMgr
{
public:
    /// The job manager of the process, made with the first call.
    static JobMgr* instance();

    /// An empty queue and 4 workers. Throws std::system_error when no thread can be made.
    JobMgr();
    ~JobMgr() = delete;
    JobMgr(const JobMgr&) = delete;
    JobMgr& operator=(const JobMgr&) = delete;

    /// Appends a job, which must not have been queued before. A resident job brings a worker with
    /// it when there would be none beside the resident ones; std::system_error, when that cannot
    /// be made, leaves the job out.
    void queueJob(const RcPtr<Job>& job);

    /// Blocks until the job's `run` has returned; returns at once for a job that was never queued.
    void waitForJob(const RcPtr<Job>& job);

    /// Sets the number of workers. While resident jobs are queued or running it does not fall below
    /// their number plus one: what is asked for here then takes effect when they end. With 0
    /// workers jobs stay in the queue until there are some again.
    ///
    /// A worker that is taken away finishes the job that it is running. The call waits for that,
    /// unless it is made from within a job: one that is to end could never be waited for by itself,
    /// nor two by each other. Throws std::system_error when a thread cannot be made; those made
    /// before stay.
    void setThreadCount(unsigned long n);

    std::size_t getThreadCount() const;

    /// Workers beside those that resident jobs occupy. Takes no lock.
    std::size_t getOrdinaryWorkerCount() const { return m_ordinaryWorkerCount; }

    std::size_t getQueuedJobCount() const; ///< jobs that no worker has taken yet

    /// Lets no further job begin, for good: those that are queued, or will be, are never run.
    void stopTakingJobs();

    /// Waits until no job is running and none is left that could begin, the job that calls this
    /// apart. False when that has not come about in the given time.
    bool waitUntilIdle(std::chrono::milliseconds limit);

private:
    struct Worker
    {
        std::thread thread;
        bool resident = false; // it is running a resident job
    };

    void workerMain(long id);
    static void runJob(Job& job);
    static void announceEnd(Job& job);
    std::size_t wantedCount() const;
    void startWorkers();
    void removeSurplusWorkers(std::vector<std::thread>* toJoin);
    void endResidentJob(long id);
    void countOrdinaryWorkers() { m_ordinaryWorkerCount = m_threads.size() - m_residentCount; }
    bool mayTakeJob() const { return !m_stopped && !m_queue.empty(); }

    mutable std::mutex m_mutex; // a leaf lock but for the count of a job: guards all the rest
    std::condition_variable m_workCondition; // work, or a change in the set of threads
    std::condition_variable m_idleCondition; // a job has ended while somebody waits for idleness
    std::deque<RcPtr<Job>> m_queue;
    std::map<long, Worker> m_threads;
    long m_nextThreadID = 0;
    unsigned long m_askedCount = 0;                    // the number last given to setThreadCount
    std::size_t m_residentCount = 0;                   // resident jobs, queued or running
    std::atomic<std::size_t> m_ordinaryWorkerCount{0}; // written under m_mutex
    std::size_t m_runningCount = 0;                    // jobs whose run has begun and not ended
    std::size_t m_sleepingCount = 0;   // workers that wait for m_workCondition, or have just woken
    std::size_t m_idleWaiterCount = 0; // threads in waitUntilIdle
    bool m_stopped = false;
};

}
