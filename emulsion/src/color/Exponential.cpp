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

// sign(q) |q|^exponent
template <class D>
HWY_INLINE hn::Vec<D> mirroredPower(D d, hn::Vec<D> q, float exponent)
{
    const auto power = powOfPositive(d, hn::Abs(q), hn::Set(d, exponent));
    return hn::IfThenElse(hn::Lt(q, hn::Zero(d)), hn::Neg(power), power);
}

struct ExponentialFormula
{
    Imath::Color4f exponent, pivot;

    template <class D>
    hn::Vec<D> operator()(D d, hn::Vec<D> x, int channel) const
    {
        // Dividing and multiplying by 1 would change nothing, and take a tenth of the time.
        if (pivot[channel] == 1.0f)
            return mirroredPower(d, x, exponent[channel]);
        const auto p = hn::Set(d, pivot[channel]);
        return hn::Mul(p, mirroredPower(d, hn::Div(x, p), exponent[channel]));
    }
};

}

PixelOperationPtr exponentialOperation(const Imath::Color4f& exponent, const Imath::Color4f& pivot)
{
    ExponentialFormula formula{exponent, pivot};
    for (int channel = 0; channel < 4; ++channel)
    {
        if (pivot[channel] == 0.0f)
            formula.pivot[channel] = 1.0f;
    }
    return mapValues("Exponential", formula);
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
