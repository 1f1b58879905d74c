// Evaluates a curve for a vector of values, compiled for the instruction set at hand.
#if defined(EMULSION_CURVE_TABLE_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef EMULSION_CURVE_TABLE_INL_H_
#undef EMULSION_CURVE_TABLE_INL_H_
#else
#define EMULSION_CURVE_TABLE_INL_H_
#endif

#include <hwy/highway.h>

#include "CurveTable.h"
#include "LoadFours-inl.h"

HWY_BEFORE_NAMESPACE();
namespace EMULSION::HWY_NAMESPACE
{

namespace hn = hwy::HWY_NAMESPACE;

// Where in memory the last knots at or below the places are, which are in these buckets. Knots of
// lower buckets are below a place, and those of higher ones above it, because the bucket grows with
// the place.
template <class D, class VI>
void searchKnots(D d, const Private::Curve& curve, hn::Vec<D> place, VI bucket, int32_t* offsets)
{
    HWY_ALIGN float places[hn::MaxLanes(D())];
    HWY_ALIGN int32_t buckets[hn::MaxLanes(D())];
    hn::Store(place, d, places);
    hn::Store(bucket, hn::RebindToSigned<D>(), buckets);
    for (size_t i = 0; i < hn::Lanes(d); ++i)
    {
        int32_t knot = curve.starts[buckets[i]];
        for (int32_t step = curve.longestStep; step > 0; step /= 2)
            knot += curve.places[knot + step] <= places[i] ? step : 0;
        offsets[i] = knot * Private::Knot::s_floats;
    }
}

// The last knots at or below the places, and what they hold.
template <class D, class V = hn::Vec<D>>
void findKnots(D d, const Private::Curve& curve, V place, V& knotPlace, V& value, V& slope)
{
    const hn::RebindToSigned<D> di;
    const auto lastBucket = hn::Set(d, curve.lastBucket);
    auto bucket = hn::Mul(hn::Sub(place, hn::Set(d, curve.origin)), hn::Set(d, curve.scale));
    bucket = hn::IfThenElse(hn::Lt(bucket, lastBucket), bucket, lastBucket);
    const auto number = hn::ConvertTo(di, bucket);
    static_assert(Private::Knot::s_floats == 4);

    HWY_ALIGN int32_t offsets[hn::MaxLanes(D())];
    V knots[4];
    const auto load = [&] {
        loadFours(d, &curve.knots->place, offsets, knots);
        knotPlace = knots[0];
        value = knots[1];
        slope = knots[2];
    };
    if (curve.starts)
    {
        searchKnots(d, curve, place, number, offsets);
        load();
        return;
    }
    hn::Store(hn::ShiftLeft<2>(number), di, offsets);
    load();
    const auto isBelow = hn::Lt(place, knotPlace);
    if (HWY_UNLIKELY(!hn::AllFalse(d, isBelow)))
    {
        // A little below an evenly spaced knot it is the one before.
        const auto before = hn::VecFromMask(di, hn::RebindMask(di, isBelow));
        hn::Store(hn::ShiftLeft<2>(hn::Add(number, before)), di, offsets);
        load();
    }
}

// The same where the knots are so few that they fit in a vector.
template <class D, class V = hn::Vec<D>>
void findFewKnots(D d, const Private::FewKnots& knots, V place, V& knotPlace, V& value, V& slope)
{
    static_assert(hn::MaxLanes(D()) <= Private::FewKnots::s_most);
    const hn::RebindToSigned<D> di;
    const auto lookUp = [d](const float* table, hn::VFromD<decltype(di)> numbers) {
        return hn::TableLookupLanes(hn::Load(d, table), hn::IndicesFromVec(d, numbers));
    };
    auto knot = hn::Zero(di);
    for (int32_t step = knots.longestStep; step > 0; step /= 2)
    {
        const auto next = hn::Add(knot, hn::Set(di, step));
        const auto isReached = hn::Le(lookUp(knots.places, next), place);
        knot = hn::IfThenElse(hn::RebindMask(di, isReached), next, knot);
    }
    knotPlace = lookUp(knots.places, knot);
    value = lookUp(knots.values, knot);
    slope = lookUp(knots.slopes, knot);
}

// The curve's values at x: CurvePoints tells what they are.
template <class D>
hn::Vec<D> evaluate(D d, const Private::Curve& curve, hn::Vec<D> x)
{
    if (curve.isIdentity())
        return x;
    const auto first = hn::Set(d, curve.first);
    const auto last = hn::Set(d, curve.last);
    // The comparisons are false for NaN, which so is looked up at a place that there is.
    auto place = hn::IfThenElse(hn::Gt(x, first), x, first);
    place = hn::IfThenElse(hn::Lt(place, last), place, last);
    hn::Vec<D> knotPlace, knotValue, slope;
    if (curve.knotCount <= hn::Lanes(d))
        findFewKnots(d, *curve.few, place, knotPlace, knotValue, slope);
    else
        findKnots(d, curve, place, knotPlace, knotValue, slope);
    const auto inside = hn::Add(knotValue, hn::Mul(hn::Sub(place, knotPlace), slope));
    const auto value = hn::IfThenElse(hn::Lt(x, first), hn::Set(d, curve.below), inside);
    return hn::IfThenElse(hn::IsNaN(x), x, value);
}

}
HWY_AFTER_NAMESPACE();

#endif
