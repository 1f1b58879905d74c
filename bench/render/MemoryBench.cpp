// How much memory the pixels of a render take at most: chains over a picture of 16384x8640, of
// which one frame is 2160 MiB. Swap files go to a memory disk.

#include <benchmark/benchmark.h>
#include <Bramble3/Configuration.h>
#include <Bramble3/XmlElement.h>
#include <QUILT/CompositeTasks.h>
#include <QUILT/ProceduralTasks.h>

#include "Graphs.h"

using namespace QUILT;
using namespace QUILT::Bench;

namespace
{

const UTIL::Rect s_largeFrame(0, 0, 16384, 8640);

ref_ptr<RenderTask> chainOfCopies(int length)
{
    ref_ptr<RenderTask> task = createColorTask("color", 0, s_largeFrame, {0.1f, 0.2f, 0.3f, 0.4f});
    for (int i = 1; i < length; ++i)
        task = createCopyTask("copy" + std::to_string(i), 0, task);
    RenderManager::ClearRenderTaskCache();
    return task;
}

void peak(benchmark::State& state, const Settings& settings, int length)
{
    Bramble3::BzConfiguration::v1::Config().set("LANTERN_TMPDIR", "/dev/shm");
    apply(settings);
    for ([[maybe_unused]] auto _ : state)
        render(chainOfCopies(length));
    const XmlElement memory = RenderManager::getStatistics()->getChildren().front();
    state.SetLabel("in memory " + *memory->findAttr("Peak Memory Usage") + ", in swap files " +
                   *memory->findAttr("Peak Disk Usage"));
}

constexpr Settings s_streaming{.threads = 2, .order = RenderManager::TileOrder::Streaming};
constexpr Settings s_streamingInLittle{
    .threads = 2, .order = RenderManager::TileOrder::Streaming, .budget = 64, .cache = true};
constexpr Settings s_waves{.threads = 2};

void once(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Iterations(1)->MeasureProcessCPUTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK_CAPTURE(peak, streaming, s_streaming, 10)->Apply(once);
BENCHMARK_CAPTURE(peak, streaming_with_cache_in_64_MiB, s_streamingInLittle, 10)->Apply(once);
BENCHMARK_CAPTURE(peak, waves, s_waves, 4)->Apply(once);

}
