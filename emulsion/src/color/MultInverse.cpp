#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "color/MultInverse.cpp"
#include <hwy/foreach_target.h>

#include "EMULSION/Color.h"
#include "PixelMap-inl.h"

HWY_BEFORE_NAMESPACE();
namespace EMULSION::HWY_NAMESPACE
{

namespace
{

struct MultInverseFormula
{
    template <class D>
    hn::Vec<D> operator()(D d, hn::Vec<D> x) const
    {
        return hn::IfThenZeroElse(hn::Eq(x, hn::Zero(d)), hn::Div(hn::Set(d, 1.0f), x));
    }
};

}

PixelOperationPtr multInverseOperation()
{
    return mapValues("MultInverse", MultInverseFormula{});
}

}
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

#include "SimdDispatch.h"

namespace EMULSION
{

HWY_EXPORT(multInverseOperation);

PixelOperationPtr makeMultInverseOperation()
{
    return EMULSION_DISPATCH(multInverseOperation)();
}

void MultInverse(const Image* output, const Image* input)
{
    Run(output, input, *makeMultInverseOperation());
}

void MultInverseColor(Imath::Color4f& out, const Imath::Color4f& color)
{
    out = Run(color, *makeMultInverseOperation());
}

}

#endif
