#include <UTIL/Region.h>

#include <vector>

#include <benchmark/benchmark.h>

using UTIL::Rect;
using UTIL::Region;

namespace
{

// What a task does with the region of a tile: nearly always one rectangle.
void oneRectangle(benchmark::State& state)
{
    const Region data(Rect(0, 0, 4096, 2160));
    int64_t x = 0;
    for ([[maybe_unused]] auto _ : state)
    {
        Region needed(Rect(x, 64, x + 128, 192));
        needed.intersect(Rect(-10, -10, 4000, 2000));
        needed.add(Rect(x, 64, x + 64, 128));
        const Region padded = needed.pad(3, 3).intersected(data);
        benchmark::DoNotOptimize(padded.getBounds());
        benchmark::DoNotOptimize(padded.subtracted(data).isEmpty());
        benchmark::DoNotOptimize(data.contains(Rect(x, 0, x + 1, 1)));
        x = (x + 128) % 3840;
    }
}
BENCHMARK(oneRectangle);

void simplifyAnL(benchmark::State& state)
{
    for ([[maybe_unused]] auto _ : state)
    {
        Region region(Rect(0, 0, 64, 64));
        region.add(Rect(0, 0, 128, 32));
        region.simplify();
        benchmark::DoNotOptimize(region.size());
    }
}
BENCHMARK(simplifyAnL);

// Rectangles such as a file reader collects: a grid of tiles that touch, and ones that overlap
// anyhow, up to `reach` pixels wide and high.
std::vector<Rect> tiles(int64_t side)
{
    std::vector<Rect> rects;
    for (int64_t y = 0; y < side; ++y)
    {
        for (int64_t x = 0; x < side; ++x)
            rects.push_back(Rect(x * 128, y * 128, x * 128 + 128, y * 128 + 128));
    }
    return rects;
}

std::vector<Rect> scattered(int64_t count, int64_t plane, int64_t reach)
{
    std::vector<Rect> rects;
    uint64_t bits = 1;
    const auto below = [&bits](int64_t limit) {
        bits = bits * 6364136223846793005u + 1442695040888963407u;
        return static_cast<int64_t>((bits >> 33) % static_cast<uint64_t>(limit));
    };
    for (int64_t i = 0; i < count; ++i)
    {
        const int64_t x = below(plane), y = below(plane);
        rects.push_back(Rect(x, y, x + 1 + below(reach), y + 1 + below(reach)));
    }
    return rects;
}

void manyRectangles(benchmark::State& state, const std::vector<Rect>& rects)
{
    std::size_t size = 0;
    for ([[maybe_unused]] auto _ : state)
        size = Region::fromRectangles(rects).size();
    state.counters["given"] = static_cast<double>(rects.size());
    state.counters["result"] = static_cast<double>(size);
}
BENCHMARK_CAPTURE(manyRectangles, tiles, tiles(316))->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(manyRectangles, small, scattered(100000, 1 << 20, 500))
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(manyRectangles, dense, scattered(100000, 4096, 500))
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(manyRectangles, huge, scattered(100000, 1 << 30, 1 << 30))
    ->Unit(benchmark::kMillisecond);

}
