#include <EMULSION/Painters.h>

#include <cmath>
#include <functional>
#include <limits>
#include <numbers>

#include "emulsion/TestImage.h"

using namespace EMULSION;
using namespace EmulsionTest;
using Imath::Color4f;
using Imath::V2f;
using QUILT::Test::forEachRandomCase;

namespace
{

constexpr float s_nan = std::numeric_limits<float>::quiet_NaN();
const Color4f s_a(0.1f, -2.0f, 3.0f, 0.5f), s_b(0.7f, 0.3f, 1e6f, 1.0f);
const Color4f s_one(1, 1, 1, 1), s_zero(0, 0, 0, 0);
const float s_fourColors[16] = {1, 0, 0, 1, 0, 1, 0.5f, 1, 0.25f, 0, 1, 0, -1, 2, 3, 0.1f};
const float s_fourPlaces[8] = {3.5f, 4.5f, 20.5f, 6.5f, 9.25f, 17.0f, -8.0f, 30.5f};
const Rect s_rect(2, -3, 40, 25);

struct Painting
{
    std::string name;
    std::function<void(const Image*)> paint;
};

void PrintTo(const Painting& painting, std::ostream* stream)
{
    *stream << painting.name;
}

Painting radial(const std::string& name, float width, float aspect, bool extend)
{
    return {"Radial" + name, [=](const Image* image) {
                RadialGradient(image, 15.3f, 9.8f, 6, width, 0.4f, aspect, s_a, s_b, extend);
            }};
}

Painting scattered(const std::string& name, bool useRbf, UTIL::RBFType type, float parameter)
{
    return {"Super" + name, [=](const Image* image) {
                SuperGradient(image, 4, s_fourPlaces, s_fourColors, useRbf, type, parameter);
            }};
}

Painting checkers(const std::string& name, float width, float height)
{
    return {"Checkers" + name, [=](const Image* image) {
                Checkerboard(image, s_a, s_b, V2f(width, height), V2f(2.3f, -3.7f));
            }};
}

std::vector<Painting> allPaintings()
{
    return {
        {"Gradient",
         [](const Image* i) {
             const float* const c = s_fourColors;
             Gradient(i, s_rect, c, c + 4, c + 8, c + 12);
         }},
        {"HorizontalRamp", [](const Image* i) { HorizontalRamp(i, s_rect, s_a, s_b); }},
        {"VerticalRamp", [](const Image* i) { VerticalRamp(i, s_rect, s_a, s_b); }},
        {"Directional",
         [](const Image* i) {
             const float stops[4] = {0.7f, 0.2f, 0.2f, 1.5f};
             DirectionalGradient(i, V2f(30, 2), s_a, V2f(1, 20), s_b, 4, stops, s_fourColors);
         }},
        radial("", 9, 0.6f, true),
        radial("Cut", 9, 1.7f, false),
        radial("Step", 0, 0.6f, true),
        radial("Flat", 9, 0, false),
        scattered("Shepard", false, UTIL::RBF_LINEAR, 0),
        scattered("Shepard3", false, UTIL::RBF_LINEAR, 3),
        scattered("ShepardBroken", false, UTIL::RBF_LINEAR, 1.25f),
        scattered("ThinPlate", true, UTIL::RBF_THIN_PLATE, 0),
        scattered("Gaussian", true, UTIL::RBF_GAUSSIAN, 50),
        checkers("", 5, 3.25f),
        checkers("Fine", 0.3f, 0.7f),
        {"Bars",
         [](const Image* i) {
             const float rect[4] = {1.5f, 0, 33.25f, 9};
             Bars(i, rect, false);
         }},
        {"HueWheel",
         [](const Image* i) { HueWheel(i, 17.2f, 11, 14, 0.8f, 0.2f, 1.1f, 0.9f, 77); }},
    };
}

class EveryPainting : public testing::TestWithParam<Painting>
{};

// A picture with all four channels, for looking at pixels.
class Picture
{
public:
    Picture(const Rect& bounds, const std::function<void(const Image*)>& paint)
        : m_random(1), m_image(m_random, 15, bounds)
    {
        paint(&m_image.image);
    }

    Color4f at(int64_t x, int64_t y) const
    {
        return Color4f(value(x, y, 1), value(x, y, 2), value(x, y, 4), value(x, y, 8));
    }

    double sumOfAlpha() const
    {
        double sum = 0.0;
        const Rect& b = m_image.image.bounds;
        for (int64_t y = b.y0; y < b.y1; ++y)
            for (int64_t x = b.x0; x < b.x1; ++x)
                sum += at(x, y).a;
        return sum;
    }

private:
    float value(int64_t x, int64_t y, uint64_t channel) const
    {
        return m_image.floats()[static_cast<size_t>(m_image.find(x, y, channel))];
    }

    Random m_random;
    TestImage m_image;
};

Color4f pixelOf(int64_t x, int64_t y, const std::function<void(const Image*)>& paint)
{
    return Picture(Rect(x, y, x + 1, y + 1), paint).at(x, y);
}

bool near(const Color4f& a, const Color4f& b, double tolerance)
{
    for (int i = 0; i < 4; ++i)
    {
        if (!(std::abs(double(a[i]) - b[i]) <= tolerance))
            return false;
    }
    return true;
}

// The mean of colorAt(x, y) over 8 x 8 points of a pixel: exact where edges lie on eighths.
Color4f sampled(int64_t x, int64_t y, const std::function<Color4f(double, double)>& colorAt)
{
    Color4f sum = s_zero;
    for (int i = 0; i < 64; ++i)
        sum += colorAt(double(x) + (i % 8 + 0.5) / 8, double(y) + (i / 8 + 0.5) / 8);
    return sum / 64.0f;
}

}

TEST_P(EveryPainting, LooksTheSameInPieces)
{
    const Rect whole(-9, -12, 61, 33);
    const Picture picture(whole, GetParam().paint);
    forEachRandomCase(200, [&](Random& random) {
        const int64_t x = random.between(-9, 60), y = random.between(-12, 32);
        const Rect bounds(x, y, random.between(x + 1, 61), random.between(y + 1, 33));
        TestImage part(random, static_cast<uint64_t>(random.between(0, 15)), bounds);
        std::vector<float> expected = part.floats();
        for (int64_t py = bounds.y0; py < bounds.y1; ++py)
            for (int64_t px = bounds.x0; px < bounds.x1; ++px)
                for (int channel = 0; channel < 4; ++channel)
                    if (const int64_t i = part.find(px, py, uint64_t(1) << channel); i >= 0)
                        expected[static_cast<size_t>(i)] = picture.at(px, py)[channel];
        const Image image = part.image;
        GetParam().paint(&image);
        ASSERT_TRUE(sameBits(part.floats(), expected)) << testing::PrintToString(image);
    });
}

INSTANTIATE_TEST_SUITE_P(All, EveryPainting, testing::ValuesIn(allPaintings()),
                         [](const auto& info) { return info.param.name; });

TEST(Gradient, IsBilinearAndHoldsItsCorners)
{
    const float* const c = s_fourColors;
    const Picture picture(Rect(-5, -5, 50, 50),
                          [&](const Image* i) { Gradient(i, s_rect, c, c + 4, c + 8, c + 12); });
    const auto corner = [&](int i) { return Color4f(c[i], c[i + 1], c[i + 2], c[i + 3]); };
    EXPECT_EQ(picture.at(0, -5), corner(0));
    EXPECT_EQ(picture.at(41, -4), corner(4));
    EXPECT_EQ(picture.at(-1, 26), corner(8));
    EXPECT_EQ(picture.at(49, 49), corner(12));
    for (int64_t x = s_rect.x0; x < s_rect.x1; ++x)
    {
        const float u = (float(x - s_rect.x0) + 0.5f) / 38, v = 7.5f / 28;
        const Color4f expected = (corner(0) * (1 - u) + corner(4) * u) * (1 - v) +
                                 (corner(8) * (1 - u) + corner(12) * u) * v;
        EXPECT_TRUE(near(picture.at(x, s_rect.y0 + 7), expected, 1e-6)) << x;
    }
    // A rectangle without width is a step.
    const auto step = [](const Image* i) { HorizontalRamp(i, Rect(3, 0, 3, 0), s_a, s_b); };
    EXPECT_EQ(pixelOf(2, 0, step), s_a);
    EXPECT_EQ(pixelOf(3, 0, step), s_b);
    EXPECT_EQ(
        pixelOf(1, int64_t(1) << 60, [](const Image* i) { VerticalRamp(i, s_rect, s_a, s_b); }),
        s_b);
}

TEST(DirectionalGradient, GoesThroughItsStops)
{
    // A length of 16 pixels: the centre of pixel x is at t = (x + 0.5) / 16.
    const auto at = [](int64_t x, size_t count, const float* positions, const float* colors) {
        return pixelOf(x, 3, [=](const Image* i) {
            DirectionalGradient(i, V2f(0, 9), s_zero, V2f(16, 9), s_one, count, positions, colors);
        });
    };
    EXPECT_EQ(at(-4, 0, nullptr, nullptr), s_zero);
    EXPECT_EQ(at(99, 0, nullptr, nullptr), s_one);
    EXPECT_TRUE(near(at(6, 0, nullptr, nullptr), s_one * (6.5f / 16), 1e-6));

    // A hard edge at the centre of pixel 8, given out of order beside a stop that is no number.
    const float edge = 8.5f / 16;
    const float positions[4] = {edge, 0.25f, s_nan, edge};
    const float colors[16] = {2, 2, 2, 2, 8, 8, 8, 8, 0, 0, 0, 0, 5, 5, 5, 5};
    EXPECT_TRUE(near(at(7, 4, positions, colors), s_one * (8 - 6 * 3.5f / 4.5f), 1e-5));
    EXPECT_EQ(at(8, 4, positions, colors), s_one * 5);
    EXPECT_TRUE(near(at(9, 4, positions, colors), s_one * (5 - 4 / 7.5f), 1e-5));

    const float beyond[2] = {-0.5f, 1.5f};
    EXPECT_EQ(at(-9, 2, beyond, colors), s_one * 2);
    EXPECT_EQ(at(30, 2, beyond, colors), s_one * 8);
    EXPECT_EQ(pixelOf(1, 1,
                      [](const Image* i) {
                          DirectionalGradient(i, V2f(3, 3), s_a, V2f(3, 3), s_b, 0, nullptr,
                                              nullptr);
                      }),
              s_b);
}

TEST(RadialGradient, FollowsItsProfile)
{
    const auto valueAt = [](int64_t x, float shape) {
        return pixelOf(x, 0,
                       [=](const Image* i) {
                           RadialGradient(i, 0.5f, 0.5f, 4, 10, shape, 1, s_zero, s_one, true);
                       })
            .r;
    };
    for (const float shape : {0.0f, 0.3f, 1.0f, 7.0f})
    {
        for (int64_t x = 0; x < 20; ++x)
        {
            const double t = std::clamp((double(x) - 4) / 10, 0.0, 1.0);
            const double smooth = 3 * t * t - 2 * t * t * t;
            EXPECT_NEAR(valueAt(x, shape), t + (smooth - t) * std::min(shape, 1.0f), 1e-6) << x;
        }
    }
    // Below an aspect of 1 the radius holds along x, above it along y.
    for (const float aspect : {0.5f, 2.0f})
    {
        const auto wide = [=](const Image* i) {
            RadialGradient(i, 0.5f, 0.5f, 2, 8, 0, aspect, s_zero, s_one, true);
        };
        const bool flat = aspect < 1;
        EXPECT_TRUE(near(pixelOf(flat ? 6 : 3, 0, wide), s_one * 0.5f, 1e-6));
        EXPECT_TRUE(near(pixelOf(0, flat ? 3 : 6, wide), s_one * 0.5f, 1e-6));
    }
}

TEST(EllipseRim, CoversItsArea)
{
    forEachRandomCase(300, [](Random& random) {
        const float aspect =
            static_cast<float>(random.oneIn(2) ? random.real(0.02, 1) : random.real(1, 20));
        const float radius = static_cast<float>(random.real(0.05, 25));
        const float x = static_cast<float>(random.real(-3, 3));
        const float y = static_cast<float>(random.real(-3, 3));
        const double radiusX = aspect < 1 ? radius : double(radius) / aspect;
        const double radiusY = aspect < 1 ? double(radius) * aspect : radius;
        const auto area = std::numbers::pi * radiusX * radiusY;
        const Rect box(int64_t(std::floor(x - radiusX)), int64_t(std::floor(y - radiusY)),
                       int64_t(std::ceil(x + radiusX)), int64_t(std::ceil(y + radiusY)));
        // Around the box, too, where nothing may be.
        const Rect around(box.x0 - 2, box.y0 - 2, box.x1 + 2, box.y1 + 2);
        for (const Rect& bounds : {box, around})
        {
            const Picture disc(bounds, [=](const Image* i) {
                RadialGradient(i, x, y, radius / 2, radius / 2, 0, aspect, s_one, s_one, false);
            });
            EXPECT_NEAR(disc.sumOfAlpha(), area, 1e-6 * (1 + area));
        }
        const Picture hole(around, [=](const Image* i) {
            RadialGradient(i, x, y, radius, 0, 0, aspect, s_zero, s_one, true);
        });
        const double all = double(around.width()) * double(around.height());
        EXPECT_NEAR(hole.sumOfAlpha(), all - area, 1e-6 * all);
        const Picture wheel(around,
                            [=](const Image* i) { HueWheel(i, x, y, radius, aspect, 0, 1, 1, 0); });
        EXPECT_NEAR(wheel.sumOfAlpha(), area, 1e-6 * (1 + area));
    });
    // In a circle of a million pixels, the rim crosses the pixel almost as a straight line at its
    // middle.
    const auto huge = [](const Image* i) {
        RadialGradient(i, -1e6f, 0, 1e6f, 0.5f, 0, 1, s_one, s_one, false);
    };
    EXPECT_TRUE(near(pixelOf(0, 0, huge), s_one * 0.5f, 1e-6));
}

TEST(SuperGradient, PassesThroughItsPoints)
{
    for (int type = -1; type <= UTIL::RBF_INVERSE_MULTIQUADRIC; ++type)
    {
        forEachRandomCase(20, [&](Random& random) {
            const size_t count = static_cast<size_t>(random.between(3, 12));
            std::vector<float> places, colors;
            for (size_t i = 0; i < count; ++i) // at centres, on no line and on no place twice
            {
                places.push_back(static_cast<float>(50 * random.between(-2, 2)) + 0.5f +
                                 static_cast<float>(i * i));
                places.push_back(static_cast<float>(7 * i) + 0.5f);
                for (int channel = 0; channel < 4; ++channel)
                    colors.push_back(static_cast<float>(random.real(-2, 2)));
            }
            for (size_t i = 0; i < count; ++i)
            {
                const Color4f color =
                    pixelOf(int64_t(std::floor(places[2 * i])),
                            int64_t(std::floor(places[2 * i + 1])), [&](const Image* image) {
                                SuperGradient(image, count, places.data(), colors.data(), type >= 0,
                                              static_cast<UTIL::RBFType>(std::max(type, 0)), 0);
                            });
                EXPECT_TRUE(near(
                    color,
                    Color4f(colors[4 * i], colors[4 * i + 1], colors[4 * i + 2], colors[4 * i + 3]),
                    type < 0 ? 0.0 : 1e-5))
                    << "type " << type << ", point " << i << " of " << count;
            }
        });
    }
}

TEST(SuperGradient, SumsTheFunctionThatIsNamed)
{
    // On the corners of a square with 1 and -1 in turn, symmetry leaves one unknown weight, and
    // nothing of a polynomial.
    constexpr double side = 20, s = side * 96 / 64;
    const float corners[8] = {0, 0, side, 0, side, side, 0, side};
    const float signs[4] = {1, -1, 1, -1};
    float colors[16];
    for (size_t i = 0; i < 16; ++i)
        colors[i] = signs[i / 4];
    const std::function<double(double)> functions[] = {
        [](double r) { return r; },
        [](double r) { return r * r * r; },
        [](double r) { return r > 0 ? r * r * std::log(r) : 0; },
        [](double r) { return std::exp(-(r / s) * (r / s)); },
        [](double r) { return std::sqrt(r * r + s * s); },
        [](double r) { return 1 / std::sqrt(r * r + s * s); },
    };
    for (int type = 0; type < 6; ++type)
    {
        const auto& phi = functions[type];
        const double weight = 1 / (phi(0) - 2 * phi(side) + phi(side * std::numbers::sqrt2));
        double expected = 0;
        for (size_t i = 0; i < 4; ++i)
            expected += weight * signs[i] *
                        phi(std::hypot(4.5 - corners[2 * i], 31.5 - corners[2 * i + 1]));
        const auto square = [&](const Image* image) {
            SuperGradient(image, 4, corners, colors, true, static_cast<UTIL::RBFType>(type), 96);
        };
        EXPECT_NEAR(pixelOf(4, 31, square).b, expected, 1e-6) << "type " << type;
    }
}

TEST(SuperGradient, WeighsByDistanceOrBendsAPlate)
{
    const float places[6] = {0.5f, 0.5f, 3.5f, 0.5f, s_nan, 0};
    const float colors[12] = {1, 0, 0, 1, 4, 0, 0, 1, 9, 9, 9, 9};
    for (const auto& [parameter, weight] : {std::pair(0.0f, 0.25f), {2.0f, 0.25f}, {3.0f, 0.125f}})
    {
        const Color4f color = pixelOf(1, 0, [&, p = parameter](const Image* i) {
            SuperGradient(i, 3, places, colors, false, UTIL::RBF_LINEAR, p);
        });
        EXPECT_TRUE(near(color, Color4f((1 + 4 * weight) / (1 + weight), 0, 0, 1), 1e-6));
    }
    // Two points determine no plate: the weights stand in.
    const auto asPlate = [&](const Image* i) {
        SuperGradient(i, 2, places, colors, true, UTIL::RBF_THIN_PLATE, 77);
    };
    EXPECT_TRUE(near(pixelOf(1, 0, asPlate), Color4f(1.6f, 0, 0, 1), 1e-6));

    // A plate through points on a plane is the plane, far away too; points at one place are one.
    const float onPlane[10] = {0, 0, 60, 0, 0, 60, 40, 80, 40, 80};
    float values[20];
    for (size_t i = 0; i < 5; ++i)
        for (size_t channel = 0; channel < 4; ++channel)
            values[4 * i + channel] = 2 * onPlane[2 * i] - onPlane[2 * i + 1] + float(channel);
    values[12] += 3;
    values[16] -= 3;
    const auto plane = [&](const Image* i) {
        SuperGradient(i, 5, onPlane, values, true, UTIL::RBF_THIN_PLATE, 0);
    };
    EXPECT_TRUE(near(pixelOf(200, -50, plane), Color4f(450.5f, 451.5f, 452.5f, 453.5f), 1e-3));

    const auto few = [&](size_t count) {
        return pixelOf(7, 9, [=](const Image* i) {
            SuperGradient(i, count, onPlane, values, true, UTIL::RBF_LINEAR, 0);
        });
    };
    EXPECT_EQ(few(0), s_zero);
    EXPECT_EQ(few(1), Color4f(0, 1, 2, 3));
}

TEST(Patterns, CountByArea)
{
    forEachRandomCase(100, [](Random& random) {
        const V2f size(float(random.between(1, 40)) / 8, float(random.between(1, 40)) / 8);
        const V2f origin(float(random.between(-99, 99)) / 8, float(random.between(-99, 99)) / 8);
        const int64_t x = random.between(-50, 50), y = random.between(-50, 50);
        const Color4f expected = sampled(x, y, [&](double px, double py) {
            const double cells =
                std::floor((px - origin.x) / size.x) + std::floor((py - origin.y) / size.y);
            return cells / 2 == std::floor(cells / 2) ? s_zero : s_one;
        });
        const auto board = [&](const Image* i) { Checkerboard(i, s_zero, s_one, size, origin); };
        EXPECT_TRUE(near(pixelOf(x, y, board), expected, 1e-6)) << size << origin << x << "," << y;
    });
    const auto sizeless = [](const Image* i) {
        Checkerboard(i, s_a, s_b, V2f(3, s_nan), V2f(0, 0));
    };
    EXPECT_EQ(pixelOf(4, 0, sizeless), s_a);

    const char* const order = "WYCGMRBK";
    for (const float width : {64.0f, 11.0f, 3.0f})
    {
        for (int64_t x = -3; x < 66; ++x)
        {
            const Color4f expected = sampled(x, 0, [&](double px, double) {
                const char c = order[std::clamp(int(std::floor(px * 8 / width)), 0, 7)];
                const auto has = [c](const char* text) { return std::strchr(text, c) ? 0.75f : 0; };
                return Color4f(has("WYMR"), has("WYCG"), has("WCMB"), 1);
            });
            const float rect[4] = {0, 0, width, 1};
            EXPECT_TRUE(
                near(pixelOf(x, 0, [&](const Image* i) { Bars(i, rect, false); }), expected, 1e-6))
                << width << " at " << x;
        }
    }
}

TEST(HueWheel, HasTheHueOfTheAngle)
{
    forEachRandomCase(300, [](Random& random) {
        const float turn = static_cast<float>(random.between(-800, 800));
        const int64_t x = random.between(-60, 60), y = random.between(-30, 30);
        const double u = double(x) + 0.5, v = 2 * (double(y) + 0.5), r = std::hypot(u, v);
        if (r > 98)
            return;
        const double s = 0.25 + 0.5 * r / 100;
        const double h = std::atan2(v, u) / std::numbers::pi * 3 + turn / 60.0;
        const auto channel = [&](double n) {
            const double k = std::fmod(std::fmod(n + h, 6.0) + 6.0, 6.0);
            return static_cast<float>(2 - 2 * s * std::clamp(std::min(k, 4 - k), 0.0, 1.0));
        };
        const Color4f color = pixelOf(
            x, y, [=](const Image* i) { HueWheel(i, 0, 0, 100, 0.5f, 0.25f, 0.75f, 2, turn); });
        EXPECT_TRUE(near(color, Color4f(channel(5), channel(3), channel(1), 1), 2e-5))
            << color << " at " << x << "," << y;
    });
}

TEST(Painters, RefuseWhatIsBroken)
{
    HorizontalRamp(nullptr, s_rect, s_a, s_b);
    expectError(ERROR_INVALID_ARGUMENT, "HorizontalRamp: the output");
    Random random(1);
    TestImage image(random, 15, Rect(0, 0, 2, 2));
    const std::vector<float> before = image.floats();
    VerticalRamp(&image.image, Rect(3, 0, 2, 5), s_a, s_b);
    expectError(ERROR_INVALID_ARGUMENT, "VerticalRamp: the rectangle (3,0,2,5) is inverted");
    SuperGradient(&image.image, 2, s_fourPlaces, s_fourColors, true, static_cast<UTIL::RBFType>(6),
                  0);
    expectError(ERROR_INVALID_ARGUMENT, "number 6");
    EXPECT_TRUE(sameBits(image.floats(), before));
}
