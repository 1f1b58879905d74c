// What an artist waits for: a composite of 20 nodes on a 4096x2160 picture, rendered once, and
// again after one knob was turned. All figures are processor time, as shares of that of the first
// render.

#include <algorithm>
#include <ctime>
#include <set>
#include <vector>

#include <benchmark/benchmark.h>
#include <EMULSION/Color.h>
#include <EMULSION/ColorMatrix.h>
#include <QUILT/CompositeTasks.h>
#include <QUILT/ProceduralTasks.h>

#include "Graphs.h"

using namespace QUILT;
using namespace QUILT::Bench;

namespace
{

const UTIL::Rect s_frame(0, 0, 4096, 2160);
constexpr int64_t s_reach = 8;

// The mean of the pixels in a row and a column around each; 0 beyond the frame.
class CrossTask final : public RenderTask
{
public:
    CrossTask(const std::string& name, float parameter, const ref_ptr<RenderTask>& input)
        : RenderTask(name, 0), m_parameter(parameter)
    {
        registerInputTask(input);
    }

    std::string getType() const override { return "Cross"; }
    void computeCacheID(CacheIDStream& stream) override
    {
        Private::writeItems(stream, m_parameter);
    }
    unsigned long computeOutputChannels() override { return getDefinedInputChannels(0); }
    UTIL::Region computeOutputDataRegion() override { return getDefinedInputDataRegion(0); }
    void makeInputFormatRequests() override { addInputRequest(0, getRequiredOutputChannels()); }
    void computeRequiredInputRectangles(const UTIL::Rect& outputRect,
                                        std::vector<UTIL::Rect>& inputRects) override
    {
        inputRects[0] = outputRect.pad(s_reach, s_reach, true);
    }

    using RenderTask::renderRect;
    void renderRect(const EMULSION::Image* output,
                    const std::vector<const EMULSION::Image*>& inputs) override
    {
        const UTIL::Rect& r = output->bounds;
        const auto width = static_cast<size_t>(4 * r.width());
        for (int64_t y = r.y0; y < r.y1; ++y)
        {
            float* const sum = row(*output, r.x0, y);
            std::fill_n(sum, width, 0.0f);
            for (int64_t i = -s_reach; i <= s_reach; ++i)
            {
                const float* const across = row(*inputs[0], r.x0 + i, y);
                const float* const along = row(*inputs[0], r.x0, y + i);
                for (size_t x = 0; x < width; ++x)
                    sum[x] += across[x] + along[x];
            }
            for (size_t x = 0; x < width; ++x)
                sum[x] *= 1.0f / (4 * s_reach + 2);
        }
    }

private:
    static float* row(const EMULSION::Image& image, int64_t x, int64_t y)
    {
        const auto line = static_cast<uint64_t>(y - image.bounds.y0) * image.rowBytes;
        return reinterpret_cast<float*>(reinterpret_cast<char*>(image.pixelPtr) + line) +
               4 * (x - image.bounds.x0);
    }

    const float m_parameter;
};

// The graph's knobs, one a node, by the nodes' numbers.
using Knobs = std::vector<float>;

class Comp
{
public:
    explicit Comp(const Knobs& knobs) : m_knobs(knobs)
    {
        RenderManager::ClearRenderTaskCache();
        const ref_ptr<RenderTask> front = branch(150), back = branch(40);
        const std::string name = nextName();
        m_output = createMixTask(name, 0, 0.25f + knob(), front, back);
        while (m_nodes < 20)
            m_output = grade(m_output);
    }

    const ref_ptr<RenderTask>& output() const { return m_output; }

private:
    std::string nextName() { return "node" + std::to_string(m_nodes++); }
    float knob() const { return m_knobs[m_nodes - 1]; }

    ref_ptr<RenderTask> grade(const ref_ptr<RenderTask>& input)
    {
        const std::string name = nextName();
        const float k = 1.0f + knob();
        const float matrix[20] = {k,    0.1f, 0, 0, 0, 0.1f, 0.9f, 0, 0, 0,
                                  0.1f, 0,    k, 0, 0, 0,    0,    0, 1, 0};
        const EMULSION::PixelOperationPtr operation =
            m_nodes % 2 ? EMULSION::makeColorMatrixOperation(matrix)
                        : EMULSION::makeContrastOperation({k, k, k, 1}, {0.18f, 0.18f, 0.18f, 0});
        return Private::createInPlaceTask(new PixelOp(operation, k), name, input, 0);
    }

    // A picture, three grades, a blur, two grades.
    ref_ptr<RenderTask> branch(float size)
    {
        const Imath::Color4f bright(0.8f, 0.7f, 0.5f, 0.9f), dark(0.1f, 0.2f, 0.3f, 0.4f);
        ref_ptr<RenderTask> task =
            createCheckerboardTask(nextName(), 0, s_frame, bright, dark, {size, size});
        for (int i = 0; i < 3; ++i)
            task = grade(task);
        const std::string name = nextName();
        task = new CrossTask(name, knob(), task);
        return grade(grade(task));
    }

    const Knobs m_knobs;
    size_t m_nodes = 0;
    ref_ptr<RenderTask> m_output;
};

double processorTime()
{
    timespec time;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

double secondsOf(const Knobs& knobs, std::map<std::string, double>* ofTasks = nullptr)
{
    const Comp comp(knobs);
    const double start = processorTime();
    render(comp.output(), ofTasks);
    return processorTime() - start;
}

// The nodes in the way from that one to the output, itself included.
std::vector<size_t> nodesBehind(size_t node)
{
    std::vector<size_t> nodes;
    for (; node < 20; ++node)
        if (node >= 14 || (nodes.empty() || nodes.front() / 7 == node / 7))
            nodes.push_back(node);
    return nodes;
}

void edits(benchmark::State& state, RenderManager::TileOrder order)
{
    const auto budget = static_cast<unsigned long>(state.range(0));
    std::vector<double> nothing, last, middle, behind;
    double first = 0;
    for ([[maybe_unused]] auto _ : state)
    {
        apply({.order = order, .budget = budget, .cache = true});
        Knobs knobs(20, 0.01f);
        std::map<std::string, double> ofTasks;
        first = secondsOf(knobs, &ofTasks);

        // The share of what an edit of the first branch's blur makes anew, by the tiles' time.
        double all = 0, anew = 0;
        for (const auto& [name, seconds] : ofTasks)
            all += seconds;
        for (const size_t node : nodesBehind(4))
            anew += ofTasks["node" + std::to_string(node)];
        behind.push_back(anew / all);

        nothing.push_back(secondsOf(knobs) / first);
        for (int i = 0; i < 5; ++i)
        {
            knobs[19] += 0.01f;
            last.push_back(secondsOf(knobs) / first);
        }
        for (int i = 0; i < 3; ++i)
        {
            knobs[4] += 0.01f;
            middle.push_back(secondsOf(knobs) / first);
        }
    }
    const auto median = [](std::vector<double>& values) {
        std::ranges::sort(values);
        return 100 * values[values.size() / 2];
    };
    state.counters["first_ms"] = 1000 * first;
    state.counters["nothing_%"] = median(nothing);
    state.counters["last_%"] = median(last);
    state.counters["last_worst_%"] = 100 * last.back();
    state.counters["middle_%"] = median(middle);
    state.counters["behind_%"] = median(behind);
    apply({});
}

BENCHMARK_CAPTURE(edits, waves, RenderManager::TileOrder::Waves)
    ->ArgName("MiB")
    ->Arg(4096)
    ->Arg(1024)
    ->Arg(512)
    ->Arg(256)
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(edits, streaming, RenderManager::TileOrder::Streaming)
    ->ArgName("MiB")
    ->Arg(4096)
    ->Arg(1024)
    ->Arg(512)
    ->Arg(256)
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond);

}
