#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "color/LogConvert.cpp"
#include <hwy/foreach_target.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

#include "EMULSION/Tone.h"
#include "PixelMap-inl.h"
#include "VectorMath-inl.h"

#ifndef EMULSION_FILM_CURVE
#define EMULSION_FILM_CURVE
namespace EMULSION::Private
{

// What the curve of one channel is computed with: codes as fractions of the highest, and logarithms
// to the base 2.
struct FilmCurve
{
    FilmCurve(float blackAsked, float whiteAsked, float gamma, bool tenBit)
        : white(tenBit ? whiteAsked / highestCode : whiteAsked),
          slope(0.002 * highestCode / gamma * std::numbers::ln10 / std::numbers::ln2),
          offset(std::exp2(((tenBit ? blackAsked / highestCode : blackAsked) - white) * slope)),
          gain(1.0 / (1.0 - offset)),
          lowest(std::max<double>(offset * 0x1p-24, std::numeric_limits<float>::min()))
    {}

    static constexpr double highestCode = 1023.0;

    double white;
    double slope; // of the logarithm
    double offset;
    double gain;
    double lowest; // that a logarithm is taken of
};

}
#endif

HWY_BEFORE_NAMESPACE();
namespace EMULSION::HWY_NAMESPACE
{

namespace
{

using Private::FilmCurve;

struct FilmCurves
{
    FilmCurve red, green, blue;

    const FilmCurve& of(int channel) const
    {
        return channel == 0 ? red : channel == 1 ? green : blue;
    }
};

struct ToLinearFormula
{
    FilmCurves curves;

    template <class D>
    hn::Vec<D> operator()(D d, hn::Vec<D> x, int channel) const
    {
        const FilmCurve& curve = curves.of(channel);
        const auto toLinear = [&curve](auto dd, auto v) HWY_ATTR {
            const auto exponent = hn::Sub(hn::Mul(v, hn::Set(dd, curve.slope)),
                                          hn::Set(dd, curve.white * curve.slope));
            const auto light = hn::Sub(exp2Doubles(dd, exponent), hn::Set(dd, curve.offset));
            return hn::Mul(light, hn::Set(dd, curve.gain));
        };
        return withOneNaN(d, inDoubles(d, toLinear, x));
    }
};

struct ToLogFormula
{
    FilmCurves curves;

    template <class D>
    hn::Vec<D> operator()(D d, hn::Vec<D> x, int channel) const
    {
        const FilmCurve& curve = curves.of(channel);
        const auto toLog = [&curve](auto dd, auto v) HWY_ATTR {
            const auto power = atLeast(
                hn::Set(dd, curve.lowest),
                hn::Add(hn::Mul(v, hn::Set(dd, 1.0 / curve.gain)), hn::Set(dd, curve.offset)));
            // Infinity and NaN are their own logarithms.
            const auto isFinite =
                hn::Lt(power, hn::Set(dd, std::numeric_limits<double>::infinity()));
            const auto log = hn::IfThenElse(isFinite, log2Doubles(dd, power), power);
            return hn::Add(hn::Mul(log, hn::Set(dd, 1.0 / curve.slope)), hn::Set(dd, curve.white));
        };
        return withOneNaN(d, inDoubles(d, toLog, x));
    }
};

}

PixelOperationPtr logConvertOperation(const Imath::Color4f& black, const Imath::Color4f& white,
                                      const Imath::Color4f& gamma, bool toLog, bool tenBit)
{
    const FilmCurves curves{{black.r, white.r, gamma.r, tenBit},
                            {black.g, white.g, gamma.g, tenBit},
                            {black.b, white.b, gamma.b, tenBit}};
    return toLog ? mapValues("LogConvert", ToLogFormula{curves}, ChannelsRGB)
                 : mapValues("LogConvert", ToLinearFormula{curves}, ChannelsRGB);
}

}
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

#include "SimdDispatch.h"

namespace EMULSION
{

HWY_EXPORT(logConvertOperation);

PixelOperationPtr makeLogConvertOperation(const Imath::Color4f& black, const Imath::Color4f& white,
                                          const Imath::Color4f& gamma, bool toLog, bool tenBit)
{
    return EMULSION_DISPATCH(logConvertOperation)(black, white, gamma, toLog, tenBit);
}

void LogConvert(const Image* output, const Image* input, const Imath::Color4f& black,
                const Imath::Color4f& white, const Imath::Color4f& gamma, bool toLog, bool tenBit)
{
    Run(output, input, *makeLogConvertOperation(black, white, gamma, toLog, tenBit));
}

Imath::Color4f LogConvert(const Imath::Color4f& color, const Imath::Color4f& black,
                          const Imath::Color4f& white, const Imath::Color4f& gamma, bool toLog,
                          bool tenBit)
{
    return Run(color, *makeLogConvertOperation(black, white, gamma, toLog, tenBit));
}

}

#endif
