#pragma once

#include <iosfwd>
#include <string>

#include "QUILT/Export.h"

namespace QUILT
{

/// The front door for everything that is not a task: renders, and the engine's settings for the
/// whole process. Never instantiated.
class QUILT_API RenderManager
{
public:
    RenderManager() = delete;

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
    /// the start. Waits for the render of type 0 first; a size below 1 then fails an assertion and
    /// changes nothing.
    static void setGlobalTileSize(long xTileSize, long yTileSize);
    static long getGlobalTileWidth();
    static long getGlobalTileHeight();

    /// Empties the map by which equal subgraphs become one node. To be called before the graph of
    /// the next render is built, on the thread that builds it.
    static void ClearRenderTaskCache();

    // Diagnostics

    /// Switches the engine's debug trace on or off; off at the start.
    static void setRenderDebug(bool debug);

    /// Where the trace goes: to the end of the file `path`, or to standard error when it is empty.
    /// A file that cannot be opened swallows the trace without an error.
    static void setRenderLogFile(const std::string& path);

    /// The calling thread's way to the trace, which discards everything unless setRenderDebug(true)
    /// was called. Whole lines reach the log; those of several threads do not mix.
    static std::ostream& debugStream();
};

}
