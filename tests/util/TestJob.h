#pragma once

#include <functional>
#include <utility>
#include <vector>

#include <private/JobMgr.h>

namespace QUILT::Test
{

class TestJob final : public Util::Job
{
public:
    TestJob(std::function<void()> work, bool resident)
        : m_work(std::move(work)), m_resident(resident)
    {}

    void run() override { m_work(); }
    bool isResident() const override { return m_resident; }

private:
    const std::function<void()> m_work;
    const bool m_resident;
};

inline Util::RcPtr<Util::Job> makeJob(std::function<void()> work)
{
    return Util::RcPtr<Util::Job>(new TestJob(std::move(work), false));
}

inline Util::RcPtr<Util::Job> makeResidentJob(std::function<void()> work)
{
    return Util::RcPtr<Util::Job>(new TestJob(std::move(work), true));
}

/// A job manager with a number of workers, kept for ever as all of them are.
inline Util::JobMgr& newJobMgr(unsigned long threads)
{
    static auto* const managers = new std::vector<Util::JobMgr*>;
    managers->push_back(new Util::JobMgr);
    managers->back()->setThreadCount(threads);
    return *managers->back();
}

}
