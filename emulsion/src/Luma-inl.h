// The lightness of colours, compiled for the instruction set at hand.
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

}
HWY_AFTER_NAMESPACE();

#endif
