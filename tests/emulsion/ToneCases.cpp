#include <EMULSION/Tone.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include "emulsion/OperationCases.h"
#include "support/Random.h"

using namespace EMULSION;
using Imath::Color4f;
using QUILT::Test::forEachRandomCase;
using QUILT::Test::Random;

namespace EmulsionTest
{

namespace
{

const Color4f s_exponents(0.45f, 2.4f, -1.5f, 3.0f), s_pivots(0.18f, 1.0f, -0.5f, 0.0f);
const Color4f s_black(95, 64, 0.5f, 0), s_white(685, 940, 1000, 0), s_gamma(0.6f, 1, 0.7f, 0);

Pixel scaledTo(const Pixel& p, double (*curve)(double))
{
    const double m = std::max({std::abs(p[0]), std::abs(p[1]), std::abs(p[2])});
    const double ratio = m > 0.18f ? curve(m) / m : 1;
    return {p[0] * ratio, p[1] * ratio, p[2] * ratio, p[3]};
}

// From 16 to 1 with the knee at 0.18.
constexpr double s_knee = 0.18f, s_k = 0.1835167033907784;

double compressed(double x)
{
    return s_knee + s_k * std::log(1 + (x - s_knee) / s_k);
}

double expanded(double y)
{
    return s_knee + s_k * (std::exp((y - s_knee) / s_k) - 1);
}

Pixel powers(const Pixel& pixel)
{
    return perChannel(pixel, [](double v, int i) {
        const double p = s_pivots[i] == 0 ? 1 : double(s_pivots[i]), q = v / p;
        return p * std::copysign(std::pow(std::abs(q), double(s_exponents[i])), q < 0 ? -1 : 1);
    });
}

double offsetOf(int i)
{
    return std::pow(10, (double(s_black[i]) - s_white[i]) * 0.002 / s_gamma[i]);
}

Pixel toLinear(const Pixel& pixel)
{
    return perChannel(pixel, [](double v, int i) {
        const double o = offsetOf(i);
        return i == 3 ? v
                      : (std::pow(10, (1023 * v - s_white[i]) * 0.002 / s_gamma[i]) - o) / (1 - o);
    });
}

Pixel toLog(const Pixel& pixel)
{
    return perChannel(pixel, [](double v, int i) {
        const double o = offsetOf(i), power = std::max(v * (1 - o) + o, o * 0x1p-24);
        return i == 3 ? v : (std::log10(power) * s_gamma[i] / 0.002 + s_white[i]) / 1023;
    });
}

Pixel toLab(const Pixel& p)
{
    const auto f = [](double r, double g, double b, double white) {
        const double t = (r + g + b) / white;
        return t > 216.0 / 24389 ? std::cbrt(t) : (24389.0 / 27 * t + 16) / 116;
    };
    const double x = f(0.4124564 * p[0], 0.3575761 * p[1], 0.1804375 * p[2], 0.95047);
    const double y = f(0.2126729 * p[0], 0.7151522 * p[1], 0.0721750 * p[2], 1);
    const double z = f(0.0193339 * p[0], 0.1191920 * p[1], 0.9503041 * p[2], 1.08883);
    return {1.16 * y - 0.16, 5 * (x - y), 2 * (y - z), p[3]};
}

Pixel fromLab(const Pixel& p)
{
    const auto t = [](double f) {
        return f > 6.0 / 29 ? f * f * f : (116 * f - 16) * 27 / 24389.0;
    };
    const double f = (p[0] + 0.16) / 1.16;
    const double x = 0.95047 * t(f + p[1] / 5), y = t(f), z = 1.08883 * t(f - p[2] / 2);
    return {3.2404542 * x - 1.5371385 * y - 0.4985314 * z,
            -0.9692660 * x + 1.8760108 * y + 0.0415560 * z,
            0.0556434 * x - 0.2040259 * y + 1.0572252 * z, p[3]};
}

}

void addToneCases(std::vector<OperationCase>& cases)
{
    // Half an ulp of what comes out; the matrices of Lab above have seven digits.
    constexpr double half = 6e-8;
    cases.insert(
        cases.end(),
        {
            {"CompressRange", [] { return makeCompressRangeOperation(0.18f, 16, 1); },
             [](const Pixel& p) { return scaledTo(p, compressed); }, half},
            {"ExpandRange", [] { return makeExpandRangeOperation(0.18f, 16, 1); },
             [](const Pixel& p) { return scaledTo(p, expanded); }, half},
            {"Exponential", [] { return makeExponentialOperation(s_exponents, s_pivots); }, powers,
             3e-7},
            {"LogToLinear",
             [] { return makeLogConvertOperation(s_black, s_white, s_gamma, false, true); },
             toLinear, half},
            {"LinearToLog",
             [] { return makeLogConvertOperation(s_black, s_white, s_gamma, true, true); }, toLog,
             half},
            {"ToLab", [] { return makeLabConvertOperation(true); }, toLab, 2e-6},
            {"FromLab", [] { return makeLabConvertOperation(false); }, fromLab, 2e-6},
        });
}

namespace
{

constexpr float s_nan = std::numeric_limits<float>::quiet_NaN();
constexpr float s_infinity = std::numeric_limits<float>::infinity();

bool sameOrBothNaN(const Color4f& a, const Color4f& b)
{
    for (int i = 0; i < 4; ++i)
        if (!(a[i] == b[i] || (std::isnan(a[i]) && std::isnan(b[i]))))
            return false;
    return true;
}

double largestOf(const Color4f& color)
{
    return std::max({std::abs(color.r), std::abs(color.g), std::abs(color.b)});
}

Color4f randomColor(Random& random, float size)
{
    const auto any = [&] { return size * static_cast<float>(random.real(-1, 1)); };
    return {any(), any(), any(), any()};
}

// The k of the curve on which `x` above the knee is `y` above it.
double curveConstant(double x, double y)
{
    double low = 0, high = 1e9;
    while (const double k = (low + high) / 2)
    {
        if (k <= low || k >= high)
            return k;
        (k * std::log1p(x / k) < y ? low : high) = k;
    }
    return 0;
}

void expectNear(const Color4f& result, const Color4f& expected, double error)
{
    for (int i = 0; i < 4; ++i)
        EXPECT_NEAR(result[i], expected[i], error) << result << " and not " << expected;
}

}

// To the rounding of the compressed value, which the curve's slope makes larger on the way back.
TEST(Tone, RangesAreCompressedAndExpandedAgain)
{
    forEachRandomCase(20000, [](Random& random) {
        float knee = 0.18f, from = 16, to = 1;
        if (!random.oneIn(2))
        {
            knee = random.oneIn(2) ? 0 : static_cast<float>(random.real(0, 1));
            to = knee + static_cast<float>(std::exp2(random.real(-3, 3)));
            from = to * (1 + static_cast<float>(std::exp2(random.real(-12, 10))));
        }
        const auto compress = [&](const Color4f& c) { return CompressColor(c, knee, from, to); };
        EXPECT_NEAR(compress(Color4f(0, -from, 0, 0)).g, -to, to * 1e-7f);

        const Color4f color =
            randomColor(random, static_cast<float>(std::exp2(random.real(-30, 15.999))));
        const Color4f there = compress(color), back = ExpandColor(there, knee, from, to);
        const double m = largestOf(color), x = std::max(m - knee, 0.0);
        const double k = curveConstant(double(from) - knee, double(to) - knee);
        const double magnified = largestOf(there) / m * (1 + x / k);
        for (int i = 0; i < 3; ++i)
            EXPECT_NEAR(back[i], color[i], std::abs(color[i]) * 6e-8 * (magnified + 2))
                << color << " with " << knee << ", " << from << ", " << to;
        if (from == 16)
        {
            EXPECT_NEAR(largestOf(back), m, m * (m <= 1 ? 0x1p-22 : 3e-7 * (1 + 1 / k)));
        }
        EXPECT_EQ(back.a, color.a);
    });
}

TEST(Tone, RangesLeaveWhatTheyCannotCompress)
{
    const Color4f bright(20, -3, 0.5f, 20);
    for (const Color4f& c :
         {Color4f(1, 16, 1, 0), Color4f(1, 16, 17, 0), Color4f(0.5f, 0.5f, 0.7f, 0),
          Color4f(0, s_infinity, 1, 0), Color4f(0, 16, s_nan, 0), Color4f(s_nan, 16, 1, 0)})
    {
        EXPECT_EQ(CompressColor(bright, c.r, c.g, c.b), bright) << c;
        EXPECT_EQ(ExpandColor(bright, c.r, c.g, c.b), bright) << c;
    }
    for (const Color4f& c : {Color4f(20, s_infinity, 1, 2), Color4f(20, 1, s_nan, 2),
                             Color4f(s_nan, 20, -s_infinity, 2), Color4f(0, 0, -0.0f, 20)})
    {
        EXPECT_TRUE(sameOrBothNaN(CompressColor(c, 0, 16, 1), c)) << c;
        EXPECT_TRUE(sameOrBothNaN(ExpandColor(c, 0, 16, 1), c)) << c;
    }
    EXPECT_EQ(CompressColor(bright, -1, 16, 1), CompressColor(bright, 0, 16, 1));
    EXPECT_EQ(ExpandColor(Color4f(1e30f, 0, -1e-30f, 1), 0.18f, 16, 1),
              Color4f(s_infinity, 0, -s_infinity, 1));
}

TEST(Tone, PowersHaveTheirSpecialValues)
{
    const Color4f zero(0, 0, 0, 0), odd(0, -0.0f, s_nan, -s_infinity);
    EXPECT_EQ(Exponential(Color4f(0, -0.0f, s_nan, -2), zero, zero), Color4f(1, 1, 1, -1));
    EXPECT_TRUE(sameOrBothNaN(Exponential(odd, Color4f(-1, -1, 2, 0.5f), zero),
                              Color4f(s_infinity, s_infinity, s_nan, -s_infinity)));
    EXPECT_EQ(Exponential(Color4f(-2, 2, 2, 0.5f), Color4f(2, 2, s_infinity, s_infinity),
                          Color4f(-1, -1, 0, 1)),
              Color4f(-4, 4, s_infinity, 0));
    EXPECT_EQ(Exponential(Color4f(0.18f, 0.18f, -0.18f, 0.18f), Color4f(3, -7, 0.1f, s_nan),
                          Color4f(0.18f, 0.18f, 0.18f, 0.18f)),
              Color4f(0.18f, 0.18f, -0.18f, 0.18f));
}

TEST(Tone, LabIsThatOfItsWhiteAndComesBack)
{
    expectNear(LabConvert(Color4f(1, 1, 1, 7), true), Color4f(1, 0, 0, 7), 1e-9);
    expectNear(LabConvert(Color4f(0.18f, 0.18f, 0.18f, 0), true), Color4f(0.4949610f, 0, 0, 0),
               1e-7);
    // Red of Rec. 709 by the definition, to four digits.
    expectNear(LabConvert(Color4f(1, 0, 0, 0), true), Color4f(0.532408f, 0.800925f, 0.672032f, 0),
               1e-5);
    forEachRandomCase(5000, [](Random& random) {
        // Far below 0 the straight line is so steep that a and b have no digits left for the rest.
        const bool isPositive = random.oneIn(2);
        Color4f color = randomColor(
            random, static_cast<float>(std::exp2(random.real(-20, isPositive ? 16 : 1))));
        if (isPositive)
            color = Color4f(std::abs(color.r), std::abs(color.g), std::abs(color.b), color.a);
        expectNear(LabConvert(LabConvert(color, true), false), color,
                   largestOf(color) * 4e-6 + 2e-8);
    });
}

TEST(Tone, FilmCurvesLeadThereAndBack)
{
    const Color4f black(95, 95, 95, 0), white(685, 685, 685, 0), gamma(0.6f, 0.6f, 0.6f, 0);
    const auto convert = [&](const Color4f& color, bool toLog) {
        return LogConvert(color, black, white, gamma, toLog, true);
    };
    const float b = 95 / 1023.0f, w = 685 / 1023.0f;
    expectNear(convert(Color4f(b, w, w, w), false), Color4f(0, 1, 1, w), 2e-7);
    expectNear(convert(Color4f(0, 1, 1, 1), true), Color4f(b, w, w, 1), 1e-7);
    const Color4f fractions = LogConvert(Color4f(0.18f, 0.5f, 0.75f, 1), Color4f(b, b, b, 0),
                                         Color4f(w, w, w, 0), gamma, true, false);
    expectNear(fractions, convert(Color4f(0.18f, 0.5f, 0.75f, 1), true), 1e-6);
    // There is no logarithm below 0; the least that is taken is some way below code 0.
    const Color4f low = convert(Color4f(-0.011f, -1e9f, -s_infinity, 1), true);
    EXPECT_TRUE(low.r < 0 && low.r > -3 && low.g == low.r && low.b == low.r) << low;
    EXPECT_TRUE(sameOrBothNaN(convert(Color4f(s_infinity, s_nan, 0, 0), true),
                              Color4f(s_infinity, s_nan, b, 0)));
    EXPECT_TRUE(std::isinf(convert(Color4f(100, 0, 0, 0), false).r));
    forEachRandomCase(5000, [&](Random& random) {
        const auto code = [&] { return static_cast<float>(random.real(0, 1.5)); };
        const Color4f color(code(), code(), code(), code());
        expectNear(convert(convert(color, false), true), color, 2e-7);
    });
}

}
