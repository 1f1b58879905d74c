// Whole renders of a 4096x2160 RGBA picture: what a second thread gains, and what a chain of
// operations costs against a plain copy. Each benchmark measures both sides in turn and gives the
// ratio of their least times, which other work on the machine disturbs least.

#include <benchmark/benchmark.h>
#include <EMULSION/Plumbing.h>
#include <EMULSION/Premultiply.h>
#include <QUILT/CompositeTasks.h>

#include "Graphs.h"
#include "LeastTime.h"
#include "support/ChainOfEight.h"

using namespace QUILT;
using namespace QUILT::Bench;
using EMULSION::PixelOperationPtr;

namespace
{

const UTIL::Rect s_frame(0, 0, 4096, 2160);

// A picture that is in memory already, as a caller's own may be.
class PictureTask final : public Private::ProceduralTask
{
public:
    PictureTask() : ProceduralTask("picture", 0, s_frame) {}

    std::string getType() const override { return "Picture"; }

    using RenderTask::renderRect;
    void renderRect(const EMULSION::Image* output,
                    const std::vector<const EMULSION::Image*>&) override
    {
        static const EMULSION::Image s_picture = makePicture();
        EMULSION::Copy(output, &s_picture);
    }

private:
    static EMULSION::Image makePicture()
    {
        const auto floats = static_cast<uint64_t>(s_frame.width() * s_frame.height()) * 4;
        static std::vector<float> s_pixels(floats, 0.25f);
        return {15, 15, s_frame, static_cast<uint64_t>(s_frame.width()) * 16, s_pixels.data()};
    }
};

ref_ptr<RenderTask> picture()
{
    return ref_ptr<RenderTask>(new PictureTask);
}

ref_ptr<RenderTask> copy()
{
    return createCopyTask("copy", 0, picture());
}

// The eight operations so many times over, as tasks that collapse into one.
ref_ptr<RenderTask> chain(int times)
{
    ref_ptr<RenderTask> task = picture();
    for (int i = 0; i < times; ++i)
    {
        for (const PixelOperationPtr& operation : QUILT::Bench::chainOfEight())
            task = Private::createInPlaceTask(new PixelOp(operation, 0), "op", task, 0);
    }
    return task;
}

// 320 operations a pixel: nothing but arithmetic matters.
void secondThread(benchmark::State& state, RenderManager::TileOrder order)
{
    LeastTime one(CLOCK_MONOTONIC), two(CLOCK_MONOTONIC);
    for ([[maybe_unused]] auto _ : state)
    {
        apply({.threads = 1, .order = order, .budget = 2048});
        one.measure(chain(40));
        apply({.threads = 2, .order = order, .budget = 2048});
        two.measure(chain(40));
    }
    state.counters["one_ms"] = 1000 * one.seconds();
    state.counters["two_ms"] = 1000 * two.seconds();
    state.counters["gain"] = one.seconds() / two.seconds();
}

BENCHMARK_CAPTURE(secondThread, waves, RenderManager::TileOrder::Waves)
    ->Iterations(10)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(secondThread, streaming, RenderManager::TileOrder::Streaming)
    ->Iterations(10)
    ->Unit(benchmark::kMillisecond);

// Processor time with one thread.
void chainAgainstCopy(benchmark::State& state, RenderManager::TileOrder order)
{
    apply({.order = order, .budget = 1024});
    LeastTime source(CLOCK_PROCESS_CPUTIME_ID), copied(source), changed(source);
    for ([[maybe_unused]] auto _ : state)
    {
        source.measure(picture());
        copied.measure(copy());
        changed.measure(chain(1));
    }
    state.counters["source_ms"] = 1000 * source.seconds();
    state.counters["copy_ms"] = 1000 * copied.seconds();
    state.counters["chain_ms"] = 1000 * changed.seconds();
    state.counters["chain_to_copy"] = changed.seconds() / copied.seconds();
    state.counters["without_source"] =
        (changed.seconds() - source.seconds()) / (copied.seconds() - source.seconds());
}

BENCHMARK_CAPTURE(chainAgainstCopy, waves, RenderManager::TileOrder::Waves)
    ->Iterations(20)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(chainAgainstCopy, streaming, RenderManager::TileOrder::Streaming)
    ->Iterations(20)
    ->Unit(benchmark::kMillisecond);

}
