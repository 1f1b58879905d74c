#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <UTIL/Rect.h>

#include "GraphFile.h"

namespace QuiltTool
{

/// Of render and watch.
struct RenderOptions
{
    std::string graph;
    GraphChanges changes;
    std::vector<int64_t> frames{1};
    std::optional<UTIL::Rect> area;
    Settings settings; ///< before those of the graph file
    bool stopOnError = false;
    std::optional<std::string> json; ///< where to, "-" being standard output
    std::optional<std::string> log;
    bool stats = false;                         ///< on standard error
    std::optional<std::string> statsXml, trace; ///< files
    std::string progress = "auto";
    bool quiet = false;
};

/// Options of the commands that look at a graph at one frame.
struct GraphOptions
{
    std::string graph;
    GraphChanges changes;
    int64_t frame = 1;
    std::optional<std::string> ocio;
    bool json = false;
};

struct OpsOptions
{
    std::string name; ///< empty: all
    bool json = false;
};

struct InfoOptions
{
    std::vector<std::string> files;
    bool json = false;
};

// The commands. Each gives the exit status of the process.
int render(const RenderOptions& options);
int watch(const RenderOptions& options);
int check(const GraphOptions& options);
int dot(const GraphOptions& options);
int ops(const OpsOptions& options);
int info(const InfoOptions& options);

/// Reads the command line and runs its command. What is wrong with it throws UsageError.
int runCommandLine(int argc, char** argv);

/// "A", "A-B" or "A-BxS": frames from A to B, each S-th.
std::vector<int64_t> parseFrames(const std::string& text);
UTIL::Rect parseRect(const std::string& text);     ///< "x0,y0,x1,y1"
UTIL::Rect parseTileSize(const std::string& text); ///< "WxH": from (0, 0)

}
