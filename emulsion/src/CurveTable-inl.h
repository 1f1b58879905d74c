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

// What the lanes' knots hold, by their numbers. Single loads and not gathers: on processors that
// are guarded against what gathers give away, these are slower.
template <class D, class V = hn::Vec<D>>
void loadKnots(D d, const Private::Knot* knots, const int32_t* numbers, V& place, V& value,
               V& slope)
{
    if constexpr (hn::MaxLanes(D()) == 1)
    {
        const Private::Knot& knot = knots[*numbers];
        place = hn::Set(d, knot.place);
        value = hn::Set(d, knot.value);
        slope = hn::Set(d, knot.slope);
    }
#if HWY_TARGET != HWY_SCALAR
    else if constexpr (hn::MaxLanes(D()) == 4)
    {
        const auto load = [&](int lane) { return hn::Load(d, &knots[numbers[lane]].place); };
        const auto knot0 = load(0), knot1 = load(1), knot2 = load(2), knot3 = load(3);
        const auto even = hn::InterleaveLower(d, knot0, knot2);
        const auto odd = hn::InterleaveLower(d, knot1, knot3);
        place = hn::InterleaveLower(d, even, odd);
        value = hn::InterleaveUpper(d, even, odd);
        slope = hn::InterleaveLower(d, hn::InterleaveUpper(d, knot0, knot2),
                                    hn::InterleaveUpper(d, knot1, knot3));
    }
    else
    {
        const hn::Half<D> half;
        hn::Vec<decltype(half)> places[2], values[2], slopes[2];
        for (size_t i : {0, 1})
            loadKnots(half, knots, numbers + i * hn::Lanes(half), places[i], values[i], slopes[i]);
        place = hn::Combine(d, places[1], places[0]);
        value = hn::Combine(d, values[1], values[0]);
        slope = hn::Combine(d, slopes[1], slopes[0]);
    }
#endif
}

// Turns the numbers of buckets into those of the last knots at or below the places. Knots of lower
// buckets are below a place, and those of higher ones above it, because the bucket grows with the
// place.
inline void searchKnots(const Private::Curve& curve, const float* places, int32_t* numbers,
                        size_t count)
{
    for (size_t i = 0; i < count; ++i)
    {
        int32_t knot = curve.starts[numbers[i]];
        for (int32_t step = curve.longestStep; step > 0; step /= 2)
            knot += curve.places[knot + step] <= places[i] ? step : 0;
        numbers[i] = knot;
    }
}

// The curve's values at x: CurvePoints tells what they are.
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

    HWY_ALIGN int32_t numbers[hn::MaxLanes(D())];
    const auto bucketNumbers = hn::ConvertTo(di, bucket);
    hn::Store(bucketNumbers, di, numbers);
    if (curve.starts)
    {
        HWY_ALIGN float places[hn::MaxLanes(D())];
        hn::Store(place, d, places);
        searchKnots(curve, places, numbers, hn::Lanes(d));
    }
    hn::Vec<D> knotPlace, knotValue, slope;
    loadKnots(d, curve.knots, numbers, knotPlace, knotValue, slope);
    const auto isBelow = hn::Lt(place, knotPlace);
    if (HWY_UNLIKELY(!hn::AllFalse(d, isBelow)))
    {
        // Evenly spaced knots: a little below one it is the knot before.
        const auto before = hn::VecFromMask(di, hn::RebindMask(di, isBelow));
        hn::Store(hn::Add(bucketNumbers, before), di, numbers);
        loadKnots(d, curve.knots, numbers, knotPlace, knotValue, slope);
    }
    const auto inside = hn::Add(knotValue, hn::Mul(hn::Sub(place, knotPlace), slope));
    const auto value = hn::IfThenElse(hn::Lt(x, first), hn::Set(d, curve.below), inside);
    return hn::IfThenElse(hn::IsNaN(x), x, value);
}

}
HWY_AFTER_NAMESPACE();

#endif
