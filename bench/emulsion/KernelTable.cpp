#include <EMULSION/Color.h>
#include <EMULSION/ColorMatrix.h>
#include <EMULSION/Composite.h>
#include <EMULSION/Curves.h>
#include <EMULSION/Orient.h>
#include <EMULSION/Premultiply.h>
#include <EMULSION/Tone.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

// Every kernel that works pixel by pixel, on one thread: megapixels per second, and the speed as a
// fraction of a plain pass over the same bytes, for RGBA pictures that fit in the second-level
// cache and for ones in memory. Prints a table in Markdown; an argument limits it to kernels whose
// name holds that text. EMULSION_SIMD in the environment chooses the instruction set.
namespace
{

using EMULSION::Image;
using EMULSION::PixelOperationPtr;
using Color = Imath::Color4f;

const Color s_none(0, 0, 0, 0);

class Picture
{
public:
    Picture(int64_t width, int64_t height)
        : m_count(static_cast<size_t>(width * height) * 4),
          m_floats(static_cast<float*>(std::aligned_alloc(s_page, m_count * sizeof(float)))),
          m_image{15, 15, UTIL::Rect(0, 0, width, height), static_cast<uint64_t>(width) * 16,
                  m_floats.get()}
    {
        // Colours of 0 to 1 and some above, so that no branch of a formula is always taken.
        for (size_t i = 0; i < m_count; ++i)
            m_floats[i] = static_cast<float>(i * 2654435761u % 1201) / 1000.0f;
    }

    const Image* image() const { return &m_image; }
    const float* floats() const { return m_floats.get(); }
    float* floats() { return m_floats.get(); }
    size_t count() const { return m_count; }

private:
    struct Free
    {
        void operator()(float* floats) const { std::free(floats); }
    };

    static constexpr size_t s_page = 4096; // where the engine's images start, too

    const size_t m_count;
    const std::unique_ptr<float[], Free> m_floats;
    Image m_image;
};

struct Pictures
{
    Pictures(int64_t width, int64_t height)
        : first(width, height), second(width, height), out(width, height)
    {}

    double megapixels() const { return static_cast<double>(out.count()) / 4e6; }

    Picture first, second, out;
};

using Pass = std::function<void(Pictures&)>;

struct Kernel
{
    std::string name;
    Pass run;
    bool readsTwo = false;
};

Kernel operation(const char* name, const PixelOperationPtr& operation)
{
    return {name, [=](Pictures& p) { EMULSION::Run(p.out.image(), p.first.image(), *operation); }};
}

template <class... Flags>
using TwoInputs = void (*)(const Image*, const Image*, const Image*, Flags..., const Color&,
                           const Color&);

template <class... Flags>
Kernel composite(const char* name, TwoInputs<Flags...> run, Flags... flags)
{
    return {name,
            [=](Pictures& p) {
                run(p.out.image(), p.first.image(), p.second.image(), flags..., s_none, s_none);
            },
            true};
}

void mergeByDepth(Pictures& p, const Image* firstDepth, const Image* secondDepth)
{
    EMULSION::ZComposite(p.out.image(), {p.first.image(), p.second.image()},
                         {firstDepth, secondDepth}, EMULSION::ChannelRed);
}

void copyPass(Pictures& p)
{
    std::memcpy(p.out.floats(), p.first.floats(), p.out.count() * sizeof(float));
}

// The least that an operation on two pictures can move: both read, one written.
void twoInputPass(Pictures& p)
{
    const float* const a = p.first.floats();
    const float* const b = p.second.floats();
    float* const out = p.out.floats();
    for (size_t i = 0; i < p.out.count(); ++i)
        out[i] = a[i] + b[i];
}

double seconds(const Pass& pass, Pictures& pictures, int repeats)
{
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < repeats; ++i)
        pass(pictures);
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() /
           repeats;
}

struct Speed
{
    double megapixelsPerSecond;
    double fraction; // of the plain pass
};

// In turn, so that whatever else the machine does meets both; the least times of many turns.
Speed measure(const Kernel& kernel, Pictures& pictures)
{
    const Pass plain = kernel.readsTwo ? twoInputPass : copyPass;
    const int repeats = std::max(1, static_cast<int>(4 / pictures.megapixels()));
    double best = 1e9, bestPlain = 1e9;
    for (int turn = 0; turn < 15; ++turn)
    {
        bestPlain = std::min(bestPlain, seconds(plain, pictures, repeats));
        best = std::min(best, seconds(kernel.run, pictures, repeats));
    }
    return {pictures.megapixels() / best, bestPlain / best};
}

// A curve for all four channels, by its points.
PixelOperationPtr curve(const std::vector<float>& points)
{
    const EMULSION::CurvePoints all{points.data(), points.size() / 2};
    return EMULSION::makeRGBACurvesOperation(all, all, all, all);
}

std::vector<float> evenPoints(int count)
{
    std::vector<float> points;
    for (int i = 0; i < count; ++i)
    {
        const float x = static_cast<float>(i) / static_cast<float>(count - 1);
        points.insert(points.end(), {x, x * x});
    }
    return points;
}

// The closer the darker.
std::vector<float> unevenPoints(int count)
{
    std::vector<float> points = evenPoints(count);
    for (size_t i = 0; i < points.size(); i += 2)
        points[i] *= points[i];
    return points;
}

PixelOperationPtr filmCurve(bool toLog)
{
    const Color black(95, 95, 95, 95), white(685, 685, 685, 685), gamma(0.6f, 0.6f, 0.6f, 0.6f);
    return EMULSION::makeLogConvertOperation(black, white, gamma, toLog, true);
}

PixelOperationPtr lumaCurve(const std::vector<float>& points)
{
    return EMULSION::makeLumaCurveOperation({0.2126f, 0.7152f, 0.0722f},
                                            {points.data(), points.size() / 2});
}

PixelOperationPtr hueCurves()
{
    std::vector<float> table(256);
    for (size_t i = 0; i < table.size(); ++i)
        table[i] = 1 + 0.2f * std::sin(static_cast<float>(i) * 0.0245f);
    const float* const t = table.data();
    return EMULSION::makeHueCurvesOperation({0.2126f, 0.7152f, 0.0722f}, table.size(), false,
                                            {0, 1, 0}, t, t, t, t, t);
}

std::vector<Kernel> kernels()
{
    using namespace EMULSION;
    const Color low(0, 0, 0, 0), half(0.5f, 0.4f, 0.3f, 0.5f), high(1, 1, 1, 1);
    const float matrix[20] = {0.6f, 0.3f, 0.1f, 0, 0,    0.1f, 0.8f, 0.1f, 0, 0,
                              0,    0.2f, 0.7f, 0, 0.1f, 0,    0,    0,    1, 0};
    return {
        {"copy (rows)",
         [](Pictures& p) { EMULSION::Run(p.out.image(), p.first.image(), nullptr, 0); }},
        operation("Clamp", makeClampOperation(low, high, true, true)),
        operation("Threshold", makeThresholdOperation(half, true, low, true, high)),
        operation("Contrast", makeContrastOperation(high, half)),
        operation("CleanupClamp", makeCleanupClampOperation(false)),
        operation("RGBBloom", makeRGBBloomOperation(0.5f, 2, true)),
        operation("LuminanceBloom", makeLuminanceBloomOperation(0.5f, 2, true)),
        operation("NContrastBoost", makeNContrastBoostOperation(0.5f, false)),
        operation("Fringe", makeFringeOperation()),
        operation("Posterize", makePosterizeOperation(8, 8, 8, false, true)),
        operation("HSV, to", makeHSVConvertOperation(true)),
        operation("HSV, from", makeHSVConvertOperation(false)),
        operation("MaxRGBToAlpha", makeMaxRGBToAlphaOperation()),
        operation("ScreenRGBToAlpha", makeScreenRGBToAlphaOperation(2)),
        operation("MultInverse", makeMultInverseOperation()),
        operation("ColorMatrix, 3 x 3", makeColorMatrixOperation(matrix)),
        operation("Premultiply", makePremultiplyOperation()),
        operation("Unpremultiply", makeUnpremultiplyOperation()),
        operation("CompressRange", makeCompressRangeOperation(0.18f, 16, 1)),
        operation("ExpandRange", makeExpandRangeOperation(0.18f, 16, 1)),
        operation("Exponential", makeExponentialOperation({0.8f, 0.9f, 1.1f, 1.2f}, half)),
        operation("LogConvert, to logarithmic", filmCurve(true)),
        operation("LogConvert, to linear", filmCurve(false)),
        operation("Lab, to", makeLabConvertOperation(true)),
        operation("Lab, from", makeLabConvertOperation(false)),
        operation("ApplyRGBACurves, 2048 even points", curve(evenPoints(2048))),
        operation("ApplyRGBACurves, 5 uneven points",
                  curve({0, 0, 0.1f, 0.3f, 0.25f, 0.35f, 0.9f, 0.8f, 1.1f, 1})),
        operation("ApplyRGBACurves, 40 uneven points", curve(unevenPoints(40))),
        operation("ApplyLumaCurve, 2048 even points", lumaCurve(evenPoints(2048))),
        operation("HueSuppress", makeHueSuppressOperation({0, 1, 0}, 0.8f, 0.5f)),
        operation("HueCurves, 256 entries", hueCurves()),
        {"Flip", [](Pictures& p) { Flip(p.out.image(), p.first.image()); }},
        {"Flop", [](Pictures& p) { Flop(p.out.image(), p.first.image()); }},
        composite<bool>("Over", Over, false),
        composite<bool>("Over, weights clamped", Over, true),
        composite<bool>("Atop", Atop, false),
        composite<bool>("In", In, false),
        composite<bool>("Out", Out, false),
        composite<bool>("Screen", Screen, false),
        composite<bool>("Max", Max, false),
        composite<>("Add", Add),
        composite<>("Difference", Difference),
        composite<>("Divide", Divide),
        composite<>("Geometric", Geometric),
        composite<float>("Mix", Mix, 0.3f),
        {"ZComposite, two layers in one order",
         [](Pictures& p) { mergeByDepth(p, nullptr, nullptr); }, true},
        {"ZComposite, two layers in any order",
         [](Pictures& p) { mergeByDepth(p, p.first.image(), p.second.image()); }, true},
    };
}

}

int main(int argc, char** argv)
{
    // 128 x 128 pixels of 16 bytes: three pictures stay within a second-level cache of 1 MiB.
    Pictures inCache(128, 128), inMemory(4096, 2160);
    std::printf(
        "| Kernel | in cache, MP/s | of a plain pass | in memory, MP/s | of a plain pass |\n"
        "|---|---|---|---|---|\n");
    for (const Kernel& kernel : kernels())
    {
        if (argc > 1 && kernel.name.find(argv[1]) == std::string::npos)
            continue;
        const Speed cache = measure(kernel, inCache), memory = measure(kernel, inMemory);
        std::printf("| %s | %.0f | %.2f | %.0f | %.2f |\n", kernel.name.c_str(),
                    cache.megapixelsPerSecond, cache.fraction, memory.megapixelsPerSecond,
                    memory.fraction);
        std::fflush(stdout);
    }
}
