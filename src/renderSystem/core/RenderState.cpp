#include <algorithm>
#include <utility>

#include <EMULSION/Error.h>

#include "private/RenderController.h"
#include "private/RenderTask_Imp.h"
#include "QUILT/Exceptions.h"

// How the tiles of one render reach the threads.

namespace QUILT::Private
{

namespace
{

std::atomic<RenderManager::TileOrder> s_tileOrder{RenderManager::TileOrder::Waves};

// Renders one tile and submits the tiles that wait for nothing else.
class TileJob final : public Util::Job
{
public:
    TileJob(std::shared_ptr<RenderState> state, ref_ptr<Tile> tile)
        : m_state(std::move(state)), m_tile(std::move(tile))
    {}

    void run() override
    {
        EMULSION::ClearError(); // whatever others have left behind on this thread
        try
        {
            RenderManager::SetCancelChecker(new RenderController::CancelChecker(m_state.get()));
            std::vector<ref_ptr<Tile>> readyTiles;
            m_tile->render(m_state->observer(), readyTiles);
            CheckError();
            m_state->submitTiles(readyTiles);
        }
        catch (...)
        {
            m_state->controller().tileFailed(*m_state, m_tile->task().getName());
        }
        RenderManager::SetCancelChecker(nullptr);

        // The tile goes first, and the graph, which the state keeps, last.
        m_tile = nullptr;
        m_state->jobFinished();
        m_state = nullptr;
    }

private:
    std::shared_ptr<RenderState> m_state;
    ref_ptr<Tile> m_tile;
};

}

void setTileOrder(RenderManager::TileOrder order)
{
    s_tileOrder = order;
}

RenderManager::TileOrder tileOrder()
{
    return s_tileOrder;
}

RenderState::RenderState(RenderController* controller, std::vector<RenderDescription> descriptions,
                         ref_ptr<RenderObserver> observer)
    : m_controller(controller), m_descriptions(std::move(descriptions)),
      m_observer(std::move(observer))
{}

void RenderState::submitFirstTiles(std::vector<ref_ptr<Tile>>& tiles)
{
    if (tileOrder() == RenderManager::TileOrder::Waves)
    {
        submitTiles(tiles);
        return;
    }
    m_backlog = std::move(tiles);
    std::ranges::stable_sort(m_backlog, {},
                             [](const ref_ptr<Tile>& tile) { return tile->getFirstFinalTile(); });
    // In flight itself while it submits, so that a tile that ends at once does not end the wait.
    ++m_jobs;
    jobFinished();
}

// Hands each tile over: one that is held here while it renders would keep its pixels for longer
// than its consumers need them.
void RenderState::submitTiles(std::vector<ref_ptr<Tile>>& tiles)
{
    for (ref_ptr<Tile>& tile : tiles)
    {
        if (m_cancelled)
            return;
        submitTile(std::exchange(tile, nullptr));
    }
}

void RenderState::submitTile(ref_ptr<Tile> tile)
{
    const Util::RcPtr<Util::Job> job(new TileJob(shared_from_this(), std::move(tile)));
    ++m_jobs;
    try
    {
        Util::JobMgr::instance()->queueJob(job);
    }
    catch (...)
    {
        --m_jobs;
        throw;
    }
}

// The one that ends makes room for tiles from the backlog before it leaves, so the render cannot
// seem idle while tiles are left.
void RenderState::jobFinished()
{
    size_t jobs = m_jobs;
    for (;;)
    {
        if (mayStartFromBacklog(jobs))
        {
            const size_t next = m_nextOfBacklog++;
            if (next < m_backlog.size())
                submitFromBacklog(std::exchange(m_backlog[next], nullptr));
            jobs = m_jobs;
        }
        // Two that end at once must not both count on the other one to stay.
        else if (m_jobs.compare_exchange_weak(jobs, jobs - 1))
            return;
    }
}

// One tile in flight for each thread, beside the one that is ending: no thread waits for the next
// one, since whoever ends a tile brings it, and with nothing else in the queue goes on itself with
// the tiles that it has released, while their input is in its core's cache.
bool RenderState::mayStartFromBacklog(size_t jobs) const
{
    return m_nextOfBacklog < m_backlog.size() && !m_cancelled &&
           jobs <= Util::JobMgr::instance()->getOrdinaryWorkerCount();
}

void RenderState::submitFromBacklog(ref_ptr<Tile> tile)
{
    const RenderTask_Imp& task = tile->task();
    try
    {
        submitTile(std::move(tile));
    }
    catch (...)
    {
        m_controller->tileFailed(*this, task.getName());
    }
}

}
