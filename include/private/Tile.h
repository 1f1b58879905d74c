#pragma once

#include <atomic>
#include <cstddef>
#include <iosfwd>
#include <span>
#include <vector>

#include <boost/container/small_vector.hpp>

#include "FinalTileSet.h"
#include "LivingCounts.h"
#include "QUILT/ImageBuffer.h"
#include "QUILT/RefPtr.h"
#include "QUILT/RenderObserver.h"
#include "QUILT/TileID.h"
#include "UTIL/Rect.h"

namespace QUILT::Private
{

class RenderTask_Imp;

/// The unit of scheduling and of rendering: one rectangle of one task in one render. Tiles exist
/// only where some consumer needs data and data can exist.
///
/// A consumer holds a reference on each of its input tiles until it has rendered or dies, so an
/// intermediate tile's pixels live until its last consumer has rendered. An input tile knows its
/// consumers by plain pointers: they live at least as long as it waits to tell them, because a
/// render keeps its outputs, and thereby all waiting tiles, until its last job has ended.
///
/// Set-up builds tiles on one thread; the job queue's lock hands what it wrote to the threads that
/// render. From then on one job works on a tile, and the only thing that other threads touch is the
/// count of its finished inputs.
class Tile : public ThreadSafeRefBase
{
public:
    /// In this order; tests use the order.
    enum Stage
    {
        Created,           ///< may gain consumers and input tiles
        InputRequestsDone, ///< waits for its input tiles
        ReadyToRender,     ///< has all that it needs
        InRenderQueue,     ///< handed to the scheduler
        Rendering,
        FinishedRendering ///< has been rendered or found in the cache
    };

    Tile(const TileID& id, RenderTask_Imp* task);
    ~Tile() override; ///< gives back its input tiles and leaves its task's map; on any thread

    const TileID& id() const { return m_id; }
    RenderTask_Imp& task() const { return *m_task; }
    Stage getStage() const { return m_stage.load(std::memory_order_acquire); }
    const UTIL::Rect& requiredRect() const { return m_requiredRect; }
    const FinalTileSet& finalTiles() const { return m_finalTilesBitSet; }

    // Set-up

    /// Makes an output tile the final tile of that number, wanted on `rect`.
    void addFinalRequest(const UTIL::Rect& rect, size_t finalIndex);
    void setFinalTileCount(size_t count);

    /// Registers a consumer that wants `rect` of this tile.
    void addOutputTile(const UTIL::Rect& rect, Tile* outputTile);

    /// What the task needs of each of its inputs for this tile, set once.
    void setRequiredInputRects(std::span<const UTIL::Rect> rects);

    /// All requests are posted: waits for its inputs, or is ready when there are none.
    void inputRequestsDone();
    void enterRenderQueue();

    /// Looks the tile up in the cache of finished tiles; a hit is this tile's image from then on.
    bool queryCache();

    /// The smallest ordering over the final tiles that need this one: a tile is as urgent as the
    /// most urgent of them.
    unsigned int getFinalTilePriority(const std::vector<unsigned int>& finalTileOrdering) const;

    /// The same with the final tiles in their own order, at no cost.
    size_t getFirstFinalTile() const { return m_finalTilesBitSet.first(); }

    // Rendering

    /// Renders this tile, tells the observer, and appends the consumers that became ready.
    void render(const ref_ptr<RenderObserver>& observer, std::vector<ref_ptr<Tile>>& readyTiles);

    /// The result. Only for consumers of a finished tile.
    ImageBuffer getImage() const;

private:
    void renderImage(TimeSpan& span, TimeSpan& preRender);
    void renewCacheData();
    void releaseInputs();
    void deliver(RenderObserver* observer);
    void tellConsumers(std::vector<ref_ptr<Tile>>& readyTiles);

    const TileID m_id;
    RenderTask_Imp* const m_task;
    UTIL::Rect m_requiredRect; // what consumers want: starts null, only grows
    ImageBuffer m_image;
    std::atomic<Stage> m_stage{Created};

    size_t m_pendingInputCount = 0; // input tiles that this tile waits for, with repetitions
    std::atomic<size_t> m_finishedInputCount{0};
    // Most tiles have one input tile and one consumer: those need no memory of their own.
    boost::container::small_vector<UTIL::Rect, 1> m_requiredInputRects; // until inputs are released
    boost::container::small_vector<ref_ptr<Tile>, 1> m_inputTiles; // one for each pending input
    boost::container::small_vector<Tile*, 1> m_outputTiles;
    FinalTileSet m_finalTilesBitSet;
    const Counted<Living::Tiles> m_counted;
};

/// Prints "Tile <x>,<y> of <task name>" and a line end.
std::ostream& operator<<(std::ostream& stream, const Tile& tile);

}
