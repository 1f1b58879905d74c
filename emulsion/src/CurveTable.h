#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "EMULSION/Curves.h"
#include "EMULSION/Export.h"

namespace EMULSION::Private
{

/// From its place up to the next knot the curve is value + (x - place) * slope, which never leaves
/// what lies between the values of the two.
struct alignas(16) Knot
{
    static constexpr int32_t s_floats = 4; // it is loaded as so many

    float place, value, slope;
    float unused = 0.0f;
};

/// Knots that are looked up in registers: as many as the longest vectors hold. Behind the
/// last one the places are infinite.
struct FewKnots
{
    static constexpr size_t s_most = 16;

    alignas(64) float places[s_most];
    float values[s_most] = {};
    float slopes[s_most] = {};
    int32_t longestStep = 0; // of the search, as below
};

/// What the vectors of CurveTable-inl.h read of a table: numbers and pointers, copied freely. It
/// lives no longer than its table.
struct Curve
{
    const Knot* knots = nullptr; // at growing places
    // By bucket: the number of the first knot that may be the last one at or below a place in it.
    // Null where the knots are so evenly spaced that this is the bucket's number, or the one below.
    const int32_t* starts = nullptr;
    const float* places = nullptr; // of the knots, for the search upwards from there
    int32_t longestStep = 0;       // of that search; steps are halved down to 1

    size_t knotCount = 0;
    const FewKnots* few = nullptr; // the same knots, if they are few

    float first = 0.0f; // the places of the first and the last knot
    float last = 0.0f;
    float below = 0.0f; // the value below the first one

    float origin = 0.0f; // a place's bucket is (place - origin) * scale, at most lastBucket
    float scale = 0.0f;
    float lastBucket = 0.0f;

    bool isIdentity() const { return knots == nullptr; }
};

/// The curve of CurvePoints, which tells what it makes of any points and values, prepared so that
/// finding a value's place costs the same however many points there are.
///
/// Made once for an operation; safe to read from any thread. Exported for the tests.
class EMULSION_API CurveTable
{
public:
    explicit CurveTable(const CurvePoints& points);
    CurveTable(const CurveTable&) = delete;
    CurveTable& operator=(const CurveTable&) = delete;

    const Curve& curve() const { return m_curve; }
    bool isIdentity() const { return m_curve.isIdentity(); }

    /// The same bits as a lane of a vector: NaN gives itself, infinities the values of the ends.
    float valueAt(float x) const;

private:
    struct Points;

    void setKnots(const Points& points);
    void addKnot(float place, float value, float nextPlace, float nextValue);
    bool findEvenBuckets();
    bool fitEvenBuckets(double leeway);
    void makeBuckets();
    void setFewKnots();
    bool fitBuckets(int32_t count);
    int32_t bucketOf(float place) const;

    std::vector<Knot> m_knots;
    std::vector<int32_t> m_starts;
    std::vector<float> m_places; // of the knots, and room behind them; only where there are starts
    FewKnots m_few;
    Curve m_curve;
};

}
