#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "color/Premultiply.cpp"
#include <hwy/foreach_target.h>

#include "EMULSION/Premultiply.h"
#include "PixelMap-inl.h"

HWY_BEFORE_NAMESPACE();
namespace EMULSION::HWY_NAMESPACE
{

namespace
{

struct PremultiplyFormula
{
    template <class D, class V = hn::Vec<D>>
    void operator()(D, V& r, V& g, V& b, V& a) const
    {
        r = hn::Mul(r, a);
        g = hn::Mul(g, a);
        b = hn::Mul(b, a);
    }
};

// Alpha is written too: a -0 becomes 0.
struct UnpremultiplyFormula
{
    template <class D, class V = hn::Vec<D>>
    void operator()(D d, V& r, V& g, V& b, V& a) const
    {
        const auto isClear = hn::Eq(a, hn::Zero(d));
        r = hn::IfThenZeroElse(isClear, hn::Div(r, a));
        g = hn::IfThenZeroElse(isClear, hn::Div(g, a));
        b = hn::IfThenZeroElse(isClear, hn::Div(b, a));
        a = hn::IfThenZeroElse(isClear, a);
    }
};

}

PixelOperationPtr premultiplyOperation()
{
    return mapPixels("Premultiply", PremultiplyFormula{}, ChannelRed | ChannelGreen | ChannelBlue);
}

PixelOperationPtr unpremultiplyOperation()
{
    return mapPixels("Unpremultiply", UnpremultiplyFormula{});
}

}
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

#include "SimdDispatch.h"

namespace EMULSION
{

HWY_EXPORT(premultiplyOperation);
HWY_EXPORT(unpremultiplyOperation);

PixelOperationPtr makePremultiplyOperation()
{
    return EMULSION_DISPATCH(premultiplyOperation)();
}

void Premultiply(const Image* output, const Image* input)
{
    Run(output, input, *makePremultiplyOperation());
}

Imath::Color4f Premultiply(const Imath::Color4f& color)
{
    return Run(color, *makePremultiplyOperation());
}

PixelOperationPtr makeUnpremultiplyOperation()
{
    return EMULSION_DISPATCH(unpremultiplyOperation)();
}

void Unpremultiply(const Image* output, const Image* input)
{
    Run(output, input, *makeUnpremultiplyOperation());
}

Imath::Color4f Unpremultiply(const Imath::Color4f& color)
{
    return Run(color, *makeUnpremultiplyOperation());
}

}

#endif
