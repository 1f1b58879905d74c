#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "private/JobMgr.h"
#include "private/Tile.h"
#include "QUILT/RefPtr.h"
#include "QUILT/RenderManager.h"
#include "QUILT/RenderObserver.h"

namespace QUILT::Private
{

class RenderController;

/// What the jobs of one render share. The render job and every tile job hold it, and act on it and
/// on nothing else: jobs of an abandoned render can neither reach into the next one nor cancel it.
///
/// It keeps the render's outputs, and with them the graph and all tiles that wait, until the last
/// job has ended, even if the caller drops everything at once after a cancel.
class RenderState : public std::enable_shared_from_this<RenderState>
{
public:
    RenderState(RenderController* controller, std::vector<RenderDescription> descriptions,
                ref_ptr<RenderObserver> observer);

    RenderController& controller() const { return *m_controller; }
    const std::vector<RenderDescription>& descriptions() const { return m_descriptions; }
    const ref_ptr<RenderObserver>& observer() const { return m_observer; }

    /// Stops further submission and ends the wait for tiles. Never taken back.
    void cancel() { m_cancelled = true; }
    bool isCancelled() const { return m_cancelled; }

    /// Starts the tiles that are ready after set-up: all at once, or, in streaming order, one for
    /// each thread, the most urgent first.
    void submitFirstTiles(std::vector<ref_ptr<Tile>>& tiles);

    /// Puts tiles into the queue, in their order. They are in flight before they can run, so the
    /// wait for the tiles cannot miss them.
    void submitTiles(std::vector<ref_ptr<Tile>>& tiles);

    /// A tile job has ended and has submitted what it released.
    void jobFinished();

    /// No tile job is queued or running, and none can follow.
    bool isIdle() const { return m_jobs == 0; }

private:
    void submitTile(ref_ptr<Tile> tile);
    bool mayStartFromBacklog(size_t jobs) const;
    void submitFromBacklog(ref_ptr<Tile> tile);

    RenderController* const m_controller;
    const std::vector<RenderDescription> m_descriptions;
    const ref_ptr<RenderObserver> m_observer;
    std::atomic<bool> m_cancelled{false};
    std::atomic<size_t> m_jobs{0}; // submitted and not yet finished

    // Streaming order: ready tiles that wait until others have ended.
    std::vector<ref_ptr<Tile>> m_backlog;
    std::atomic<size_t> m_nextOfBacklog{0};
};

/// Runs one render at a time. One for each RenderManager::RenderType.
class RenderController
{
public:
    RenderController();
    ~RenderController(); ///< cancels without waiting
    RenderController(const RenderController&) = delete;
    RenderController& operator=(const RenderController&) = delete;

    /// Starts a render, and waits for its end unless `async`. While one is in progress the observer
    /// is told so, and nothing else happens. The prioritizer is not called. For one thread at a
    /// time.
    void render(const std::vector<RenderDescription>& descriptions,
                const ref_ptr<RenderObserver>& observer,
                const ref_ptr<OutputTilePrioritizer>& prioritizer, bool async);

    /// Ends the render in progress, if any: no further tile is submitted, and tiles that run stop
    /// at their next check. With `waitForJob` the render job has ended on return; tile jobs may
    /// still be in the queue and fail as they run.
    void cancel(bool waitForJob);

    void finishRender(); ///< waits for the render job
    bool isRenderInProgress() const;
    bool isCancelled() const; ///< the render in progress, if any
    unsigned long getRenderThreads() const { return m_renderThreads; }
    void setRenderThreads(unsigned long n);

    /// The body of the render job.
    void runRender(const std::shared_ptr<RenderState>& state);

    /// A tile has thrown: reports that, and ends the render if it is still the one in progress. To
    /// be called inside a catch block.
    void tileFailed(RenderState& state, const std::string& taskName) noexcept;

    /// The cancellation test of a tile job's thread.
    class CancelChecker final : public RenderManager::CancelChecker
    {
    public:
        explicit CancelChecker(const RenderState* state) : m_state(state) {}
        bool isCancelled() override { return m_state->isCancelled(); }

    private:
        const RenderState* const m_state;
    };

private:
    Util::RcPtr<Util::Job> start(const std::shared_ptr<RenderState>& state);
    static void waitForTiles(const RenderState& state);
    bool leave(const RenderState& state);

    Util::JobMgr* const m_jobMgr;
    std::atomic<unsigned long> m_renderThreads{0};

    mutable std::mutex m_jobsLock;          // a leaf lock: guards the next two
    std::shared_ptr<RenderState> m_current; // the render in progress
    Util::RcPtr<Util::Job> m_renderJob;     // its job
};

/// Tells the observer of the exception in flight, by its class. To be called inside a catch block.
void reportException(RenderObserver* observer, const std::string& taskName);

/// The period of the wait for tiles, in microseconds.
long pollPeriod();
void setPollPeriod(long microseconds); ///< instead of whatever the environment says

void setTileOrder(RenderManager::TileOrder order);
RenderManager::TileOrder tileOrder();

}
