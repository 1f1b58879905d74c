#include <cmath>
#include <limits>

#include "CurveTable.h"
#include "emulsion/SimdScope.h"
#include "emulsion/TestImage.h"

using namespace EMULSION;
using namespace EmulsionTest;
using EMULSION::Private::CurveTable;
using QUILT::Test::forEachRandomCase;

namespace
{

constexpr float s_nan = std::numeric_limits<float>::quiet_NaN();
constexpr float s_infinity = std::numeric_limits<float>::infinity();

// Places in order: even, uneven, crowded, equal, huge.
std::vector<float> randomPoints(Random& random)
{
    const int64_t count = random.oneIn(8) ? random.between(100, 3000) : random.between(1, 12);
    const int64_t kind = random.between(0, 3);
    std::vector<float> points;
    double x = random.real(-3, 3);
    for (int64_t i = 0; i < count; ++i)
    {
        points.push_back(static_cast<float>(std::clamp(x, -3.4e38, 3.4e38)));
        points.push_back(random.oneIn(16) ? 1e20f * static_cast<float>(random.between(-1, 1))
                                          : static_cast<float>(random.real(-2, 2)));
        if (kind == 0)
            x += 0.1f;
        else if (kind == 1)
            x += random.real(0, 1);
        else
            x += random.oneIn(3) ? 0 : std::exp(random.real(-80, kind == 2 ? 1 : 87));
    }
    return points;
}

// Checks the value at x against the points around it.
void expectValue(const std::vector<float>& points, float x, float value)
{
    const size_t count = points.size() / 2;
    size_t above = 0;
    while (above < count && points[2 * above] <= x)
        ++above;
    if (above == 0)
    {
        EXPECT_EQ(value, points[1]) << "below, at " << x;
        return;
    }
    const double x0 = points[2 * above - 2], y0 = points[2 * above - 1];
    if (above == count || x == x0)
    {
        EXPECT_EQ(value, points[2 * above - 1]) << "at " << x;
        return;
    }
    const double x1 = points[2 * above], y1 = points[2 * above + 1];
    EXPECT_GE(value, std::min(y0, y1)) << "at " << x;
    EXPECT_LE(value, std::max(y0, y1)) << "at " << x;
    const double scale = std::max(std::abs(y0), std::abs(y1));
    EXPECT_NEAR(value, y0 + (x - x0) / (x1 - x0) * (y1 - y0), 1e-6 * scale) << "at " << x;
}

}

TEST(CurveTable, IsLinearBetweenItsPointsAndExactAtThem)
{
    forEachRandomCase(1000, [](Random& random) {
        const std::vector<float> points = randomPoints(random);
        const CurveTable table({points.data(), points.size() / 2});
        const int64_t last = std::ssize(points) / 2 - 1;
        for (int look = 0; look < 20; ++look)
        {
            const auto i = static_cast<size_t>(2 * random.between(0, last));
            for (const float x : {points[i], std::nextafter(points[i], s_infinity),
                                  std::nextafter(points[i], -s_infinity)})
                expectValue(points, x, table.valueAt(x));
            const size_t next = std::min(i + 2, points.size() - 2);
            const float between =
                points[i] + static_cast<float>(random.real(0, 1)) * (points[next] - points[i]);
            if (std::isfinite(between))
                expectValue(points, between, table.valueAt(between));
        }
        EXPECT_EQ(table.valueAt(s_infinity), points.back());
        EXPECT_EQ(table.valueAt(-s_infinity), points[1]);
        EXPECT_TRUE(std::isnan(table.valueAt(s_nan)));
    });
}

// Whatever the points are, vectors of all instruction sets give what a single value gives, and read
// within the tables.
TEST(CurveTable, IsSafeWithAnyFloats)
{
    forEachRandomCase(200, [](Random& random) {
        std::vector<float> points = randomPoints(random);
        for (float& value : points)
            value = random.oneIn(32) ? anyFloat(random) : value;
        const CurvePoints curve{points.data(), points.size() / 2};
        const CurveTable table(curve);
        const int64_t count = 50;
        std::vector<float> places, expected;
        for (int64_t i = 0; i < count; ++i)
        {
            const float near =
                points[static_cast<size_t>(2 * random.between(0, std::ssize(points) / 2 - 1))];
            places.push_back(random.oneIn(2) ? anyFloat(random)
                                             : near + static_cast<float>(random.real(-1, 1)));
            expected.push_back(table.valueAt(places.back()));
        }
        for (const std::string& target : Private::simdTargets())
        {
            const SimdScope scope(target);
            std::vector<float> values = places;
            const Image image{1, 1, UTIL::Rect(0, 0, count, 1), count * sizeof(float),
                              values.data()};
            EMULSION::Run(&image, &image, *makeRGBACurvesOperation(curve, {}, {}, {}));
            EXPECT_TRUE(sameButForNaNs(values, expected)) << target;
        }
    });
}

TEST(HueCurves, HoldValuesThatHaveNoFiniteWayToTheNext)
{
    const float most = std::numeric_limits<float>::max();
    const float ones[] = {1, 1, 1}, zeros[] = {0, 0, 0}, added[] = {most, -most, s_infinity};
    const auto operation = makeHueCurvesOperation({0.25f, 0.5f, 0.25f}, 3, true, {0, 0, 0}, ones,
                                                  zeros, zeros, zeros, added);
    const auto addedAt = [&](const Imath::Color4f& color) {
        return EMULSION::Run(color, *operation).b;
    };
    EXPECT_EQ(addedAt({1, 0.5f, 0, 1}), most);
    EXPECT_EQ(addedAt({0, 1, 0.5f, 1}), -most);
    EXPECT_EQ(addedAt({0, 0, 1, 1}), s_infinity);
    EXPECT_TRUE(std::isfinite(addedAt({1, 0, 1e-9f, 1})))
        << "a hue that is rounded to a whole turn";
}

TEST(CurveTable, TakesPointsAsItSays)
{
    const float unsorted[] = {0, 1, s_nan, 5, 2, 3, 1, 7, s_infinity, 9, 4, 3};
    const CurveTable table({unsorted, 6});
    EXPECT_EQ(table.valueAt(1), 2); // between (0, 1) and (2, 3)
    EXPECT_EQ(table.valueAt(3), 3);
    const float steps[] = {0, 1, 0, 2, 0, 3, 1, 4, 1, 5};
    const CurveTable stepped({steps, 5});
    EXPECT_EQ(stepped.valueAt(-1e-45f), 1);
    EXPECT_EQ(stepped.valueAt(-0.0f), 3);
    EXPECT_EQ(stepped.valueAt(0.5f), 3.5f);
    EXPECT_EQ(stepped.valueAt(1), 5);
    const float everywhere[] = {-3e38f, 3e38f, 3e38f, -3e38f}; // farther apart than any float
    for (const float x : {-3.1e38f, -3e38f, -1e38f, 0.0f, 1.5f, 2e38f, 3e38f})
        EXPECT_NEAR(CurveTable({everywhere, 2}).valueAt(x), -std::max(x, -3e38f), 1e32);
    EXPECT_TRUE(CurveTable({nullptr, 3}).isIdentity());
    EXPECT_EQ(CurveTable({}).valueAt(0.1f), 0.1f);
}
