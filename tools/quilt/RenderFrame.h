#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <QUILT/RenderObserver.h>

#include "Build.h"
#include "GraphFile.h"
#include "Progress.h"

namespace QuiltTool
{

enum class FrameStatus
{
    Done,
    Failed,
    Cancelled
};

struct FrameResult
{
    int64_t frame = 0;
    FrameStatus status = FrameStatus::Done;
    double seconds = 0;
    std::vector<std::string> files; ///< written
    std::vector<Failure> failures;  ///< each once
    size_t tiles = 0;               ///< of all nodes
    size_t cached = 0;              ///< of these, from the cache
};

using TileListener = std::function<void(const QUILT::TileReport&)>;

/// Which frame of how many is rendered, and of what.
struct FrameJob
{
    int64_t frame = 1;
    size_t place = 0; ///< among all frames to render, from 0
    std::optional<UTIL::Rect> area;
    std::function<bool()> isStopped;           ///< asked every 50 ms: whether to give it up
    std::function<void(const Frame&)> onBuilt; ///< called in front of the first tile; may be empty
    TileListener onTile = {};                  ///< called by all threads that render; may be empty
};

/// Builds the graph at a frame and renders its outputs. On return nothing of the render is left:
/// no task, no tile and no job.
FrameResult renderFrame(const GraphFile& graph, const FrameJob& job, Progress& progress);

}
