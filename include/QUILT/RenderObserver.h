#pragma once

#include <chrono>
#include <string>
#include <utility>

#include "QUILT/Export.h"
#include "QUILT/ImageBuffer.h"
#include "QUILT/RefPtr.h"
#include "QUILT/RenderTask.h"
#include "QUILT/TileID.h"
#include "UTIL/Rect.h"
#include "UTIL/Region.h"

namespace QUILT
{

/// One output of a render. A plain value.
struct RenderDescription
{
    ref_ptr<RenderTask> task;            ///< the task to render
    UTIL::Region requestedArea;          ///< the pixels wanted, cut to the task's data region
    unsigned long finalRenderTaskID = 0; ///< the caller's ID of this output
};

/// A tile of an output: the output's ID and the tile's place.
using FinalTile = std::pair<unsigned long, TileID>;

/// A stretch of time; of no length when there was none.
struct TimeSpan
{
    std::chrono::steady_clock::time_point begin, end;

    double seconds() const { return std::chrono::duration<double>(end - begin).count(); }
};

/// How a tile came about. Good for the length of the call that it is handed to.
struct TileReport
{
    const std::string& taskName;
    const std::string& taskType;
    TileID id;
    UTIL::Rect rect; ///< its pixels: those that were wanted, and more where the cache had more
    bool fromCache;  ///< and so not rendered
    TimeSpan span;   ///< its time on its thread; of no length when it is from the cache

    /// The part of that until preRender of the task was done, which this tile ran or another one.
    /// Of no length when it had been done before.
    TimeSpan preRender;
};

/// What a caller wants to hear of a render. Every operation does nothing unless overridden.
///
/// Most calls come from many threads at once, and the observer looks after itself. A call that
/// throws is reported in a line on standard error; the render goes on. No call announces the end of
/// a render: it is known from outputFinished for each output, from the return of a synchronous
/// RenderManager::Render, or from RenderManager::isRenderInProgress.
class QUILT_API RenderObserver : public ThreadSafeRefBase
{
public:
    ~RenderObserver() override;

    /// A tile of an output is ready. The image may be kept, and is to be locked before use. Its
    /// bounds are the part of the tile that was wanted.
    virtual void outputTileRendered(ImageBuffer image, const FinalTile& id);

    /// Never called.
    virtual void outputTileChanged(ImageBuffer image, const FinalTile& id);

    /// That output is done; comes after outputTileRendered of all its tiles.
    virtual void outputFinished(unsigned long finalRenderTaskID);

    /// The render is set up; `tileCount` tiles of all tasks are to be rendered.
    virtual void renderSetupDone(unsigned long tileCount);

    /// Tiles are about to start.
    virtual void renderStarted();

    /// Any tile of any task has finished. `seconds` is 0 for a tile from the cache.
    virtual void tileRendered(const std::string& taskName, const std::string& taskType,
                              double seconds);

    /// A failure. `errorKind` is "a rendering error" (of a task, with its code), "an EMULSION
    /// error", "an unknown exception", or empty for every other exception; code is -1 but for the
    /// first, and 33 when memory has run out.
    virtual void renderError(const std::string& taskName, const std::string& errorKind,
                             const std::string& message, int code);

    /// A tile has met the cancellation of the render, or memory has run out.
    virtual void renderCancelled();

    /// Any tile of any task has finished: follows tileRendered, with all that is known of the tile.
    /// On the thread that the tile was on, and so on several threads at once.
    virtual void tileFinished(const TileReport& report);
};

/// A caller's object that goes along with a render. Nothing calls it: the order of tiles is that of
/// RenderManager::SetTileOrder.
class QUILT_API OutputTilePrioritizer : public ThreadSafeRefBase
{
public:
    ~OutputTilePrioritizer() override;
};

}
