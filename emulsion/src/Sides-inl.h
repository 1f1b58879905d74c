// Runs a formula over the pixels of two or three images, compiled for the instruction set at hand.
#if defined(EMULSION_SIDES_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef EMULSION_SIDES_INL_H_
#undef EMULSION_SIDES_INL_H_
#else
#define EMULSION_SIDES_INL_H_
#endif

#include <hwy/highway.h>

#include "Planes-inl.h"
#include "Rows.h"
#include "Sides.h"

HWY_BEFORE_NAMESPACE();
namespace EMULSION::HWY_NAMESPACE
{

namespace hn = hwy::HWY_NAMESPACE;

// The planes of one side within a part that it covers wholly or not at all.
class SidePlanes
{
public:
    void begin(const Private::Side& side, const UTIL::Rect& part)
    {
        m_image = side.covers(part) ? side.image : nullptr;
        // What the image lacks is 0; what there is is loaded strip by strip.
        const hn::ScalableTag<float> d;
        for (int channel = 0; channel < 4; ++channel)
        {
            const auto value = hn::Set(d, m_image ? 0.0f : side.color[channel]);
            for (size_t i = 0; i < PixelOperation::s_stripLength; i += hn::Lanes(d))
                hn::Store(value, d, m_planes.all[channel] + i);
        }
    }

    void load(int64_t x, int64_t y, size_t count)
    {
        if (m_image && m_image->channels)
            loadPlanes(Private::pixelOf(*m_image, x, y), m_image->channels, count, m_planes.all);
    }

    const float* plane(int channel) const { return m_planes.all[channel]; }

private:
    const Image* m_image = nullptr;
    Planes m_planes;
};

// One loop for all channels: which of two NaNs goes on where they meet may differ between loops.
template <size_t N, class Formula>
HWY_NOINLINE void combinePlanes(const Formula& original, const SidePlanes (&sides)[N], int channel,
                                size_t count, float* result)
{
    const hn::ScalableTag<float> d;
    const Formula formula = original;
    const float* const a = sides[0].plane(channel);
    const float* const b = sides[1].plane(channel);
    const float* const alphaOfFirst = sides[0].plane(3);
    const float* const alphaOfLast = sides[N - 1].plane(3);
    for (size_t i = 0; i < count; i += hn::Lanes(d))
    {
        const auto x = hn::Load(d, a + i);
        const auto y = hn::Load(d, b + i);
        const auto alphaFirst = hn::Load(d, alphaOfFirst + i);
        const auto alphaLast = hn::Load(d, alphaOfLast + i);
        if constexpr (N == 3)
            hn::Store(formula(d, x, y, alphaLast), d, result + i);
        else if constexpr (requires { formula(d, x, y); })
            hn::Store(formula(d, x, y), d, result + i);
        else if constexpr (requires { formula(d, x, y, alphaFirst, alphaLast); })
            hn::Store(formula(d, x, y, alphaFirst, alphaLast), d, result + i);
        else
            hn::Store(formula(d, x, y, alphaFirst, alphaLast, channel), d, result + i);
    }
}

template <size_t N, class Formula>
void combineChannels(const Formula& formula, const SidePlanes (&sides)[N], uint64_t channels,
                     size_t count, const Planes& result)
{
    for (int channel = 0; channel < 4; ++channel)
    {
        if (channels >> channel & 1)
            combinePlanes(formula, sides, channel, count, result.all[channel]);
    }
}

// All four channels at once.
template <class Formula>
HWY_NOINLINE void combinePixels(const Formula& original, const SidePlanes (&sides)[2], size_t count,
                                const Planes& result)
{
    const hn::ScalableTag<float> d;
    const Formula formula = original;
    hn::Vec<decltype(d)> a[4], b[4], made[4];
    for (size_t i = 0; i < count; i += hn::Lanes(d))
    {
        for (int channel = 0; channel < 4; ++channel)
        {
            a[channel] = hn::Load(d, sides[0].plane(channel) + i);
            b[channel] = hn::Load(d, sides[1].plane(channel) + i);
        }
        formula(d, a, b, made);
        for (int channel = 0; channel < 4; ++channel)
            hn::Store(made[channel], d, result.all[channel] + i);
    }
}

template <class Formula, class D = hn::ScalableTag<float>, class V = hn::Vec<D>>
constexpr bool s_takesPixels = requires(const Formula& formula, D d, const V (&in)[4], V (&out)[4])
{
    formula(d, in, in, out);
};

template <size_t N, class Formula>
void combinePart(const Image& output, const Private::Side (&sides)[N], const UTIL::Rect& part,
                 const Formula& formula)
{
    constexpr int64_t stripLength = PixelOperation::s_stripLength;
    constexpr size_t granularity = PixelOperation::s_planeGranularity;
    SidePlanes planes[N];
    bool sharesMemory = false;
    for (size_t side = 0; side < N; ++side)
    {
        planes[side].begin(sides[side], part);
        sharesMemory |= sides[side].sharesMemory(output);
    }
    Planes result;
    StripWriter writer(output, sharesMemory);
    for (int64_t y = part.y0; y < part.y1; ++y)
    {
        for (int64_t start = 0; start < part.width(); start += stripLength)
        {
            const int64_t x = part.x0 + start;
            const size_t count = static_cast<size_t>(std::min(part.x1 - x, stripLength));
            const size_t paddedCount = (count + granularity - 1) / granularity * granularity;
            for (SidePlanes& side : planes)
                side.load(x, y, count);
            if constexpr (s_takesPixels<Formula>)
                combinePixels(formula, planes, paddedCount, result);
            else
                combineChannels(formula, planes, output.channels, paddedCount, result);
            writer.write(result.all, count, Private::pixelOf(output, x, y));
        }
    }
}

// Fills the output by formula(d, a, b), with vectors of one channel of the two sides, or by
// formula(d, a, b, alphaOfA, alphaOfB) where that depends on alpha; of a third side it is the alpha
// alone that counts, in formula(d, a, b, alphaOfTheThird). It does the same for every channel,
// alpha too, unless it takes the channel's number behind the alphas of two sides. Where channels
// differ more than that, it is formula(d, a, b, result), with arrays of the four channels of two
// sides. The images have been checked.
template <size_t N, class Formula>
void combine(const Image& output, const Private::Side (&sides)[N], const Formula& formula)
{
    Private::forEachPart(output.bounds, sides, [&](const UTIL::Rect& part) {
        combinePart(output, sides, part, formula);
    });
}

}
HWY_AFTER_NAMESPACE();

#endif
