// Evaluates a curve for a vector of values, compiled for the instruction set at hand.
#if defined(EMULSION_CURVE_TABLE_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef EMULSION_CURVE_TABLE_INL_H_
#undef EMULSION_CURVE_TABLE_INL_H_
#else
#define EMULSION_CURVE_TABLE_INL_H_
#endif

#include <hwy/highway.h>

#include "CurveTable.h"

HWY_BEFORE_NAMESPACE();
namespace EMULSION::HWY_NAMESPACE
{

namespace hn = hwy::HWY_NAMESPACE;

// The number of the last knot at or below each place. The search relies on the bucket growing with
// the place: knots of lower buckets are below, and those of higher ones above.
template <class D>
hn::Vec<hn::RebindToSigned<D>> findKnot(D d, const Private::Curve& curve, hn::Vec<D> place,
                                        hn::Vec<hn::RebindToSigned<D>> bucket)
{
    const hn::RebindToSigned<D> di;
    if (!curve.starts)
    {
        // Nearly always the knot of the bucket: others cost a step, and no lookup more.
        const auto isBelow = hn::Lt(place, hn::GatherIndex(d, curve.places, bucket));
        if (hn::AllFalse(d, isBelow))
            return bucket;
        return hn::Add(bucket, hn::VecFromMask(di, hn::RebindMask(di, isBelow)));
    }
    auto knot = hn::GatherIndex(di, curve.starts, bucket);
    for (int32_t step = curve.longestStep; step > 0; step /= 2)
    {
        const auto reached = hn::Le(hn::GatherIndex(d, curve.places + step, knot), place);
        knot = hn::Add(knot, hn::IfThenElseZero(hn::RebindMask(di, reached), hn::Set(di, step)));
    }
    return knot;
}

// The curve's values at x: CurveTable tells what they are.
template <class D>
hn::Vec<D> evaluate(D d, const Private::Curve& curve, hn::Vec<D> x)
{
    if (curve.isIdentity())
        return x;
    const hn::RebindToSigned<D> di;
    const auto first = hn::Set(d, curve.first);
    const auto last = hn::Set(d, curve.last);
    const auto lastBucket = hn::Set(d, curve.lastBucket);
    // The comparisons are false for NaN, which so is looked up at a place that there is.
    auto place = hn::IfThenElse(hn::Gt(x, first), x, first);
    place = hn::IfThenElse(hn::Lt(place, last), place, last);
    auto bucket = hn::Mul(hn::Sub(place, hn::Set(d, curve.origin)), hn::Set(d, curve.scale));
    bucket = hn::IfThenElse(hn::Lt(bucket, lastBucket), bucket, lastBucket);
    const auto knot = findKnot(d, curve, place, hn::ConvertTo(di, bucket));
    const auto distance = hn::Sub(place, hn::GatherIndex(d, curve.places, knot));
    const auto inside = hn::Add(hn::GatherIndex(d, curve.values, knot),
                                hn::Mul(distance, hn::GatherIndex(d, curve.slopes, knot)));
    const auto value = hn::IfThenElse(hn::Lt(x, first), hn::Set(d, curve.below), inside);
    return hn::IfThenElse(hn::IsNaN(x), x, value);
}

}
HWY_AFTER_NAMESPACE();

#endif
