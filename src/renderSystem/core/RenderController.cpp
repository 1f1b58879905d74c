#include "private/RenderController.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <utility>

#include <EMULSION/Error.h>

#include "private/Notify.h"
#include "private/RenderTask_Imp.h"
#include "QUILT/CompositeTasks.h"
#include "QUILT/Exceptions.h"

namespace QUILT::Private
{

namespace
{

constexpr long s_defaultPollPeriod = 25000;
std::atomic<long> s_pollPeriod{0}; // 0: what the environment says

// Occupies one worker for the whole of a render.
class RenderJob final : public Util::Job
{
public:
    explicit RenderJob(std::shared_ptr<RenderState> state) : m_state(std::move(state)) {}

    bool isResident() const override { return true; }

    void run() override
    {
        m_state->controller().runRender(m_state);
        m_state = nullptr; // the graph may go before whoever waits for this job hears of its end
    }

private:
    std::shared_ptr<RenderState> m_state;
};

long pollPeriodOfEnvironment()
{
    const char* const text = std::getenv("LANTERN_RENDER_CONTROLLER_SLEEP_USECS");
    if (!text)
        return s_defaultPollPeriod;
    long period = std::strtol(text, nullptr, 0);
    if (period < 1 || period > 999999)
        period = s_defaultPollPeriod;
    std::cout << "Render Controller sleep usecs: " << period << std::endl;
    return period;
}

void sleepFor(timespec duration)
{
    while (::nanosleep(&duration, &duration) != 0 && errno == EINTR)
    {}
}

void sleepOnePollPeriod()
{
    const long period = pollPeriod();
    sleepFor({period / 1000000, period % 1000000 * 1000});
}

// Gives tiles in flight a chance to see the flag that has just been set.
void sleepOneNanosecond()
{
    sleepFor({0, 1});
}

// With several outputs each gets a task of its own, so that one may feed another and still is not
// consumed by a task of the render.
std::vector<RenderDescription> withTasksOfTheirOwn(std::vector<RenderDescription> descriptions)
{
    if (descriptions.size() < 2)
        return descriptions;
    for (size_t i = 0; i < descriptions.size(); ++i)
    {
        ref_ptr<RenderTask>& task = descriptions[i].task;
        task = createCopyTask("__RENDER_CONTROLLER_AOV_COPY__" + std::to_string(i), task->getTime(),
                              task);
    }
    return descriptions;
}

}

long pollPeriod()
{
    if (const long period = s_pollPeriod; period > 0)
        return period;
    static const long s_ofEnvironment = pollPeriodOfEnvironment();
    return s_ofEnvironment;
}

void setPollPeriod(long microseconds)
{
    s_pollPeriod = microseconds;
}

RenderController::RenderController() : m_jobMgr(Util::JobMgr::instance()) {}

RenderController::~RenderController()
{
    cancel(false);
}

void RenderController::render(const std::vector<RenderDescription>& descriptions,
                              const ref_ptr<RenderObserver>& observer,
                              const ref_ptr<OutputTilePrioritizer>&, bool async)
{
    const auto refuse = [&](const char* message) {
        notify(observer.get(),
               [&](RenderObserver& o) { o.renderError("Start Render", "", message, -1); });
    };
    if (!std::ranges::all_of(descriptions, [](const RenderDescription& d) { return bool(d.task); }))
    {
        refuse("An output of the render has no task.");
        return;
    }
    if (isRenderInProgress())
    {
        refuse("There is already a render in progress, cancel it first!");
        return;
    }
    std::shared_ptr<RenderState> state;
    try
    {
        state = std::make_shared<RenderState>(this, withTasksOfTheirOwn(descriptions), observer);
    }
    catch (...)
    {
        // An output could not be described.
        reportException(observer.get(), "RenderSetup");
        return;
    }
    const Util::RcPtr<Util::Job> job = start(state);
    if (!async)
        m_jobMgr->waitForJob(job);
}

Util::RcPtr<Util::Job> RenderController::start(const std::shared_ptr<RenderState>& state)
{
    const Util::RcPtr<Util::Job> job(new RenderJob(state));
    {
        const std::lock_guard lock(m_jobsLock);
        m_current = state;
        m_renderJob = job;
    }
    try
    {
        m_jobMgr->queueJob(job);
    }
    catch (...)
    {
        const std::lock_guard lock(m_jobsLock);
        m_current = nullptr;
        m_renderJob = {};
        throw;
    }
    return job;
}

void RenderController::cancel(bool waitForJob)
{
    std::shared_ptr<RenderState> state;
    Util::RcPtr<Util::Job> job;
    {
        const std::lock_guard lock(m_jobsLock);
        state = m_current;
        job = m_renderJob;
    }
    if (!state)
        return;
    state->cancel();
    sleepOneNanosecond();
    if (waitForJob)
        m_jobMgr->waitForJob(job);
    leave(*state);
}

// Back to idle, unless another render has begun meanwhile. True when this one was in progress.
bool RenderController::leave(const RenderState& state)
{
    std::shared_ptr<RenderState> gone;
    Util::RcPtr<Util::Job> job;
    const std::lock_guard lock(m_jobsLock);
    if (m_current.get() != &state)
        return false;
    gone.swap(m_current);
    std::swap(job, m_renderJob);
    return true;
}

void RenderController::finishRender()
{
    Util::RcPtr<Util::Job> job;
    {
        const std::lock_guard lock(m_jobsLock);
        job = m_renderJob;
    }
    if (job)
        m_jobMgr->waitForJob(job);
}

bool RenderController::isRenderInProgress() const
{
    const std::lock_guard lock(m_jobsLock);
    return m_current != nullptr;
}

bool RenderController::isCancelled() const
{
    const std::lock_guard lock(m_jobsLock);
    return m_current && m_current->isCancelled();
}

void RenderController::setRenderThreads(unsigned long n)
{
    m_renderThreads = n;
    m_jobMgr->setThreadCount(n + 1);
}

void RenderController::runRender(const std::shared_ptr<RenderState>& state)
{
    EMULSION::ClearError(); // whatever others have left behind on this thread
    RenderObserver* const observer = state->observer().get();
    std::vector<ref_ptr<Tile>> readyTiles;
    try
    {
        std::vector<FinalTile> finalTiles;
        const size_t count =
            RenderTask_Imp::setUpRender(state->descriptions(), readyTiles, finalTiles);
        notify(observer, [&](RenderObserver& o) { o.renderSetupDone(count); });
    }
    catch (...)
    {
        // The render goes on with the tiles that were made.
        reportException(observer, "RenderSetup");
    }
    notify(observer, [](RenderObserver& o) { o.renderStarted(); });
    try
    {
        state->submitFirstTiles(readyTiles);
    }
    catch (...)
    {
        tileFailed(*state, "RenderSetup");
    }
    readyTiles.clear();
    waitForTiles(*state);
    leave(*state);
}

// The sleep comes first and once more at the end, which gives the last job time to leave.
void RenderController::waitForTiles(const RenderState& state)
{
    do
        sleepOnePollPeriod();
    while (!state.isCancelled() && !state.isIdle());
    sleepOnePollPeriod();
}

void RenderController::tileFailed(RenderState& state, const std::string& taskName) noexcept
{
    reportException(state.observer().get(), taskName);
    EMULSION::ClearError();
    state.cancel();
    leave(state);
}

void reportException(RenderObserver* observer, const std::string& taskName)
{
    const auto report = [&](const char* kind, const char* message, int code) {
        notify(observer, [&](RenderObserver& o) { o.renderError(taskName, kind, message, code); });
    };
    const auto reportCancelled = [&] {
        notify(observer, [](RenderObserver& o) { o.renderCancelled(); });
    };

    try
    {
        throw;
    }
    catch (const RenderTaskRenderingException& error)
    {
        report("a rendering error", error.what(), error.errorCode());
    }
    catch (const EmulsionRenderingException& error)
    {
        report("an EMULSION error", error.what(), -1);
        EMULSION::ClearError();
    }
    catch (const RenderCancelledException&)
    {
        reportCancelled();
    }
    catch (const UTIL::OutOfMemoryException& error)
    {
        report("", error.what(), error.getErrorCode());
        reportCancelled();
    }
    catch (const std::exception& error)
    {
        report("", error.what(), -1);
        EMULSION::ClearError();
    }
    catch (...)
    {
        report("an unknown exception", "", -1);
        EMULSION::ClearError();
    }
}

}
