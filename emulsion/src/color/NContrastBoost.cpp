#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "color/NContrastBoost.cpp"
#include <hwy/foreach_target.h>

#include "EMULSION/Color.h"
#include "PixelMap-inl.h"
#include "VectorMath-inl.h"

HWY_BEFORE_NAMESPACE();
namespace EMULSION::HWY_NAMESPACE
{

namespace
{

// 6x^5 - 15x^4 + 10x^3, which is 0 at 0, 0.5 at 0.5 and 1 at 1, level at both ends. In doubles,
// because towards 1 the three terms nearly cancel out.
struct SmoothStep
{
    template <class DD, class V = hn::Vec<DD>>
    V operator()(DD dd, V x) const
    {
        const V x3 = hn::Mul(hn::Mul(x, x), x);
        const V x4 = hn::Mul(x3, x);
        const V x5 = hn::Mul(x4, x);
        const V difference = hn::Sub(hn::Mul(hn::Set(dd, 6.0), x5), hn::Mul(hn::Set(dd, 15.0), x4));
        return hn::Add(difference, hn::Mul(hn::Set(dd, 10.0), x3));
    }
};

struct NContrastBoostFormula
{
    float amount;
    bool boostAlpha;

    template <class D>
    hn::Vec<D> operator()(D d, hn::Vec<D> x, int channel) const
    {
        if (channel == s_alpha && !boostAlpha)
            return hn::Set(d, 1.0f);
        const auto curved = inDoubles(d, SmoothStep(), x);
        return hn::Add(hn::Mul(hn::Sub(curved, x), hn::Set(d, amount)), x);
    }
};

}

PixelOperationPtr nContrastBoostOperation(float amount, bool boostAlpha)
{
    return mapValues("NContrastBoost", NContrastBoostFormula{amount, boostAlpha});
}

}
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

#include "SimdDispatch.h"

namespace EMULSION
{

HWY_EXPORT(nContrastBoostOperation);

PixelOperationPtr makeNContrastBoostOperation(float amount, bool boostAlpha)
{
    return EMULSION_DISPATCH(nContrastBoostOperation)(amount, boostAlpha);
}

void NContrastBoost(const Image* output, const Image* input, float amount, bool boostAlpha)
{
    Run(output, input, *makeNContrastBoostOperation(amount, boostAlpha));
}

Imath::Color4f NContrastBoost(const Imath::Color4f& color, float amount, bool boostAlpha)
{
    return Run(color, *makeNContrastBoostOperation(amount, boostAlpha));
}

}

#endif
