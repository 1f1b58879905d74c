#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "color/HueCurves.cpp"
#include <hwy/foreach_target.h>

#include <vector>

#include "EMULSION/Channels.h"
#include "EMULSION/Curves.h"
#include "Hsv-inl.h"
#include "LoadFours-inl.h"
#include "Luma-inl.h"
#include "PixelMap-inl.h"

#ifndef EMULSION_HUE_TABLES
#define EMULSION_HUE_TABLES
namespace EMULSION::Private
{

// The values at one hue, and by how much each differs at the next one. Three times four floats.
struct alignas(16) HueEntry
{
    struct Value
    {
        float here = 0.0f, rise = 0.0f;
    };

    Value saturation, suppression, red, green, blue, unused;
};

// One for each of `count` hues around the circle, and again for the first.
struct HueTables
{
    std::vector<HueEntry> entries;
    float count = 0.0f;
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
    const Private::HueEntry* entries;
    float count;

    template <class D, class V = hn::Vec<D>>
    void operator()(D d, V& r, V& g, V& b, V&) const
    {
        V hue = r, weight = g, value = b;
        rgbToHsv(d, hue, weight, value);
        weight = clampedToUnit(d, weight);
        V saturation, strength, changes[3];
        lookUp(d, hue, saturation, strength, changes);

        const V luma = lumaOf(d, coefficients, r, g, b);
        scaleChroma(d, luma, weighted(d, saturation, weight), r, g, b);

        const V lostRed = excess(d, strength, suppressed.x, r, largerOf(g, b));
        const V lostGreen = excess(d, strength, suppressed.y, g, largerOf(r, b));
        const V lostBlue = excess(d, strength, suppressed.z, b, largerOf(r, g));
        r = shifted(d, hn::Sub(r, lostRed), changes[0], weight);
        g = shifted(d, hn::Sub(g, lostGreen), changes[1], weight);
        b = shifted(d, hn::Sub(b, lostBlue), changes[2], weight);
    }

private:
    // Where the hue is NaN, so are the values.
    template <class D, class V>
    void lookUp(D d, V hue, V& saturation, V& strength, V (&changes)[3]) const
    {
        const hn::RebindToSigned<D> di;
        const V hues = hn::Set(d, count);
        const auto entry = hn::ConvertTo(di, hn::Mul(clampedToUnit(d, hue), hues));
        const V part = hn::Sub(hn::Mul(hue, hues), hn::ConvertTo(d, entry));

        constexpr int32_t floats = sizeof(Private::HueEntry) / sizeof(float);
        HWY_ALIGN int32_t offsets[hn::MaxLanes(D())];
        hn::Store(hn::Mul(entry, hn::Set(di, floats)), di, offsets);
        const auto between = [part](V here, V rise) { return hn::Add(here, hn::Mul(part, rise)); };
        V fours[4];
        loadFours(d, &entries->saturation.here, offsets, fours);
        saturation = between(fours[0], fours[1]);
        strength = between(fours[2], fours[3]);
        loadFours(d, &entries->red.here, offsets, fours);
        changes[0] = between(fours[0], fours[1]);
        changes[1] = between(fours[2], fours[3]);
        loadFours(d, &entries->blue.here, offsets, fours);
        changes[2] = between(fours[0], fours[1]);
    }

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
    const HueCurvesFormula formula{coefficients, suppressed, additive, tables.entries.data(),
                                   tables.count};
    const uint64_t affected = tables.entries.empty() ? 0 : ChannelsRGB;
    return mapPixels("HueCurves", formula, affected, affected);
}

}
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

#include <cmath>

#include "KeptTables.h"
#include "SimdDispatch.h"

namespace EMULSION
{

HWY_EXPORT(hueCurvesOperation);

namespace
{

using Private::HueEntry;

// A value from which there is no finite way to the next one holds up to it.
HueEntry::Value valueAt(const float* table, size_t count, size_t i)
{
    const float here = table[i % count], next = table[(i + 1) % count];
    const float rise = next - here;
    return {here, std::isfinite(rise) ? rise : 0.0f};
}

}

PixelOperationPtr makeHueCurvesOperation(const Imath::C3f& lumaCoefficients, size_t count,
                                         bool additive, const Imath::C3f& suppressed,
                                         const float* saturation, const float* suppression,
                                         const float* red, const float* green, const float* blue)
{
    const auto tables = std::make_shared<Private::HueTables>();
    tables->count = static_cast<float>(count);
    // As far as rounding of the count may lead.
    const size_t last = static_cast<size_t>(tables->count);
    for (size_t i = 0; count > 0 && i <= last; ++i)
    {
        const auto at = [&](const float* table) { return valueAt(table, count, i); };
        tables->entries.push_back(
            {at(saturation), at(suppression), at(red), at(green), at(blue), {}});
    }
    return Private::keeping<Private::HueTables>(
        tables,
        EMULSION_DISPATCH(hueCurvesOperation)(lumaCoefficients, additive, suppressed, *tables));
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
