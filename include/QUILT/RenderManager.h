#pragma once

#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include "QUILT/Export.h"
#include "QUILT/RefPtr.h"
#include "QUILT/RenderObserver.h"

namespace Bramble3::XmlIO::v1
{
class Element;
}

namespace QUILT
{

/// The form of all reports; Bramble3/XmlElement.h declares the element.
using XmlElement = std::shared_ptr<Bramble3::XmlIO::v1::Element>;

namespace Private
{
class ProfileRecorder;
}

/// The front door for everything that is not a task: renders, and the engine's settings for the
/// whole process. Never instantiated.
class QUILT_API RenderManager
{
public:
    RenderManager() = delete;

    // Rendering

    /// Each type has one render at a time, so three renders can run side by side. The library
    /// attaches no other meaning to a type.
    enum RenderType
    {
        RenderTypePrimary = 0, ///< its thread count and tile size are everybody's
        RenderTypeSecondary = 1,
        RenderTypeTertiary = 2
    };

    /// Renders the outputs. Tiles, the ends of outputs and failures go to the observer, which may
    /// be null; nothing is thrown for them.
    ///
    /// With `async` false it returns when the render is over, and every other call of Render waits
    /// meanwhile. With `async` true it returns once the render is queued. While a render of that
    /// type is in progress, the observer is told so by renderError and nothing else happens.
    ///
    /// The task objects serve this one render. The graph stays alive until the render's last job
    /// has ended, also after a cancellation. Not to be called from an observer with `async` false,
    /// nor from that of a render that was started so. With several outputs it puts a task in front
    /// of each, and belongs on the thread that builds graphs. The prioritizer is not called.
    static void Render(const std::vector<RenderDescription>& outputs,
                       ref_ptr<RenderObserver> observer, ref_ptr<OutputTilePrioritizer> prioritizer,
                       bool async, RenderType type);

    static void reprioritize(ref_ptr<OutputTilePrioritizer> prioritizer,
                             RenderType type); ///< without effect

    /// Ends the render of that type, if there is one. Tiles that run stop at their next check. With
    /// `waitForJob`, which a job must not ask for, the render job has ended on return.
    static void cancel(RenderType type, bool waitForJob);

    static void finishRender(RenderType type); ///< waits for the end; at once when there is none
    static bool isRenderInProgress(RenderType type);

    /// In which order tiles run.
    enum class TileOrder
    {
        Waves,    ///< by readiness: all that can run is queued at once
        Streaming ///< a tile a thread at a time, so that pictures of any size pass through
    };

    /// Takes effect with the next render; Waves at the start. The pixels are the same either way.
    static void SetTileOrder(TileOrder order);

    /// The period in microseconds, 1 or more, with which a render looks whether its tiles are done,
    /// instead of what LANTERN_RENDER_CONTROLLER_SLEEP_USECS says (25000 without it). A render
    /// takes at least two periods.
    static void SetPollPeriod(long microseconds);

    // Threads

    /// Tiles that render at a time; each further render at that time takes one of them, down to
    /// one. 0 counts as 1; 3 until it is called first. Also during a render, and on any thread;
    /// then it may wait for tiles that run.
    static void setRenderThreads(unsigned long n);
    static int getRenderThreads(); ///< 0 until setRenderThreads has been called

    // Memory, in mebibytes of 1048576 bytes

    /// The budget for all pixels in memory, 256 at the start. It takes effect as more is needed.
    static void SetMaxImageMemory(unsigned long megabytes);
    static unsigned long GetMaxImageMemory();

    /// The limit on swap files, 8192 at the start.
    static void SetMaxDiskUsage(unsigned long megabytes);
    static long GetMaxDiskUsage();
    static long GetImageMemoryUsage(); ///< rounded towards zero, like the next one
    static long GetImageDiskUsage();
    static void printImageMemoryUsage(); ///< to standard error

    /// The most bytes of pixels that were in memory at a time since the last resetStatistics, and
    /// in swap files since the start of the process.
    static long GetPeakImageMemoryBytes();
    static long GetPeakImageDiskBytes();

    // The cache of finished tiles

    static bool getSpeculativeCachingEnable(); ///< true at the start
    static void setSpeculativeCachingEnable(bool enable);
    static void clearSpeculativeCache();
    static XmlElement GetSpeculativeCacheContents();

    // Cancellation

    /// Answers whether the work of the thread that asks is still wanted.
    class QUILT_API CancelChecker
    {
    public:
        virtual bool isCancelled() = 0;
        virtual ~CancelChecker();
    };

    /// The answer of the calling thread's checker; false without one. A few nanoseconds.
    static bool CheckAbort();

    /// Gives the calling thread a checker, or none (null). The manager owns it and destroys the one
    /// that was there.
    static void SetCancelChecker(CancelChecker* checker);

    // Settings

    /// The size of the tiles of all tasks that do not render in full frame, in pixels; 256 x 256 at
    /// the start. Waits for the render of type 0 first; others keep the size with which they began.
    /// A size below 1 then fails an assertion and changes nothing.
    static void setGlobalTileSize(long xTileSize, long yTileSize);
    static long getGlobalTileWidth();
    static long getGlobalTileHeight();

    /// Empties the map by which equal subgraphs become one node. To be called before the graph of
    /// the next render is built, on the thread that builds it.
    static void ClearRenderTaskCache();

    // Diagnostics

    /// Settings, timings and memory figures as a tree; from the last resetStatistics on. May be
    /// called during a render.
    static XmlElement getStatistics();
    static void resetStatistics();

    static Private::ProfileRecorder s_renderSystemProfiler; ///< timings of the render system

    /// Switches the engine's debug trace on or off; off at the start.
    static void setRenderDebug(bool debug);

    /// Where the trace goes, and a line for each kept tile that has become too small to be used
    /// again: to the end of the file `path`, or to standard error when it is empty. A file that
    /// cannot be opened swallows them without an error.
    static void setRenderLogFile(const std::string& path);

    /// The calling thread's way to the trace, which discards everything unless setRenderDebug(true)
    /// was called. Whole lines reach the log; those of several threads do not mix.
    static std::ostream& debugStream();
};

}
