#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "CommandLine.h"
#include "GraphFile.h"
#include "Progress.h"
#include "TempFolder.h"

// What the commands that render do alike in front of their frames.

namespace QuiltTool
{

/// The process while it renders: signals are caught, swap files have a folder, and the engine's
/// trace goes where the options say. Throws UsageError or Failed.
class RenderProcess
{
public:
    explicit RenderProcess(const RenderOptions& options);

private:
    std::optional<TempFolder> m_swapFolder;
};

/// Whether the bar is to be shown.
bool showsBar(const RenderOptions& options);

/// Reads a graph file that has outputs which can be rendered at the frames of the options without
/// destroying a file that is read. Throws UsageError.
GraphFile readGraphToRender(const RenderOptions& options);

/// Warns of outputs that every frame writes anew.
void warnOfOverwrites(const GraphFile& graph, const RenderOptions& options, Progress& progress);

/// Makes the colour config of these settings, which are those of the options and the graph, the
/// current one. Throws UsageError.
void useColorConfig(const Settings& settings, const RenderOptions& options);

/// Reads the headers of all pictures; what is wrong with one is told by the frame that needs it.
void readHeaders(const GraphFile& graph, const std::vector<int64_t>& frames, Progress& progress,
                 const std::function<bool()>& isStopped);

}
