#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "comp/Extremes.cpp"
#include <hwy/foreach_target.h>

#include "EMULSION/Composite.h"
#include "Sides-inl.h"

HWY_BEFORE_NAMESPACE();
namespace EMULSION::HWY_NAMESPACE
{

namespace
{

// Comparisons and not Max and Min, whose answer to NaN differs between instruction sets. So does
// that of Ne.
template <bool ByMagnitude>
struct MaxFormula
{
    template <class D, class V = hn::Vec<D>>
    V operator()(D, V a, V b) const
    {
        const auto bIsLarger = ByMagnitude ? hn::Gt(hn::Abs(b), hn::Abs(a)) : hn::Gt(b, a);
        return hn::IfThenElse(hn::Or(bIsLarger, hn::IsNaN(a)), b, a);
    }
};

template <bool ByMagnitude>
struct MinFormula
{
    template <class D, class V = hn::Vec<D>>
    V operator()(D, V a, V b) const
    {
        const auto bIsSmaller = ByMagnitude ? hn::Lt(hn::Abs(b), hn::Abs(a)) : hn::Lt(b, a);
        return hn::IfThenElse(hn::Or(bIsSmaller, hn::IsNaN(a)), b, a);
    }
};

template <bool MaxOutside>
struct ScreenFormula
{
    template <class D, class V = hn::Vec<D>>
    V operator()(D d, V a, V b) const
    {
        const auto screened = hn::Sub(hn::Add(a, b), hn::Mul(a, b));
        if constexpr (!MaxOutside)
            return screened;
        const auto isOutside = [&](V x) {
            return hn::Or(hn::Lt(x, hn::Zero(d)), hn::Gt(x, hn::Set(d, 1.0f)));
        };
        return hn::IfThenElse(hn::Or(isOutside(a), isOutside(b)), MaxFormula<false>()(d, a, b),
                              screened);
    }
};

}

using Private::Side;

void max(const Image& output, const Side& a, const Side& b, bool byMagnitude)
{
    if (byMagnitude)
        combine(output, {a, b}, MaxFormula<true>{});
    else
        combine(output, {a, b}, MaxFormula<false>{});
}

void min(const Image& output, const Side& a, const Side& b, bool byMagnitude)
{
    if (byMagnitude)
        combine(output, {a, b}, MinFormula<true>{});
    else
        combine(output, {a, b}, MinFormula<false>{});
}

void screen(const Image& output, const Side& a, const Side& b, bool maxOutside)
{
    if (maxOutside)
        combine(output, {a, b}, ScreenFormula<true>{});
    else
        combine(output, {a, b}, ScreenFormula<false>{});
}

}
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

#include "SimdDispatch.h"

namespace EMULSION
{

HWY_EXPORT(max);
HWY_EXPORT(min);
HWY_EXPORT(screen);

void Max(const Image* output, const Image* a, const Image* b, bool byMagnitude,
         const Imath::Color4f& backgroundA, const Imath::Color4f& backgroundB)
{
    if (Private::isReady("Max", output, a, b))
        EMULSION_DISPATCH(max)(*output, {a, backgroundA}, {b, backgroundB}, byMagnitude);
}

Imath::Color4f Max(const Imath::Color4f& a, const Imath::Color4f& b, bool byMagnitude)
{
    return Private::onTwoColors(Max, a, b, byMagnitude);
}

void Min(const Image* output, const Image* a, const Image* b, bool byMagnitude,
         const Imath::Color4f& backgroundA, const Imath::Color4f& backgroundB)
{
    if (Private::isReady("Min", output, a, b))
        EMULSION_DISPATCH(min)(*output, {a, backgroundA}, {b, backgroundB}, byMagnitude);
}

Imath::Color4f Min(const Imath::Color4f& a, const Imath::Color4f& b, bool byMagnitude)
{
    return Private::onTwoColors(Min, a, b, byMagnitude);
}

void Screen(const Image* output, const Image* a, const Image* b, bool maxOutside,
            const Imath::Color4f& backgroundA, const Imath::Color4f& backgroundB)
{
    if (Private::isReady("Screen", output, a, b))
        EMULSION_DISPATCH(screen)(*output, {a, backgroundA}, {b, backgroundB}, maxOutside);
}

Imath::Color4f Screen(const Imath::Color4f& a, const Imath::Color4f& b, bool maxOutside)
{
    return Private::onTwoColors(Screen, a, b, maxOutside);
}

}

#endif
