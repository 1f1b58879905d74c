#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "color/Contrast.cpp"
#include <hwy/foreach_target.h>

#include "EMULSION/Color.h"
#include "PixelMap-inl.h"

HWY_BEFORE_NAMESPACE();
namespace EMULSION::HWY_NAMESPACE
{

namespace
{

struct ContrastFormula
{
    Imath::Color4f contrast, pivot;

    template <class D>
    hn::Vec<D> operator()(D d, hn::Vec<D> x, int channel) const
    {
        const auto p = hn::Set(d, pivot[channel]);
        return hn::Add(hn::Mul(hn::Sub(x, p), hn::Set(d, contrast[channel])), p);
    }
};

}

PixelOperationPtr contrastOperation(const Imath::Color4f& contrast, const Imath::Color4f& pivot)
{
    return mapValues("Contrast", ContrastFormula{contrast, pivot});
}

}
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

#include "SimdDispatch.h"

namespace EMULSION
{

HWY_EXPORT(contrastOperation);

PixelOperationPtr makeContrastOperation(const Imath::Color4f& contrast, const Imath::Color4f& pivot)
{
    return EMULSION_DISPATCH(contrastOperation)(contrast, pivot);
}

void Contrast(const Image* output, const Image* input, const Imath::Color4f& contrast,
              const Imath::Color4f& pivot)
{
    Run(output, input, *makeContrastOperation(contrast, pivot));
}

Imath::Color4f Contrast(const Imath::Color4f& color, const Imath::Color4f& contrast,
                        const Imath::Color4f& pivot)
{
    return Run(color, *makeContrastOperation(contrast, pivot));
}

}

#endif
