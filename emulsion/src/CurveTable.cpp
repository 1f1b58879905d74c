#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "CurveTable.cpp"
#include <hwy/foreach_target.h>

#include "CurveTable-inl.h"

HWY_BEFORE_NAMESPACE();
namespace EMULSION::HWY_NAMESPACE
{

float curveValue(const Private::Curve& curve, float x)
{
    const hn::CappedTag<float, 1> d;
    return hn::GetLane(evaluate(d, curve, hn::Set(d, x)));
}

}
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

#include "SimdDispatch.h"

namespace EMULSION
{

HWY_EXPORT(curveValue);

namespace Private
{

namespace
{

constexpr float s_infinity = std::numeric_limits<float>::infinity();
constexpr size_t s_mostBuckets = size_t(1) << 22; // whose numbers all are floats
constexpr float s_most = std::numeric_limits<float>::max();

float toFloat(double value)
{
    return static_cast<float>(std::clamp<double>(value, -s_most, s_most));
}

// The steepest slope with which the line from a knot stays within what lies between it and the
// next: rounding could carry it past the end. The places differ by a finite float.
float slopeBetween(float place, float value, float nextPlace, float nextValue)
{
    const double exact = (double(nextValue) - value) / (double(nextPlace) - place);
    if (!std::isfinite(exact))
        return 0.0f;
    float slope = toFloat(exact);
    const auto overshoots = [&] {
        const float end = value + (nextPlace - place) * slope;
        return slope > 0.0f ? end > nextValue : end < nextValue;
    };
    while (slope != 0.0f && overshoots())
        slope = std::nextafter(slope, 0.0f);
    return slope;
}

}

// What is used of the points that were given: their places grow, and each has the value that the
// curve comes to from below and the one that it goes on from.
struct CurveTable::Points
{
    explicit Points(const CurvePoints& given)
    {
        for (size_t i = 0; given.points && i < given.count; ++i)
        {
            const float x = given.points[2 * i], y = given.points[2 * i + 1];
            if (!std::isfinite(x) || (!places.empty() && x < places.back()))
                continue;
            if (!places.empty() && x == places.back())
            {
                leaving.back() = y;
                continue;
            }
            places.push_back(x);
            reached.push_back(y);
            leaving.push_back(y);
        }
    }

    std::vector<float> places, reached, leaving;
};

CurveTable::CurveTable(const CurvePoints& points)
{
    const Points used(points);
    if (used.places.empty())
        return;
    setKnots(used);
    m_curve.first = m_knots.front().place;
    m_curve.last = m_knots.back().place;
    m_curve.below = used.reached.front();
    if (!findEvenBuckets())
        makeBuckets();
    m_curve.knots = m_knots.data();
    m_curve.knotCount = m_knots.size();
    if (m_knots.size() <= FewKnots::s_most)
        setFewKnots();
}

void CurveTable::setKnots(const Points& points)
{
    const size_t last = points.places.size() - 1;
    for (size_t i = 0; i < last; ++i)
        addKnot(points.places[i], points.leaving[i], points.places[i + 1], points.reached[i + 1]);
    m_knots.push_back({points.places[last], points.leaving[last], 0.0f});
}

// A distance or a difference beyond the largest float is taken in two halves.
void CurveTable::addKnot(float place, float value, float nextPlace, float nextValue)
{
    const double rise = double(nextValue) - value;
    const float middle = static_cast<float>((double(place) + nextPlace) / 2);
    const bool isLong =
        nextPlace - place > s_most || (std::isfinite(rise) && std::abs(rise) > s_most);
    if (isLong && place < middle && middle < nextPlace)
    {
        const float half = std::isfinite(rise) ? static_cast<float>(value + rise / 2) : value;
        addKnot(place, value, middle, half);
        addKnot(middle, half, nextPlace, nextValue);
        return;
    }
    m_knots.push_back({place, value, slopeBetween(place, value, nextPlace, nextValue)});
}

// A whole number of steps up to each knot, so that its number is that of its bucket. The origin
// stands a little below the first knot, that rounding may shift a place a little; the less it does,
// the fewer places just below a knot fall into its bucket and have to be looked up twice.
bool CurveTable::findEvenBuckets()
{
    if (m_knots.size() > s_mostBuckets)
        return false;
    for (double leeway = 1.0 / 4096; leeway <= 1.0 / 64; leeway *= 2)
    {
        if (fitEvenBuckets(leeway))
            return true;
    }
    return false;
}

bool CurveTable::fitEvenBuckets(double leeway)
{
    const auto lastKnot = static_cast<int32_t>(m_knots.size() - 1);
    const double step = lastKnot == 0 ? 1.0 : (double(m_curve.last) - m_curve.first) / lastKnot;
    m_curve.origin = toFloat(m_curve.first - leeway * step);
    m_curve.scale = toFloat(1.0 / step);
    m_curve.lastBucket = static_cast<float>(lastKnot);
    for (int32_t knot = 0; knot <= lastKnot; ++knot)
    {
        if (bucketOf(m_knots[static_cast<size_t>(knot)].place) != knot)
            return false;
    }
    return true;
}

// As many buckets as it takes to have a knot in each at most, unless that is a great many.
void CurveTable::makeBuckets()
{
    const size_t fewest = std::min(2 * std::bit_ceil(m_knots.size()), s_mostBuckets);
    const size_t most = std::clamp<size_t>(4 * fewest, 1024, s_mostBuckets);
    m_curve.origin = m_curve.first;
    size_t count = fewest;
    while (!fitBuckets(static_cast<int32_t>(count)) && count < most)
        count *= 2;
    std::ranges::transform(m_knots, std::back_inserter(m_places), &Knot::place);
    // The search looks at most so far behind the last knot.
    m_places.resize(m_places.size() + static_cast<size_t>(m_curve.longestStep), s_infinity);
    m_curve.places = m_places.data();
    m_curve.starts = m_starts.data();
}

// True when no bucket holds more than one knot.
bool CurveTable::fitBuckets(int32_t count)
{
    m_curve.scale = toFloat(count / (double(m_curve.last) - m_curve.first));
    m_curve.lastBucket = static_cast<float>(count - 1);
    m_starts.assign(static_cast<size_t>(count), 0);
    int32_t knot = 0, fullest = 0;
    for (int32_t bucket = 0; bucket < count; ++bucket)
    {
        const int32_t before = knot;
        m_starts[static_cast<size_t>(bucket)] = std::max(before - 1, 0);
        while (knot < std::ssize(m_knots) &&
               bucketOf(m_knots[static_cast<size_t>(knot)].place) <= bucket)
            ++knot;
        fullest = std::max(fullest, knot - before);
    }
    m_curve.longestStep = static_cast<int32_t>(std::bit_floor(static_cast<uint32_t>(fullest)));
    return fullest == 1;
}

// In the arithmetic of the search.
int32_t CurveTable::bucketOf(float place) const
{
    const float bucket = (place - m_curve.origin) * m_curve.scale;
    return static_cast<int32_t>(bucket < m_curve.lastBucket ? bucket : m_curve.lastBucket);
}

void CurveTable::setFewKnots()
{
    std::ranges::fill(m_few.places, s_infinity);
    std::ranges::transform(m_knots, m_few.places, &Knot::place);
    std::ranges::transform(m_knots, m_few.values, &Knot::value);
    std::ranges::transform(m_knots, m_few.slopes, &Knot::slope);
    m_few.longestStep = static_cast<int32_t>(std::bit_floor(m_knots.size() - 1));
    m_curve.few = &m_few;
}

float CurveTable::valueAt(float x) const
{
    return EMULSION_DISPATCH(curveValue)(m_curve, x);
}

}

}

#endif
