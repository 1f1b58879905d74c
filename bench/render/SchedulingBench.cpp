// What a tile costs beside its pixels: the processor time of whole renders of tiles of 4x4 pixels
// that nobody paints, set-up and the end of the graph included, and of the set-up walk alone.

#include <benchmark/benchmark.h>

#include "Graphs.h"
#include "private/RenderTask_Imp.h"

using namespace QUILT;
using namespace QUILT::Bench;

namespace
{

using TileOrder = RenderManager::TileOrder;

// A rectangle of at least so many tiles.
UTIL::Rect rectOfTiles(int64_t count, int64_t tileSize)
{
    int64_t columns = 1;
    while (columns * columns < count)
        ++columns;
    return UTIL::Rect(0, 0, columns * tileSize, (count + columns - 1) / columns * tileSize);
}

void tiles(benchmark::State& state, Shape shape, TileOrder order, bool cache = false)
{
    constexpr int tasks = 10;
    constexpr int64_t tileSize = 4;
    // With the cache 1 MiB, so that tiles also leave it again.
    apply({.threads = 2,
           .order = order,
           .tileSize = tileSize,
           .budget = cache ? 1u : 256u,
           .cache = cache});
    const int64_t count = state.range(0);
    for ([[maybe_unused]] auto _ : state)
    {
        state.PauseTiming();
        RenderManager::clearSpeculativeCache();
        ref_ptr<RenderTask> graph =
            makeIdleGraph(shape, tasks, rectOfTiles(count / tasks, tileSize));
        state.ResumeTiming();
        render(graph);
        graph = nullptr;
    }
    // Of processor time, as MeasureProcessCPUTime has it.
    state.counters["per_tile"] =
        benchmark::Counter(static_cast<double>(state.iterations() * count),
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void arguments(benchmark::internal::Benchmark* benchmark)
{
    for (const int64_t count : {1000, 10000, 100000, 1000000})
        benchmark->Arg(count);
    benchmark->MeasureProcessCPUTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK_CAPTURE(tiles, chain_waves, Shape::Chain, TileOrder::Waves)->Apply(arguments);
BENCHMARK_CAPTURE(tiles, chain_streaming, Shape::Chain, TileOrder::Streaming)->Apply(arguments);
BENCHMARK_CAPTURE(tiles, chain_streaming_with_cache, Shape::Chain, TileOrder::Streaming, true)
    ->Arg(100000)
    ->MeasureProcessCPUTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(tiles, diamond_waves, Shape::Diamond, TileOrder::Waves)->Apply(arguments);
BENCHMARK_CAPTURE(tiles, diamond_streaming, Shape::Diamond, TileOrder::Streaming)->Apply(arguments);
BENCHMARK_CAPTURE(tiles, neighbourhood_waves, Shape::Neighbourhood, TileOrder::Waves)
    ->Apply(arguments);
BENCHMARK_CAPTURE(tiles, neighbourhood_streaming, Shape::Neighbourhood, TileOrder::Streaming)
    ->Apply(arguments);

// What the cache of finished tiles holds when a graph is set up.
enum class Cache
{
    Off,
    Empty,
    OneTile ///< of another graph
};

// The set-up walk of 1000 tasks over a picture of 16384x8640: 2.2 million tiles.
void setUp(benchmark::State& state, Shape shape, int tasks, Cache cache)
{
    apply({.cache = cache != Cache::Off});
    if (cache == Cache::OneTile)
        render(makeIdleGraph(shape, 2, UTIL::Rect(0, 0, 256, 256)));
    size_t count = 0;
    for ([[maybe_unused]] auto _ : state)
    {
        state.PauseTiming();
        {
            const RenderDescription output{
                makeIdleGraph(shape, tasks, UTIL::Rect(0, 0, 16384, 8640)),
                UTIL::Rect(0, 0, 16384, 8640), 0};
            std::vector<ref_ptr<Private::Tile>> readyTiles;
            std::vector<FinalTile> finalTiles;
            state.ResumeTiming();
            count = Private::RenderTask_Imp::setUpRender({output}, readyTiles, finalTiles);
            state.PauseTiming();
        }
        state.ResumeTiming();
    }
    state.counters["tiles"] = static_cast<double>(count);
    state.counters["per_tile"] =
        benchmark::Counter(static_cast<double>(state.iterations()) * static_cast<double>(count),
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

BENCHMARK_CAPTURE(setUp, chain, Shape::Chain, 1000, Cache::Off)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(setUp, chain_cache_empty, Shape::Chain, 1000, Cache::Empty)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(setUp, chain_cache_of_one_tile, Shape::Chain, 1000, Cache::OneTile)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(setUp, diamond, Shape::Diamond, 1000, Cache::Off)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(setUp, neighbourhood, Shape::Neighbourhood, 100, Cache::Off)
    ->Unit(benchmark::kMillisecond);

}
