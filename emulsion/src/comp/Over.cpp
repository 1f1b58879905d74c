#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "comp/Over.cpp"
#include <hwy/foreach_target.h>

#include "Comparisons-inl.h"
#include "EMULSION/Composite.h"
#include "Sides-inl.h"

HWY_BEFORE_NAMESPACE();
namespace EMULSION::HWY_NAMESPACE
{

namespace
{

// Alpha as a weight: itself, or clamped.
template <bool Clamp, class D>
hn::Vec<D> weightOf(D d, hn::Vec<D> alpha)
{
    return Clamp ? clampedToUnit(d, alpha) : alpha;
}

// What a layer of that alpha lets through.
template <bool Clamp, class D>
hn::Vec<D> restOf(D d, hn::Vec<D> alpha)
{
    return hn::Sub(hn::Set(d, 1.0f), weightOf<Clamp>(d, alpha));
}

template <bool Clamp>
struct OverFormula
{
    template <class D, class V = hn::Vec<D>>
    V operator()(D d, V a, V b, V alphaA, V) const
    {
        return hn::Add(a, hn::Mul(b, restOf<Clamp>(d, alphaA)));
    }
};

template <bool Clamp>
struct AtopFormula
{
    template <class D, class V = hn::Vec<D>>
    V operator()(D d, V a, V b, V alphaA, V alphaB) const
    {
        return hn::Add(hn::Mul(a, weightOf<Clamp>(d, alphaB)),
                       hn::Mul(b, restOf<Clamp>(d, alphaA)));
    }
};

template <bool Clamp>
struct InFormula
{
    template <class D, class V = hn::Vec<D>>
    V operator()(D d, V a, V, V, V alphaB) const
    {
        return hn::Mul(a, weightOf<Clamp>(d, alphaB));
    }
};

template <bool Clamp>
struct OutFormula
{
    template <class D, class V = hn::Vec<D>>
    V operator()(D d, V a, V, V, V alphaB) const
    {
        return hn::Mul(a, restOf<Clamp>(d, alphaB));
    }
};

}

using Private::Side;

void over(const Image& output, const Side& a, const Side& b, bool clampAlpha)
{
    if (clampAlpha)
        combine(output, {a, b}, OverFormula<true>{});
    else
        combine(output, {a, b}, OverFormula<false>{});
}

void atop(const Image& output, const Side& a, const Side& b, bool clampAlpha)
{
    if (clampAlpha)
        combine(output, {a, b}, AtopFormula<true>{});
    else
        combine(output, {a, b}, AtopFormula<false>{});
}

void in(const Image& output, const Side& a, const Side& b, bool clampAlpha)
{
    if (clampAlpha)
        combine(output, {a, b}, InFormula<true>{});
    else
        combine(output, {a, b}, InFormula<false>{});
}

void out(const Image& output, const Side& a, const Side& b, bool clampAlpha)
{
    if (clampAlpha)
        combine(output, {a, b}, OutFormula<true>{});
    else
        combine(output, {a, b}, OutFormula<false>{});
}

}
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

#include "SimdDispatch.h"

namespace EMULSION
{

HWY_EXPORT(over);
HWY_EXPORT(atop);
HWY_EXPORT(in);
HWY_EXPORT(out);

void Over(const Image* output, const Image* a, const Image* b, bool clampAlpha,
          const Imath::Color4f& backgroundA, const Imath::Color4f& backgroundB)
{
    if (Private::isReady("Over", output, a, b))
        EMULSION_DISPATCH(over)(*output, {a, backgroundA}, {b, backgroundB}, clampAlpha);
}

Imath::Color4f Over(const Imath::Color4f& a, const Imath::Color4f& b, bool clampAlpha)
{
    return Private::onTwoColors(Over, a, b, clampAlpha);
}

void Atop(const Image* output, const Image* a, const Image* b, bool clampAlpha,
          const Imath::Color4f& backgroundA, const Imath::Color4f& backgroundB)
{
    if (Private::isReady("Atop", output, a, b))
        EMULSION_DISPATCH(atop)(*output, {a, backgroundA}, {b, backgroundB}, clampAlpha);
}

Imath::Color4f Atop(const Imath::Color4f& a, const Imath::Color4f& b, bool clampAlpha)
{
    return Private::onTwoColors(Atop, a, b, clampAlpha);
}

void In(const Image* output, const Image* a, const Image* b, bool clampAlpha,
        const Imath::Color4f& backgroundA, const Imath::Color4f& backgroundB)
{
    if (Private::isReady("In", output, a, b))
        EMULSION_DISPATCH(in)(*output, {a, backgroundA}, {b, backgroundB}, clampAlpha);
}

Imath::Color4f In(const Imath::Color4f& a, const Imath::Color4f& b, bool clampAlpha)
{
    return Private::onTwoColors(In, a, b, clampAlpha);
}

void Out(const Image* output, const Image* a, const Image* b, bool clampAlpha,
         const Imath::Color4f& backgroundA, const Imath::Color4f& backgroundB)
{
    if (Private::isReady("Out", output, a, b))
        EMULSION_DISPATCH(out)(*output, {a, backgroundA}, {b, backgroundB}, clampAlpha);
}

Imath::Color4f Out(const Imath::Color4f& a, const Imath::Color4f& b, bool clampAlpha)
{
    return Private::onTwoColors(Out, a, b, clampAlpha);
}

}

#endif
