#include <EMULSION/Painters.h>

#include <random>
#include <vector>

#include <benchmark/benchmark.h>

// Painters on a 1024x512 RGBA picture, on one thread, in nanoseconds a pixel.
namespace
{

using EMULSION::Image;
using Imath::Color4f;
using Imath::V2f;

constexpr int64_t s_width = 1024, s_height = 512;
const UTIL::Rect s_rect(0, 0, s_width, s_height);
const Color4f s_color0(0.1f, 0.2f, 0.3f, 1.0f), s_color1(1.0f, 0.5f, 0.25f, 1.0f);

template <class Paint>
void run(benchmark::State& state, const Paint& paint)
{
    std::vector<float> floats(4 * s_width * s_height);
    const Image image{15, 15, s_rect, 16 * s_width, floats.data()};
    for ([[maybe_unused]] auto _ : state)
        paint(&image);
    state.counters["s/pixel"] =
        benchmark::Counter(s_width * s_height, benchmark::Counter::kIsIterationInvariantRate |
                                                   benchmark::Counter::kInvert);
}

void superGradient(const Image* image, size_t count, bool useRbf, UTIL::RBFType type,
                   float parameter)
{
    std::mt19937 random(1);
    std::vector<float> positions(2 * count), colors(4 * count);
    for (float& place : positions)
        place = static_cast<float>(random() % 1000);
    for (float& value : colors)
        value = static_cast<float>(random() % 1000) / 1000.0f;
    EMULSION::SuperGradient(image, count, positions.data(), colors.data(), useRbf, type, parameter);
}

}

BENCHMARK_CAPTURE(run, Gradient, [](const Image* image) {
    EMULSION::Gradient(image, s_rect, &s_color0.r, &s_color1.r, &s_color1.g, &s_color0.r);
});
BENCHMARK_CAPTURE(run, HorizontalRamp, [](const Image* image) {
    EMULSION::HorizontalRamp(image, s_rect, s_color0, s_color1);
});
BENCHMARK_CAPTURE(run, VerticalRamp, [](const Image* image) {
    EMULSION::VerticalRamp(image, s_rect, s_color0, s_color1);
});
BENCHMARK_CAPTURE(run, DirectionalGradient, [](const Image* image) {
    const float positions[] = {0.25f, 0.5f, 0.5f, 0.75f};
    const float colors[16] = {1, 0, 0, 1, 0, 1, 0, 1, 0, 0, 1, 1, 1, 1, 1, 1};
    EMULSION::DirectionalGradient(image, V2f(0, 0), s_color0, V2f(s_width, s_height), s_color1, 4,
                                  positions, colors);
});
BENCHMARK_CAPTURE(run, RadialGradient, [](const Image* image) {
    EMULSION::RadialGradient(image, 500, 250, 100, 300, 0.5f, 0.7f, s_color0, s_color1, false);
});
BENCHMARK_CAPTURE(run, Checkerboard, [](const Image* image) {
    EMULSION::Checkerboard(image, s_color0, s_color1, V2f(16.5f, 16.5f), V2f(0, 0));
});
BENCHMARK_CAPTURE(run, FineCheckerboard, [](const Image* image) {
    EMULSION::Checkerboard(image, s_color0, s_color1, V2f(1.7f, 1.7f), V2f(0, 0));
});
BENCHMARK_CAPTURE(run, Bars, [](const Image* image) {
    const float rect[] = {0, 0, s_width, s_height};
    EMULSION::Bars(image, rect, false);
});
BENCHMARK_CAPTURE(run, HueWheel, [](const Image* image) {
    EMULSION::HueWheel(image, 512, 256, 300, 0.8f, 0, 1, 1, 0);
});
BENCHMARK_CAPTURE(run, Shepard10,
                  [](const Image* image) { superGradient(image, 10, false, UTIL::RBF_LINEAR, 2); });
BENCHMARK_CAPTURE(run, Shepard10Power3,
                  [](const Image* image) { superGradient(image, 10, false, UTIL::RBF_LINEAR, 3); });
BENCHMARK_CAPTURE(run, Multiquadric10, [](const Image* image) {
    superGradient(image, 10, true, UTIL::RBF_MULTIQUADRIC, 64);
});
BENCHMARK_CAPTURE(run, ThinPlate10, [](const Image* image) {
    superGradient(image, 10, true, UTIL::RBF_THIN_PLATE, 64);
});
