// Runs a formula over the pixels of two images, compiled for the instruction set at hand.
#if defined(EMULSION_TWO_INPUTS_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef EMULSION_TWO_INPUTS_INL_H_
#undef EMULSION_TWO_INPUTS_INL_H_
#else
#define EMULSION_TWO_INPUTS_INL_H_
#endif

#include <hwy/highway.h>

#include "Planes-inl.h"
#include "Rows.h"
#include "TwoInputs.h"

HWY_BEFORE_NAMESPACE();
namespace EMULSION::HWY_NAMESPACE
{

namespace hn = hwy::HWY_NAMESPACE;

// The planes of one side within a part that it covers wholly or not at all.
class SidePlanes
{
public:
    SidePlanes(const Private::Side& side, const UTIL::Rect& part)
        : m_image(side.covers(part) ? side.image : nullptr)
    {
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
    const Image* const m_image;
    Planes m_planes;
};

// One loop for all channels: which of two NaNs goes on where they meet may differ between loops.
template <class Formula>
HWY_NOINLINE void combinePlanes(const Formula& original, const SidePlanes& first,
                                const SidePlanes& second, int channel, size_t count, float* result)
{
    const hn::ScalableTag<float> d;
    const Formula formula = original;
    const float* const a = first.plane(channel);
    const float* const b = second.plane(channel);
    for (size_t i = 0; i < count; i += hn::Lanes(d))
    {
        const auto x = hn::Load(d, a + i);
        const auto y = hn::Load(d, b + i);
        const auto alphaX = hn::Load(d, first.plane(3) + i);
        const auto alphaY = hn::Load(d, second.plane(3) + i);
        if constexpr (requires { formula(d, x, y); })
            hn::Store(formula(d, x, y), d, result + i);
        else if constexpr (requires { formula(d, x, y, alphaX, alphaY); })
            hn::Store(formula(d, x, y, alphaX, alphaY), d, result + i);
        else
            hn::Store(formula(d, x, y, alphaX, alphaY, channel), d, result + i);
    }
}

template <class Formula>
void combinePart(const Image& output, const Private::Side& first, const Private::Side& second,
                 const UTIL::Rect& part, const Formula& formula)
{
    constexpr int64_t stripLength = PixelOperation::s_stripLength;
    constexpr size_t granularity = PixelOperation::s_planeGranularity;
    SidePlanes a(first, part), b(second, part);
    Planes result;
    StripWriter writer(output, first.sharesMemory(output) || second.sharesMemory(output));
    for (int64_t y = part.y0; y < part.y1; ++y)
    {
        for (int64_t start = 0; start < part.width(); start += stripLength)
        {
            const int64_t x = part.x0 + start;
            const size_t count = static_cast<size_t>(std::min(part.x1 - x, stripLength));
            const size_t paddedCount = (count + granularity - 1) / granularity * granularity;
            a.load(x, y, count);
            b.load(x, y, count);
            for (int channel = 0; channel < 4; ++channel)
            {
                if (output.channels >> channel & 1)
                    combinePlanes(formula, a, b, channel, paddedCount, result.all[channel]);
            }
            writer.write(result.all, count, Private::pixelOf(output, x, y));
        }
    }
}

// Fills the output by formula(d, a, b), with vectors of one channel of the two sides, or by
// formula(d, a, b, alphaOfA, alphaOfB) where that depends on alpha. It does the same for every
// channel, alpha too, unless it takes the channel's number as a further argument. The images have
// been checked.
template <class Formula>
void combine(const Image& output, const Private::Side& first, const Private::Side& second,
             const Formula& formula)
{
    Private::forEachPart(output.bounds, first, second, [&](const UTIL::Rect& part) {
        combinePart(output, first, second, part, formula);
    });
}

}
HWY_AFTER_NAMESPACE();

#endif
