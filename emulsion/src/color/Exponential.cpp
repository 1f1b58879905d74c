#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "color/Exponential.cpp"
#include <hwy/foreach_target.h>

#include "EMULSION/Tone.h"
#include "PixelMap-inl.h"
#include "VectorMath-inl.h"

HWY_BEFORE_NAMESPACE();
namespace EMULSION::HWY_NAMESPACE
{

namespace
{

struct ExponentialFormula
{
    Imath::Color4f exponent, pivot;

    template <class D>
    hn::Vec<D> operator()(D d, hn::Vec<D> x, int channel) const
    {
        const auto p = hn::Set(d, pivot[channel]);
        const auto q = hn::Div(x, p);
        const auto power = powOfPositive(d, hn::Abs(q), hn::Set(d, exponent[channel]));
        const auto isNegative = hn::Lt(q, hn::Zero(d));
        return hn::Mul(p, hn::IfThenElse(isNegative, hn::Neg(power), power));
    }
};

}

PixelOperationPtr exponentialOperation(const Imath::Color4f& exponent, const Imath::Color4f& pivot)
{
    // Dividing and multiplying by 1 changes nothing.
    Imath::Color4f divisor = pivot;
    for (int channel = 0; channel < 4; ++channel)
    {
        if (divisor[channel] == 0.0f)
            divisor[channel] = 1.0f;
    }
    return mapValues("Exponential", ExponentialFormula{exponent, divisor});
}

}
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

#include "SimdDispatch.h"

namespace EMULSION
{

HWY_EXPORT(exponentialOperation);

PixelOperationPtr makeExponentialOperation(const Imath::Color4f& exponent,
                                           const Imath::Color4f& pivot)
{
    return EMULSION_DISPATCH(exponentialOperation)(exponent, pivot);
}

void Exponential(const Image* output, const Image* input, const Imath::Color4f& exponent,
                 const Imath::Color4f& pivot)
{
    Run(output, input, *makeExponentialOperation(exponent, pivot));
}

Imath::Color4f Exponential(const Imath::Color4f& color, const Imath::Color4f& exponent,
                           const Imath::Color4f& pivot)
{
    return Run(color, *makeExponentialOperation(exponent, pivot));
}

}

#endif
