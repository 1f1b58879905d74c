// What an artist waits for: a composite of 20 nodes on a 4096x2160 picture, rendered once, and
// again after one knob was turned. All figures are processor time, as shares of that of the first
// render.

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <EMULSION/Color.h>
#include <EMULSION/ColorMatrix.h>
#include <EMULSION/WriteImage.h>
#include <QUILT/CompositeTasks.h>
#include <QUILT/FileTasks.h>
#include <unistd.h>

#include "Graphs.h"
#include "private/RenderTask_Imp.h"

using namespace QUILT;
using namespace QUILT::Bench;

namespace
{

const UTIL::Rect s_frame(0, 0, 4096, 2160);
constexpr int64_t s_reach = 16;

// A plate with grain, as a half-float OpenEXR file that goes with the process.
class Plate
{
public:
    explicit Plate(unsigned seed)
        : m_path("/dev/shm/quilt_bench_" + std::to_string(getpid()) + "_" + std::to_string(seed) +
                 ".exr")
    {
        std::vector<float> pixels(static_cast<size_t>(s_frame.width() * s_frame.height()) * 4);
        std::minstd_rand random(seed);
        for (size_t i = 0; i < pixels.size(); ++i)
            pixels[i] = 0.2f + 0.5f * static_cast<float>(i % 16384) / 16384.0f +
                        0.05f * static_cast<float>(random() % 256) / 256.0f;
        const EMULSION::Image image{15, 15, s_frame, static_cast<uint64_t>(s_frame.width()) * 16,
                                    pixels.data()};
        EMULSION::OutputImageOptions options;
        options.type3OptionA = 3; // ZIP
        EMULSION::WriteImage(m_path.c_str(), &image, "exr", options);
    }
    ~Plate() { std::remove(m_path.c_str()); }

    ref_ptr<RenderTask> read(const std::string& name) const
    {
        FileInParams params;
        params.filename = m_path;
        return createFileInTask(name, 0, params);
    }

private:
    const std::string m_path;
};

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
        static const Plate s_front(1), s_back(2);
        const ref_ptr<RenderTask> front = branch(s_front), back = branch(s_back);
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

    // A plate, three grades, a blur, two grades.
    ref_ptr<RenderTask> branch(const Plate& plate)
    {
        ref_ptr<RenderTask> task = plate.read(nextName());
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
    const double start = processorTime();
    const Comp comp(knobs);
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
    std::vector<double> first, nothing, last, middle, behind;
    for ([[maybe_unused]] auto _ : state)
    {
        apply({.order = order, .budget = budget, .cache = true});
        Knobs knobs(20, 0.01f);
        std::map<std::string, double> ofTasks;
        first.push_back(secondsOf(knobs, &ofTasks));

        // The share of what an edit of the first branch's blur has to make anew, by its tiles'
        // time.
        double all = 0, anew = 0;
        for (const auto& [name, seconds] : ofTasks)
            all += seconds;
        for (const size_t node : nodesBehind(4))
            anew += ofTasks["node" + std::to_string(node)];
        behind.push_back(anew / all);

        nothing.push_back(secondsOf(knobs));
        for (int i = 0; i < 4; ++i)
        {
            knobs[19] += 0.01f;
            last.push_back(secondsOf(knobs));
        }
        for (int i = 0; i < 3; ++i)
        {
            knobs[4] += 0.01f;
            middle.push_back(secondsOf(knobs));
        }
    }
    const auto least = [](const std::vector<double>& values) {
        return *std::ranges::min_element(values);
    };
    const double whole = least(first);
    state.counters["first_ms"] = 1000 * whole;
    state.counters["nothing_%"] = 100 * least(nothing) / whole;
    state.counters["last_%"] = 100 * least(last) / whole;
    state.counters["middle_%"] = 100 * least(middle) / whole;
    std::ranges::sort(behind);
    state.counters["behind_%"] = 100 * behind[behind.size() / 2];
    apply({});
}

// An idle task with a knob.
class KnobTask final : public IdleTask
{
public:
    KnobTask(const std::string& name, float knob, const std::vector<ref_ptr<RenderTask>>& inputs)
        : IdleTask(name, 0, inputs), m_knob(knob)
    {}

    void computeCacheID(CacheIDStream& stream) override { Private::writeItems(stream, m_knob); }

private:
    const float m_knob;
};

// A graph of so many tasks, each with two inputs among the ten before, and one tile.
ref_ptr<RenderTask> tangle(size_t count, auto knobOf)
{
    RenderManager::ClearRenderTaskCache();
    std::minstd_rand random(1);
    std::vector<ref_ptr<RenderTask>> tasks{new BlankTask({0, 0, 1, 1})};
    while (tasks.size() < count)
    {
        const auto oneOfTheLast = [&] {
            return tasks[tasks.size() - 1 - random() % std::min<size_t>(10, tasks.size())];
        };
        const std::vector<ref_ptr<RenderTask>> inputs{tasks.back(), oneOfTheLast()};
        tasks.push_back(
            new KnobTask("task" + std::to_string(tasks.size()), knobOf(tasks.size()), inputs));
    }
    RenderManager::ClearRenderTaskCache();
    return tasks.back();
}

// What the set-up of a render takes when nothing was edited, and when every other task in the upper
// half was, which is the most that the history of edits can be asked for.
void setUpAfterEdits(benchmark::State& state)
{
    apply({.cache = true});
    const auto count = static_cast<size_t>(state.range(0));
    const bool isEdited = state.range(1) != 0;
    float round = 0;
    for ([[maybe_unused]] auto _ : state)
    {
        state.PauseTiming();
        round += isEdited ? 1 : 0;
        ref_ptr<RenderTask> top = tangle(count, [&](size_t i) {
            return float(i) + (i < count / 2 && i % 2 == 0 ? 0.25f * round : 0.0f);
        });
        std::vector<ref_ptr<Private::Tile>> ready;
        std::vector<FinalTile> finalTiles;
        state.ResumeTiming();
        Private::RenderTask_Imp::setUpRender({{top, UTIL::Rect(0, 0, 1, 1), 0}}, ready, finalTiles);
        state.PauseTiming();
        ready.clear();
        top = nullptr;
        state.ResumeTiming();
    }
    apply({});
}
BENCHMARK(setUpAfterEdits)
    ->ArgNames({"tasks", "edited"})
    ->ArgsProduct({{1000, 20000, 100000}, {0, 1}})
    ->Unit(benchmark::kMillisecond);

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
