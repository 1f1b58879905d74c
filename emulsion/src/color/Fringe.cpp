#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "color/Fringe.cpp"
#include <hwy/foreach_target.h>

#include "Comparisons-inl.h"
#include "EMULSION/Color.h"
#include "PixelMap-inl.h"

HWY_BEFORE_NAMESPACE();
namespace EMULSION::HWY_NAMESPACE
{

namespace
{

struct FringeFormula
{
    template <class D>
    hn::Vec<D> operator()(D d, hn::Vec<D> x) const
    {
        const auto one = hn::Set(d, 1.0f);
        const auto clamped = clampedToUnit(d, x);
        return hn::Sub(one, hn::Abs(hn::Sub(hn::Add(clamped, clamped), one)));
    }
};

}

PixelOperationPtr fringeOperation()
{
    return mapValues("Fringe", FringeFormula{});
}

}
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

#include "SimdDispatch.h"

namespace EMULSION
{

HWY_EXPORT(fringeOperation);

PixelOperationPtr makeFringeOperation()
{
    return EMULSION_DISPATCH(fringeOperation)();
}

void Fringe(const Image* output, const Image* input)
{
    Run(output, input, *makeFringeOperation());
}

void FringeColor(Imath::Color4f& out, const Imath::Color4f& color)
{
    out = Run(color, *makeFringeOperation());
}

}

#endif
