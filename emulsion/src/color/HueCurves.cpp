#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "color/HueCurves.cpp"
#include <hwy/foreach_target.h>

#include "CurveTable-inl.h"
#include "Hsv-inl.h"
#include "Luma-inl.h"
#include "PixelMap-inl.h"

#ifndef EMULSION_HUE_TABLES
#define EMULSION_HUE_TABLES
namespace EMULSION::Private
{

// Curves over hues from 0 to 1.
struct HueTables
{
    CurveTable saturation, suppression, red, green, blue;
};

}
#endif

HWY_BEFORE_NAMESPACE();
namespace EMULSION::HWY_NAMESPACE
{

namespace
{

struct HueCurvesFormula
{
    Imath::C3f coefficients, suppressed;
    bool additive;
    Private::Curve saturation, suppression, red, green, blue;

    template <class D, class V = hn::Vec<D>>
    void operator()(D d, V& r, V& g, V& b, V&) const
    {
        V hue = r, weight = g, value = b;
        rgbToHsv(d, hue, weight, value);
        weight = clampedToUnit(d, weight);

        const V luma = lumaOf(d, coefficients, r, g, b);
        scaleChroma(d, luma, weighted(d, evaluate(d, saturation, hue), weight), r, g, b);

        const V strength = evaluate(d, suppression, hue);
        const V lostRed = excess(d, strength, suppressed.x, r, largerOf(g, b));
        const V lostGreen = excess(d, strength, suppressed.y, g, largerOf(r, b));
        const V lostBlue = excess(d, strength, suppressed.z, b, largerOf(r, g));
        r = shifted(d, hn::Sub(r, lostRed), evaluate(d, red, hue), weight);
        g = shifted(d, hn::Sub(g, lostGreen), evaluate(d, green, hue), weight);
        b = shifted(d, hn::Sub(b, lostBlue), evaluate(d, blue, hue), weight);
    }

private:
    // A factor that counts more the more saturated a colour is.
    template <class D, class V>
    static V weighted(D d, V factor, V weight)
    {
        const V one = hn::Set(d, 1.0f);
        return hn::Add(one, hn::Mul(hn::Sub(factor, one), weight));
    }

    template <class D, class V>
    static V excess(D d, V strength, float share, V x, V others)
    {
        if (!(share > 0.0f))
            return hn::Zero(d);
        const V more = hn::Sub(x, others);
        const V limited = hn::IfThenElseZero(hn::Gt(more, hn::Zero(d)), more);
        return hn::Mul(hn::Mul(strength, hn::Set(d, share)), limited);
    }

    template <class D, class V>
    V shifted(D d, V x, V change, V weight) const
    {
        if (additive)
            return hn::Add(x, hn::Mul(change, weight));
        return hn::Mul(x, weighted(d, change, weight));
    }
};

}

PixelOperationPtr hueCurvesOperation(const Imath::C3f& coefficients, bool additive,
                                     const Imath::C3f& suppressed, const Private::HueTables& tables)
{
    const HueCurvesFormula formula{coefficients,
                                   suppressed,
                                   additive,
                                   tables.saturation.curve(),
                                   tables.suppression.curve(),
                                   tables.red.curve(),
                                   tables.green.curve(),
                                   tables.blue.curve()};
    const uint64_t affected = tables.saturation.isIdentity() ? 0 : ChannelsRGB;
    return mapPixels("HueCurves", formula, affected, affected);
}

}
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

#include "KeptTables.h"
#include "SimdDispatch.h"

namespace EMULSION
{

HWY_EXPORT(hueCurvesOperation);

namespace
{

// A curve through the entries, the first of which stands at the end again. An empty table becomes a
// curve without points.
Private::CurveTable aroundTheCircle(const float* table, size_t count)
{
    std::vector<float> points;
    for (size_t i = 0; count > 0 && i <= count; ++i)
    {
        points.push_back(static_cast<float>(static_cast<double>(i) / static_cast<double>(count)));
        points.push_back(table[i % count]);
    }
    return Private::CurveTable({points.data(), points.size() / 2});
}

}

PixelOperationPtr makeHueCurvesOperation(const Imath::C3f& lumaCoefficients, size_t count,
                                         bool additive, const Imath::C3f& suppressed,
                                         const float* saturation, const float* suppression,
                                         const float* red, const float* green, const float* blue)
{
    const std::shared_ptr<const Private::HueTables> tables(new Private::HueTables{
        aroundTheCircle(saturation, count), aroundTheCircle(suppression, count),
        aroundTheCircle(red, count), aroundTheCircle(green, count), aroundTheCircle(blue, count)});
    return Private::keeping(tables, EMULSION_DISPATCH(hueCurvesOperation)(
                                        lumaCoefficients, additive, suppressed, *tables));
}

void HueCurves(const Image* output, const Image* input, const Imath::C3f& lumaCoefficients,
               size_t count, bool additive, const Imath::C3f& suppressed, const float* saturation,
               const float* suppression, const float* red, const float* green, const float* blue)
{
    Run(output, input,
        *makeHueCurvesOperation(lumaCoefficients, count, additive, suppressed, saturation,
                                suppression, red, green, blue));
}

void HueCurvesApply(Imath::Color4f& out, const Imath::Color4f& color,
                    const Imath::C3f& lumaCoefficients, size_t count, bool additive,
                    const Imath::C3f& suppressed, const float* saturation, const float* suppression,
                    const float* red, const float* green, const float* blue)
{
    out = Run(color, *makeHueCurvesOperation(lumaCoefficients, count, additive, suppressed,
                                             saturation, suppression, red, green, blue));
}

}

#endif
