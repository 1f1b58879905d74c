// What many layers cost that cover little of a 4096x2160 frame, and one layer beside its plate.
// Processor time with one thread, sources included; both sides in turn, the least times.

#include <benchmark/benchmark.h>
#include <QUILT/CompositeTasks.h>
#include <QUILT/ProceduralTasks.h>

#include "Graphs.h"
#include "LeastTime.h"

using namespace QUILT;
using namespace QUILT::Bench;

namespace
{

const UTIL::Rect s_frame(0, 0, 4096, 2160);

ref_ptr<RenderTask> layer(int number, const UTIL::Rect& rect)
{
    const float shade = static_cast<float>(number) / 64.0f;
    return createColorTask("layer", 0, rect, {0.2f, shade, 0.3f, 0.5f});
}

// A twentieth of the frame, somewhere.
UTIL::Rect patch(int number)
{
    const int64_t width = s_frame.width() / 5, height = s_frame.height() / 4;
    const int64_t x = number * 1237 % (s_frame.width() - width);
    const int64_t y = number * 733 % (s_frame.height() - height);
    return UTIL::Rect(x, y, x + width, y + height);
}

ref_ptr<RenderTask> fold(bool wholeFrames)
{
    std::vector<ref_ptr<RenderTask>> layers;
    for (int i = 0; i < 64; ++i)
        layers.push_back(layer(i, wholeFrames ? s_frame : patch(i)));
    return createMultiCompositeTask("fold", 0, COMPOSITEOP_Over, false, false, false, layers);
}

void foldOfPatches(benchmark::State& state)
{
    apply({.order = RenderManager::TileOrder::Streaming, .budget = 1024});
    LeastTime patches(CLOCK_PROCESS_CPUTIME_ID), frames(CLOCK_PROCESS_CPUTIME_ID);
    for ([[maybe_unused]] auto _ : state)
    {
        patches.measure(fold(false));
        frames.measure(fold(true));
    }
    state.counters["patches_ms"] = 1000 * patches.seconds();
    state.counters["frames_ms"] = 1000 * frames.seconds();
    state.counters["share"] = patches.seconds() / frames.seconds();
}

BENCHMARK(foldOfPatches)->Iterations(3)->Unit(benchmark::kMillisecond);

// Nearly all tiles are touched by the plate alone.
void smallLayerAgainstCopy(benchmark::State& state)
{
    apply({.order = RenderManager::TileOrder::Streaming, .budget = 1024});
    LeastTime source(CLOCK_PROCESS_CPUTIME_ID), copied(source), composed(source);
    const UTIL::Rect corner(0, 0, 200, 200);
    for ([[maybe_unused]] auto _ : state)
    {
        source.measure(layer(1, s_frame));
        copied.measure(createCopyTask("copy", 0, layer(1, s_frame)));
        composed.measure(createCompositeTask("over", 0, COMPOSITEOP_Over, false, false, false, 1.0f,
                                             layer(2, corner), layer(1, s_frame)));
    }
    state.counters["source_ms"] = 1000 * source.seconds();
    state.counters["copy_ms"] = 1000 * copied.seconds();
    state.counters["over_ms"] = 1000 * composed.seconds();
    state.counters["over_to_copy"] = composed.seconds() / copied.seconds();
}

BENCHMARK(smallLayerAgainstCopy)->Iterations(20)->Unit(benchmark::kMillisecond);

}
