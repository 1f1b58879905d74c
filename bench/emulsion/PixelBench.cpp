#include <EMULSION/Color.h>
#include <EMULSION/ColorMatrix.h>
#include <EMULSION/Composite.h>
#include <EMULSION/Premultiply.h>

#include <cstring>
#include <vector>

#include <benchmark/benchmark.h>

#include "support/ChainOfEight.h"

// Colour operations over a 4096x2160 RGBA picture on one thread. Compare with the plain copy of the
// same bytes. EMULSION_SIMD in the environment chooses the instruction set.
namespace
{

using EMULSION::Image;
using EMULSION::PixelOperation;
using EMULSION::PixelOperationPtr;

class Picture
{
public:
    explicit Picture(uint64_t channels = 15)
        : m_floats(s_width * s_height * static_cast<size_t>(__builtin_popcountll(channels)), 0.5f),
          m_image{channels, 15, UTIL::Rect(0, 0, s_width, s_height),
                  m_floats.size() / s_height * sizeof(float), m_floats.data()}
    {}

    const Image* image() const { return &m_image; }
    size_t bytes() const { return m_floats.size() * sizeof(float); }

private:
    static constexpr int64_t s_width = 4096, s_height = 2160;

    std::vector<float> m_floats;
    Image m_image;
};

std::vector<const PixelOperation*> pointersTo(const std::vector<PixelOperationPtr>& operations)
{
    std::vector<const PixelOperation*> pointers;
    for (const PixelOperationPtr& operation : operations)
        pointers.push_back(operation.get());
    return pointers;
}

void copy(benchmark::State& state)
{
    const Picture from, to;
    for ([[maybe_unused]] auto _ : state)
        std::memcpy(to.image()->pixelPtr, from.image()->pixelPtr, from.bytes());
}

void runChain(benchmark::State& state, const std::vector<PixelOperationPtr>& operations,
              uint64_t inputChannels = 15, uint64_t outputChannels = 15)
{
    const Picture from(inputChannels), to(outputChannels);
    const std::vector<const PixelOperation*> pointers = pointersTo(operations);
    for ([[maybe_unused]] auto _ : state)
        EMULSION::Run(to.image(), from.image(), pointers.data(), pointers.size());
}

void mixPictures(benchmark::State& state, bool withSecond)
{
    const Picture first, second, to;
    const Imath::Color4f color(0.5f, 0.5f, 0.5f, 1.0f);
    for ([[maybe_unused]] auto _ : state)
        EMULSION::Mix(to.image(), first.image(), withSecond ? second.image() : nullptr, 0.3f, color,
                      color);
}

// The chain operation by operation over bands of rows that stay in the second-level cache.
void runOneByOne(benchmark::State& state)
{
    const Picture from, to;
    const std::vector<PixelOperationPtr> operations = QUILT::Bench::chainOfEight();
    const UTIL::Rect all = from.image()->bounds;
    constexpr int64_t bandHeight = 8;
    for ([[maybe_unused]] auto _ : state)
    {
        for (int64_t y = 0; y < all.y1; y += bandHeight)
        {
            Image band = *to.image();
            band.bounds = UTIL::Rect(0, y, all.x1, y + bandHeight);
            band.pixelPtr += static_cast<uint64_t>(y) * band.rowBytes / sizeof(float);
            const Image* input = from.image();
            for (const PixelOperationPtr& operation : operations)
            {
                EMULSION::Run(&band, input, *operation);
                input = &band;
            }
        }
    }
}

}

BENCHMARK(copy)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(runChain, none, {})->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(runChain, one, {EMULSION::makeContrastOperation({2, 2, 2, 2}, {1, 1, 1, 1})})
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(runChain, one_RGB_to_RGB,
                  {EMULSION::makeContrastOperation({2, 2, 2, 2}, {1, 1, 1, 1})}, 7, 7)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(runChain, one_A_to_A,
                  {EMULSION::makeContrastOperation({2, 2, 2, 2}, {1, 1, 1, 1})}, 8, 8)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(runChain, eight, QUILT::Bench::chainOfEight())->Unit(benchmark::kMillisecond);
BENCHMARK(runOneByOne)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(mixPictures, two, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(mixPictures, one_and_a_color, false)->Unit(benchmark::kMillisecond);
