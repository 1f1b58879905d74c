#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include <QUILT/RenderManager.h>
#include <QUILT/RenderTask.h>

#include "support/Random.h"
#include "support/Render.h"

/// The same graph gives the same bits: renders a graph under many settings and compares each result
/// with what the plain evaluator makes of it.
namespace QUILT::Test
{

/// Everything beside the graph that a render may depend on, and its pixels may not.
struct Setting
{
    int64_t tileWidth = 16;
    int64_t tileHeight = 16;
    unsigned long threads = 2;
    RenderManager::TileOrder order = RenderManager::TileOrder::Waves;
    int64_t memoryBudget = int64_t(256) << 20; ///< bytes
    bool collapsing = true;

    enum CacheUse
    {
        Uncached,
        Cached,  ///< empty at the start
        Filled,  ///< what the same render has left there
        Foreign, ///< what another graph, perhaps on other tiles, has left there
        Kept,    ///< what is there already, and stays there
        KeptOff  ///< the same, but switched off meanwhile
    };
    CacheUse cache = Uncached;

    enum Request
    {
        Whole,
        Pieces,  ///< several rectangles
        Part,    ///< one rectangle inside
        FarAway, ///< nothing of the data
        NumberOfRequests
    };
    Request request = Whole;
    uint64_t seed = 0; ///< of the rectangles that are requested
};

std::ostream& operator<<(std::ostream& stream, const Setting& setting);

/// A list that changes each thing at least once.
const std::vector<Setting>& standardSettings();
Setting randomSetting(Random& random);

/// Settings that are one step nearer to the plainest one.
std::vector<Setting> plainerSettings(const Setting& setting);

/// Makes the outputs of a graph of fresh tasks, the same graph every time.
using GraphBuilder = std::function<std::vector<ref_ptr<RenderTask>>()>;

/// What was seen beside the pixels while a setting was checked.
struct RenderCounts
{
    size_t tiles = 0; ///< that the last render needed
    long swaps = 0;   ///< how often pixels went to disk
};

/// A graph with the pixels that it should have.
///
/// Of each output it looks at a window of moderate size that holds data and some of what is around
/// it. The process's settings are put back after each check. Not for several threads.
class GraphCheck
{
public:
    /// Evaluates the graph. What goes wrong then is told by the first check.
    ///
    /// \param foreign  fills the cache for Setting::Foreign; a graph that shares nodes with this
    /// one
    GraphCheck(GraphBuilder build, uint64_t seed, GraphBuilder foreign);

    /// Renders under the setting. Empty when all is right; otherwise a line that says what is not,
    /// the kind of fault first: "pixels", "tiles", "error", "leftover" or "exception".
    ///
    /// Right is: every pixel of the requested area has the expected bits, each tile came once, each
    /// output ended once, no error was reported, and nothing is left in memory afterwards. Tiles
    /// are made larger where there would be many thousands of them. What the cache keeps is no
    /// leftover as long as its figures add up.
    std::string check(const Setting& setting, RenderCounts* counts = nullptr) const;

    /// Starts a render under the setting and cancels it after that time.
    void cancel(const Setting& setting, std::chrono::microseconds after) const;

private:
    struct Output
    {
        UTIL::Region data;
        Picture expected;
    };

    void evaluate();
    std::vector<RenderDescription> describe(const Setting& setting) const;
    std::string render(const Setting& setting, RenderCounts* counts) const;
    void renderForeign(const Setting& setting) const;
    std::string compare(const Output& output, unsigned long id, const UTIL::Region& requested,
                        Collector& collector) const;
    UTIL::Region requestedArea(const Setting& setting, const UTIL::Rect& window) const;
    Setting withFewerTiles(Setting setting) const;

    const GraphBuilder m_build;
    const uint64_t m_seed;
    const GraphBuilder m_foreign;
    std::vector<Output> m_outputs;
    size_t m_pixels = 0; // that all tasks render
    std::string m_failure;
};

}
