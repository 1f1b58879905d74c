#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>

#include "private/LivingCounts.h"
#include "private/Rc.h"

namespace Util
{

/// A unit of work for JobMgr, which runs it at most once.
class Job : public Rc
{
public:
    /// Does the work, on one of the job manager's threads. Nothing should come out of it; what is
    /// thrown all the same is printed on standard error and dropped.
    virtual void run() = 0;

    /// True for a job that occupies its worker for long and waits for other jobs to get done. The
    /// job manager keeps one worker more than there are such jobs. Called with the job manager's
    /// lock held: it only answers.
    virtual bool isResident() const { return false; }

private:
    friend class JobMgr;

    std::atomic<bool> m_queued = false;          // set when it is submitted, never cleared
    bool m_finished = false;                     // run has returned; guarded by m_finishedMutex
    std::condition_variable m_finishedCondition; // announces m_finished
    std::mutex m_finishedMutex;                  // a leaf lock
    QUILT::Private::Counted<QUILT::Private::Living::Jobs> m_counted;
};

}
