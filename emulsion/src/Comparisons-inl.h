// Choices between values by comparison, and not by Min and Max, whose answer to NaN differs between
// instruction sets.
#if defined(EMULSION_COMPARISONS_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef EMULSION_COMPARISONS_INL_H_
#undef EMULSION_COMPARISONS_INL_H_
#else
#define EMULSION_COMPARISONS_INL_H_
#endif

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace EMULSION::HWY_NAMESPACE
{

namespace hn = hwy::HWY_NAMESPACE;

// The smaller (larger) of two. Where either is NaN, it is the first of them.
template <class V>
V smallerOf(V first, V second)
{
    return hn::IfThenElse(hn::Lt(second, first), second, first);
}

template <class V>
V largerOf(V first, V second)
{
    return hn::IfThenElse(hn::Lt(first, second), second, first);
}

// From 0 to 1; NaN is 0.
template <class D, class V = hn::Vec<D>>
V clampedToUnit(D d, V x)
{
    return hn::IfThenElseZero(hn::Gt(x, hn::Zero(d)), smallerOf(hn::Set(d, 1.0f), x));
}

}
HWY_AFTER_NAMESPACE();

#endif
