#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "color/CompressRange.cpp"
#include <hwy/foreach_target.h>

#include <cmath>
#include <limits>
#include <numbers>

#include "EMULSION/Tone.h"
#include "PixelMap-inl.h"
#include "VectorMath-inl.h"

#ifndef EMULSION_RANGE_CURVE
#define EMULSION_RANGE_CURVE
namespace EMULSION::Private
{

// The curve above the knee: knee + k ln(1 + (x - knee) / k).
struct RangeCurve
{
    RangeCurve(float kneeAsked, float from, float to);

    double knee = std::numeric_limits<double>::infinity(); // nothing is above it
    double k = 1.0;
};

}
#endif

HWY_BEFORE_NAMESPACE();
namespace EMULSION::HWY_NAMESPACE
{

namespace
{

using Private::RangeCurve;

struct CompressCurve
{
    RangeCurve range;

    template <class DD>
    hn::Vec<DD> operator()(DD dd, hn::Vec<DD> x) const
    {
        const auto knee = hn::Set(dd, range.knee);
        const auto log =
            log2Of1PlusDoubles(dd, hn::Mul(hn::Sub(x, knee), hn::Set(dd, 1 / range.k)));
        return hn::Add(knee, hn::Mul(log, hn::Set(dd, range.k * std::numbers::ln2)));
    }
};

struct ExpandCurve
{
    RangeCurve range;

    template <class DD>
    hn::Vec<DD> operator()(DD dd, hn::Vec<DD> x) const
    {
        const auto knee = hn::Set(dd, range.knee);
        const auto exponent = hn::Mul(hn::Sub(x, knee), hn::Set(dd, std::numbers::log2e / range.k));
        return hn::Add(knee, hn::Mul(exp2Minus1Doubles(dd, exponent), hn::Set(dd, range.k)));
    }
};

// The curve over the largest of the three, and the others in proportion.
template <class Curve>
struct RangeFormula
{
    Curve curve;

    template <class D>
    void operator()(D d, hn::Vec<D>& r, hn::Vec<D>& g, hn::Vec<D>& b, hn::Vec<D>&) const
    {
        const auto scale = [this](auto dd, auto& red, auto& green, auto& blue) HWY_ATTR {
            const auto absR = hn::Abs(red), absG = hn::Abs(green), absB = hn::Abs(blue);
            const auto largest = hn::Max(absR, hn::Max(absG, absB));
            // Three floats do not overflow a double.
            const auto isFinite = hn::Lt(hn::Add(absR, hn::Add(absG, absB)),
                                         hn::Set(dd, std::numeric_limits<double>::infinity()));
            const auto isAbove = hn::And(isFinite, hn::Gt(largest, hn::Set(dd, curve.range.knee)));
            const auto ratio =
                hn::IfThenElse(isAbove, hn::Div(curve(dd, largest), largest), hn::Set(dd, 1.0));
            red = hn::Mul(red, ratio);
            green = hn::Mul(green, ratio);
            blue = hn::Mul(blue, ratio);
        };
        changeInDoubles(d, scale, r, g, b);
    }
};

}

PixelOperationPtr compressRangeOperation(const RangeCurve& range)
{
    return mapPixels("CompressRange", RangeFormula<CompressCurve>{{range}}, ChannelsRGB,
                     ChannelsRGB);
}

PixelOperationPtr expandRangeOperation(const RangeCurve& range)
{
    return mapPixels("ExpandRange", RangeFormula<ExpandCurve>{{range}}, ChannelsRGB, ChannelsRGB);
}

}
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

#include "SimdDispatch.h"

namespace EMULSION
{

HWY_EXPORT(compressRangeOperation);
HWY_EXPORT(expandRangeOperation);

namespace
{

// The v > 0 with ln(1 + v) / v = slope, for a slope between 0 and 1.
double whereLogIsSlope(double slope)
{
    // ln(1 + v) <= v / sqrt(1 + v) puts the start on the right of the solution, and from there the
    // steps of Newton go down to it, as the function is concave.
    double v = 1.0 / (slope * slope) - 1.0;
    for (;;)
    {
        const double value = std::log1p(v) - slope * v;
        const double next = v - value / (1.0 / (1.0 + v) - slope);
        if (!(next < v && next > 0.0))
            return v;
        v = next;
    }
}

}

Private::RangeCurve::RangeCurve(float kneeAsked, float from, float to)
{
    const double start = std::fmax(kneeAsked, 0.0f);
    if (!(start < to && to < from && std::isfinite(from)) || std::isnan(kneeAsked))
        return;
    knee = start;
    k = (from - start) / whereLogIsSlope((to - start) / (from - start));
}

PixelOperationPtr makeCompressRangeOperation(float knee, float from, float to)
{
    return EMULSION_DISPATCH(compressRangeOperation)(Private::RangeCurve(knee, from, to));
}

PixelOperationPtr makeExpandRangeOperation(float knee, float from, float to)
{
    return EMULSION_DISPATCH(expandRangeOperation)(Private::RangeCurve(knee, from, to));
}

void CompressRange(const Image* output, const Image* input, float knee, float from, float to)
{
    Run(output, input, *makeCompressRangeOperation(knee, from, to));
}

void ExpandRange(const Image* output, const Image* input, float knee, float from, float to)
{
    Run(output, input, *makeExpandRangeOperation(knee, from, to));
}

Imath::Color4f CompressColor(const Imath::Color4f& color, float knee, float from, float to)
{
    return Run(color, *makeCompressRangeOperation(knee, from, to));
}

Imath::Color4f ExpandColor(const Imath::Color4f& color, float knee, float from, float to)
{
    return Run(color, *makeExpandRangeOperation(knee, from, to));
}

}

#endif
