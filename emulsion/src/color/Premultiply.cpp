#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "color/Premultiply.cpp"
#include <hwy/foreach_target.h>

#include "EMULSION/Premultiply.h"
#include "PixelMap-inl.h"
#include "Sides-inl.h"

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

struct PremultiplyByFormula
{
    template <class D, class V = hn::Vec<D>>
    V operator()(D, V x, V, V, V alpha, int channel) const
    {
        return channel == s_alpha ? alpha : hn::Mul(x, alpha);
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

struct UnpremultiplyByFormula
{
    template <class D, class V = hn::Vec<D>>
    V operator()(D d, V x, V, V, V alpha, int channel) const
    {
        const V value = channel == s_alpha ? alpha : hn::Div(x, alpha);
        return hn::IfThenZeroElse(hn::Eq(alpha, hn::Zero(d)), value);
    }
};

}

PixelOperationPtr premultiplyOperation()
{
    return mapPixels("Premultiply", PremultiplyFormula{}, ChannelsRGB);
}

PixelOperationPtr unpremultiplyOperation()
{
    return mapPixels("Unpremultiply", UnpremultiplyFormula{});
}

void premultiplyBy(const Image& output, const Private::Side& color, const Private::Side& alpha)
{
    combine(output, {color, alpha}, PremultiplyByFormula{});
}

void unpremultiplyBy(const Image& output, const Private::Side& color, const Private::Side& alpha)
{
    combine(output, {color, alpha}, UnpremultiplyByFormula{});
}

}
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

#include "SimdDispatch.h"

namespace EMULSION
{

HWY_EXPORT(premultiplyOperation);
HWY_EXPORT(unpremultiplyOperation);
HWY_EXPORT(premultiplyBy);
HWY_EXPORT(unpremultiplyBy);

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

void Premultiply(const Image* output, const Image* color, const Image* alpha,
                 const Imath::Color4f& backgroundOfColor, const Imath::Color4f& backgroundOfAlpha)
{
    const Private::Side colorSide{color, backgroundOfColor}, alphaSide{alpha, backgroundOfAlpha};
    if (Private::isReady("Premultiply", output, color, alpha))
        EMULSION_DISPATCH(premultiplyBy)(*output, colorSide, alphaSide);
}

Imath::Color4f Premultiply(const Imath::Color4f& color, const Imath::Color4f& alpha)
{
    return Private::onTwoColors(Premultiply, color, alpha);
}

void Unpremultiply(const Image* output, const Image* color, const Image* alpha,
                   const Imath::Color4f& backgroundOfColor, const Imath::Color4f& backgroundOfAlpha)
{
    const Private::Side colorSide{color, backgroundOfColor}, alphaSide{alpha, backgroundOfAlpha};
    if (Private::isReady("Unpremultiply", output, color, alpha))
        EMULSION_DISPATCH(unpremultiplyBy)(*output, colorSide, alphaSide);
}

Imath::Color4f Unpremultiply(const Imath::Color4f& color, const Imath::Color4f& alpha)
{
    return Private::onTwoColors(Unpremultiply, color, alpha);
}

}

#endif
