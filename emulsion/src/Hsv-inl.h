// Hue, saturation and value (A. R. Smith, "Color Gamut Transform Pairs", 1978) over vectors.
#if defined(EMULSION_HSV_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef EMULSION_HSV_INL_H_
#undef EMULSION_HSV_INL_H_
#else
#define EMULSION_HSV_INL_H_
#endif

#include <limits>

#include <hwy/highway.h>

#include "Comparisons-inl.h"

HWY_BEFORE_NAMESPACE();
namespace EMULSION::HWY_NAMESPACE
{

namespace hn = hwy::HWY_NAMESPACE;

// Red, green and blue become hue, in turns from 0 to 1, saturation and value. Grey has neither hue
// nor saturation.
template <class D, class V = hn::Vec<D>>
void rgbToHsv(D d, V& r, V& g, V& b)
{
    const V zero = hn::Zero(d);
    const V value = largerOf(largerOf(r, g), b);
    const V range = hn::Sub(value, smallerOf(smallerOf(r, g), b));
    const V sixRanges = hn::Mul(hn::Set(d, 6.0f), range);
    const V nearRed = hn::Div(hn::Sub(g, b), sixRanges);
    const V nearGreen = hn::Add(hn::Div(hn::Sub(b, r), sixRanges), hn::Set(d, 1.0f / 3.0f));
    const V nearBlue = hn::Add(hn::Div(hn::Sub(r, g), sixRanges), hn::Set(d, 2.0f / 3.0f));
    const V others = hn::IfThenElse(hn::Eq(g, value), nearGreen, nearBlue);
    const V hue = hn::IfThenElse(hn::Eq(r, value), nearRed, others);
    const V turned = hn::IfThenElse(hn::Lt(hue, zero), hn::Add(hue, hn::Set(d, 1.0f)), hue);
    const auto isGrey = hn::Eq(range, zero);
    r = hn::IfThenZeroElse(isGrey, turned);
    g = hn::IfThenZeroElse(isGrey, hn::Div(range, value));
    b = value;
}

// The way back: `r`, `g` and `b` hold hue, saturation and value, and become red, green and blue.
// Any finite hue is brought into range; one that is not finite counts as 0.
template <class D, class V = hn::Vec<D>>
void hsvToRgb(D d, V& r, V& g, V& b)
{
    const V one = hn::Set(d, 1.0f);
    const V saturation = g, v = b;
    const auto isFinite = hn::Le(hn::Abs(r), hn::Set(d, std::numeric_limits<float>::max()));
    const V hue = hn::IfThenElseZero(isFinite, r);
    const V x = hn::Mul(hn::Set(d, 6.0f), hn::Sub(hue, hn::Floor(hue)));
    const V sector = hn::Floor(x);
    const V f = hn::Sub(x, sector);
    const V p = hn::Mul(hn::Sub(one, saturation), v);
    const V q = hn::Mul(hn::Sub(one, hn::Mul(saturation, f)), v);
    const V t = hn::Mul(hn::Sub(one, hn::Mul(saturation, hn::Sub(one, f))), v);
    const auto isSector = [&](float number) { return hn::Eq(sector, hn::Set(d, number)); };
    // As of sector 0, in which a hue just below 0 lands, too: it rounds up to a whole turn.
    V red = v, green = t, blue = p;
    const auto inSector = [&](float number, V sectorRed, V sectorGreen, V sectorBlue) {
        red = hn::IfThenElse(isSector(number), sectorRed, red);
        green = hn::IfThenElse(isSector(number), sectorGreen, green);
        blue = hn::IfThenElse(isSector(number), sectorBlue, blue);
    };
    inSector(1, q, v, p);
    inSector(2, p, v, t);
    inSector(3, p, q, v);
    inSector(4, t, p, v);
    inSector(5, v, p, q);
    const auto isGrey = hn::Eq(saturation, hn::Zero(d));
    r = hn::IfThenElse(isGrey, v, red);
    g = hn::IfThenElse(isGrey, v, green);
    b = hn::IfThenElse(isGrey, v, blue);
}

}
HWY_AFTER_NAMESPACE();

#endif
