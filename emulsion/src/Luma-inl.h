// The luma of colours, and what is around it, compiled for the instruction set at hand.
#if defined(EMULSION_LUMA_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef EMULSION_LUMA_INL_H_
#undef EMULSION_LUMA_INL_H_
#else
#define EMULSION_LUMA_INL_H_
#endif

#include <hwy/highway.h>

#include <ImathColor.h>

HWY_BEFORE_NAMESPACE();
namespace EMULSION::HWY_NAMESPACE
{

namespace hn = hwy::HWY_NAMESPACE;

// (R r + G g) + B b.
template <class D, class V = hn::Vec<D>>
V lumaOf(D d, const Imath::C3f& coefficients, V r, V g, V b)
{
    const V redAndGreen =
        hn::Add(hn::Mul(r, hn::Set(d, coefficients.x)), hn::Mul(g, hn::Set(d, coefficients.y)));
    return hn::Add(redAndGreen, hn::Mul(b, hn::Set(d, coefficients.z)));
}

// Rec. ITU-R BT.709.
template <class D, class V = hn::Vec<D>>
V lumaOf(D d, V r, V g, V b)
{
    return lumaOf(d, Imath::C3f(0.2126f, 0.7152f, 0.0722f), r, g, b);
}

// Makes the difference of a colour from its luma `factor` times as large. Where that is 1, the
// colour stays to the bit.
template <class D, class V = hn::Vec<D>>
void scaleChroma(D d, V luma, V factor, V& r, V& g, V& b)
{
    const auto stays = hn::Eq(factor, hn::Set(d, 1.0f));
    for (V* value : {&r, &g, &b})
    {
        const V scaled = hn::Add(luma, hn::Mul(hn::Sub(*value, luma), factor));
        *value = hn::IfThenElse(stays, *value, scaled);
    }
}

}
HWY_AFTER_NAMESPACE();

#endif
