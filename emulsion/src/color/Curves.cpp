#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "color/Curves.cpp"
#include <hwy/foreach_target.h>

#include "CurveTable-inl.h"
#include "EMULSION/Channels.h"
#include "EMULSION/Curves.h"
#include "Luma-inl.h"
#include "PixelMap-inl.h"

HWY_BEFORE_NAMESPACE();
namespace EMULSION::HWY_NAMESPACE
{

namespace
{

struct RGBACurvesFormula
{
    Private::Curve curves[4];

    template <class D>
    hn::Vec<D> operator()(D d, hn::Vec<D> x, int channel) const
    {
        return evaluate(d, curves[channel], x);
    }
};

struct LumaCurveFormula
{
    Imath::C3f coefficients;
    Private::Curve curve;

    template <class D, class V = hn::Vec<D>>
    void operator()(D d, V& r, V& g, V& b, V&) const
    {
        const V luma = lumaOf(d, coefficients, r, g, b);
        const V wanted = evaluate(d, curve, luma);
        const V factor = hn::Div(wanted, luma);
        const V offset = hn::Sub(wanted, luma);
        const auto isLight = hn::Gt(luma, hn::Zero(d));
        for (V* value : {&r, &g, &b})
            *value = hn::IfThenElse(isLight, hn::Mul(*value, factor), hn::Add(*value, offset));
    }
};

}

PixelOperationPtr rgbaCurvesOperation(const Private::CurveTable* tables)
{
    RGBACurvesFormula formula;
    uint64_t affected = 0;
    for (int channel = 0; channel < 4; ++channel)
    {
        formula.curves[channel] = tables[channel].curve();
        if (!tables[channel].isIdentity())
            affected |= uint64_t(1) << channel;
    }
    return mapValues("ApplyRGBACurves", formula, affected);
}

PixelOperationPtr lumaCurveOperation(const Imath::C3f& coefficients,
                                     const Private::CurveTable& table)
{
    const uint64_t affected = table.isIdentity() ? 0 : ChannelsRGB;
    return mapPixels("ApplyLumaCurve", LumaCurveFormula{coefficients, table.curve()}, affected,
                     affected);
}

}
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

#include "KeptTables.h"
#include "SimdDispatch.h"

namespace EMULSION
{

HWY_EXPORT(rgbaCurvesOperation);
HWY_EXPORT(lumaCurveOperation);

namespace
{

struct FourTables
{
    FourTables(const CurvePoints& red, const CurvePoints& green, const CurvePoints& blue,
               const CurvePoints& alpha)
        : tables{Private::CurveTable(red), Private::CurveTable(green), Private::CurveTable(blue),
                 Private::CurveTable(alpha)}
    {}

    const Private::CurveTable tables[4];
};

}

PixelOperationPtr makeRGBACurvesOperation(const CurvePoints& red, const CurvePoints& green,
                                          const CurvePoints& blue, const CurvePoints& alpha)
{
    const auto four = std::make_shared<const FourTables>(red, green, blue, alpha);
    return Private::keeping(four, EMULSION_DISPATCH(rgbaCurvesOperation)(four->tables));
}

void ApplyRGBACurves(const Image* output, const Image* input, const float* red, size_t redCount,
                     const float* green, size_t greenCount, const float* blue, size_t blueCount,
                     const float* alpha, size_t alphaCount)
{
    Run(output, input,
        *makeRGBACurvesOperation({red, redCount}, {green, greenCount}, {blue, blueCount},
                                 {alpha, alphaCount}));
}

void ApplyRGBACurvesColor(Imath::Color4f& out, const Imath::Color4f& color, const float* red,
                          size_t redCount, const float* green, size_t greenCount, const float* blue,
                          size_t blueCount, const float* alpha, size_t alphaCount)
{
    out = Run(color, *makeRGBACurvesOperation({red, redCount}, {green, greenCount},
                                              {blue, blueCount}, {alpha, alphaCount}));
}

PixelOperationPtr makeLumaCurveOperation(const Imath::C3f& lumaCoefficients,
                                         const CurvePoints& curve)
{
    const auto table = std::make_shared<const Private::CurveTable>(curve);
    return Private::keeping(table, EMULSION_DISPATCH(lumaCurveOperation)(lumaCoefficients, *table));
}

void ApplyLumaCurve(const Image* output, const Image* input, const Imath::C3f& lumaCoefficients,
                    const float* curve, size_t count)
{
    Run(output, input, *makeLumaCurveOperation(lumaCoefficients, {curve, count}));
}

void ApplyLumaCurveColor(Imath::Color4f& out, const Imath::Color4f& color,
                         const Imath::C3f& lumaCoefficients, const float* curve, size_t count)
{
    out = Run(color, *makeLumaCurveOperation(lumaCoefficients, {curve, count}));
}

}

#endif
