#include <EMULSION/Composite.h>
#include <EMULSION/Premultiply.h>

#include <cmath>
#include <functional>
#include <limits>

#include "emulsion/SimdScope.h"
#include "emulsion/TestImage.h"

using namespace EMULSION;
using namespace EmulsionTest;
using Imath::Color4f;
using QUILT::Test::forEachRandomCase;

namespace
{

constexpr float s_nan = std::numeric_limits<float>::quiet_NaN();
constexpr float s_infinity = std::numeric_limits<float>::infinity();

enum Laws
{
    Commutes = 1,
    Associates = 2,         // between 0 and 1
    TakesAlphaOfSecond = 4, // as it is
    MixesWhiteIntoAlpha = 8 // by the formula with 1 for A
};

struct OperatorCase
{
    const char* kernel;
    const char* variant;
    int laws;
    std::function<void(const Image* output, const Image* first, const Image* second,
                       const Color4f& backgroundFirst, const Color4f& backgroundSecond)>
        ofImages;
    std::function<Color4f(const Color4f& first, const Color4f& second)> ofColors;
    std::function<double(double a, double b, double alphaA, double alphaB)> formula;
};

void PrintTo(const OperatorCase& tested, std::ostream* stream)
{
    *stream << tested.kernel << tested.variant;
}

double clamped(double alpha)
{
    return std::clamp(alpha, 0.0, 1.0);
}

constexpr float s_ease[] = {0, 0, 0.5f, 0.75f, 1, 1}, s_bend[] = {0, 0.25f, 2, 0.75f};

double easeOf(double alpha)
{
    return clamped(alpha < 0.5 ? alpha * 1.5 : 0.5 + alpha * 0.5);
}

double bendOf(double alpha)
{
    return 0.25 + std::clamp(alpha, 0.0, 2.0) * 0.25;
}

const OperatorCase s_operators[] = {
    {"Mix", "", 0,
     [](auto output, auto first, auto second, const Color4f& a, const Color4f& b) {
         Mix(output, first, second, 0.3f, a, b);
     },
     [](const Color4f& first, const Color4f& second) { return Mix(first, second, 0.3f); },
     [](double a, double b, double, double) { return a * 0.7 + b * 0.3; }},
    {"AddMix", "", MixesWhiteIntoAlpha,
     [](auto output, auto first, auto second, const Color4f& a, const Color4f& b) {
         AddMix(output, first, second, false, s_ease, 3, s_bend, 2, a, b);
     },
     [](const Color4f& first, const Color4f& second) {
         return AddMix(first, second, false, s_ease, 3, s_bend, 2);
     },
     [](double a, double b, double alphaA, double) {
         return a * easeOf(alphaA) + b * (1 - bendOf(alphaA));
     }},
    {"AddMix", "Premultiplied", 0,
     [](auto output, auto first, auto second, const Color4f& a, const Color4f& b) {
         AddMix(output, first, second, true, s_ease, 3, s_bend, 2, a, b);
     },
     [](const Color4f& first, const Color4f& second) {
         return AddMix(first, second, true, s_ease, 3, s_bend, 2);
     },
     [](double a, double b, double alphaA, double) {
         return (alphaA == 0 ? 0 : a / alphaA) * easeOf(alphaA) + b * (1 - bendOf(alphaA));
     }},
    {"MatteMix", "BySecond", 0,
     [](auto output, auto first, auto second, const Color4f& a, const Color4f& b) {
         MatteMix(output, first, second, second, 0.3f, a, b, b);
     },
     [](const Color4f& first, const Color4f& second) {
         return MatteMix(first, second, second, 0.3f);
     },
     [](double a, double b, double, double alphaB) {
         const double weight = clamped(alphaB + 0.3);
         return a * (1 - weight) + b * weight;
     }},
    {"Over", "", Associates,
     [](auto output, auto first, auto second, const Color4f& a, const Color4f& b) {
         Over(output, first, second, false, a, b);
     },
     [](const Color4f& first, const Color4f& second) { return Over(first, second, false); },
     [](double a, double b, double alphaA, double) { return a + b * (1 - alphaA); }},
    {"Over", "Clamped", Associates,
     [](auto output, auto first, auto second, const Color4f& a, const Color4f& b) {
         Over(output, first, second, true, a, b);
     },
     [](const Color4f& first, const Color4f& second) { return Over(first, second, true); },
     [](double a, double b, double alphaA, double) { return a + b * (1 - clamped(alphaA)); }},
    {"Atop", "", 0,
     [](auto output, auto first, auto second, const Color4f& a, const Color4f& b) {
         Atop(output, first, second, false, a, b);
     },
     [](const Color4f& first, const Color4f& second) { return Atop(first, second, false); },
     [](double a, double b, double alphaA, double alphaB) {
         return a * alphaB + b * (1 - alphaA);
     }},
    {"Atop", "Clamped", 0,
     [](auto output, auto first, auto second, const Color4f& a, const Color4f& b) {
         Atop(output, first, second, true, a, b);
     },
     [](const Color4f& first, const Color4f& second) { return Atop(first, second, true); },
     [](double a, double b, double alphaA, double alphaB) {
         return a * clamped(alphaB) + b * (1 - clamped(alphaA));
     }},
    {"In", "", Associates,
     [](auto output, auto first, auto second, const Color4f& a, const Color4f& b) {
         In(output, first, second, false, a, b);
     },
     [](const Color4f& first, const Color4f& second) { return In(first, second, false); },
     [](double a, double, double, double alphaB) { return a * alphaB; }},
    {"In", "Clamped", Associates,
     [](auto output, auto first, auto second, const Color4f& a, const Color4f& b) {
         In(output, first, second, true, a, b);
     },
     [](const Color4f& first, const Color4f& second) { return In(first, second, true); },
     [](double a, double, double, double alphaB) { return a * clamped(alphaB); }},
    {"Out", "", 0,
     [](auto output, auto first, auto second, const Color4f& a, const Color4f& b) {
         Out(output, first, second, false, a, b);
     },
     [](const Color4f& first, const Color4f& second) { return Out(first, second, false); },
     [](double a, double, double, double alphaB) { return a * (1 - alphaB); }},
    {"Out", "Clamped", 0,
     [](auto output, auto first, auto second, const Color4f& a, const Color4f& b) {
         Out(output, first, second, true, a, b);
     },
     [](const Color4f& first, const Color4f& second) { return Out(first, second, true); },
     [](double a, double, double, double alphaB) { return a * (1 - clamped(alphaB)); }},
    {"Screen", "", Commutes | Associates,
     [](auto output, auto first, auto second, const Color4f& a, const Color4f& b) {
         Screen(output, first, second, false, a, b);
     },
     [](const Color4f& first, const Color4f& second) { return Screen(first, second, false); },
     [](double a, double b, double, double) { return a + b - a * b; }},
    {"Screen", "MaxOutside", Commutes | Associates,
     [](auto output, auto first, auto second, const Color4f& a, const Color4f& b) {
         Screen(output, first, second, true, a, b);
     },
     [](const Color4f& first, const Color4f& second) { return Screen(first, second, true); },
     [](double a, double b, double, double) {
         return a < 0 || a > 1 || b < 0 || b > 1 ? std::max(a, b) : a + b - a * b;
     }},
    {"Max", "", Commutes | Associates,
     [](auto output, auto first, auto second, const Color4f& a, const Color4f& b) {
         Max(output, first, second, false, a, b);
     },
     [](const Color4f& first, const Color4f& second) { return Max(first, second, false); },
     [](double a, double b, double, double) { return std::max(a, b); }},
    {"Max", "ByMagnitude", Associates,
     [](auto output, auto first, auto second, const Color4f& a, const Color4f& b) {
         Max(output, first, second, true, a, b);
     },
     [](const Color4f& first, const Color4f& second) { return Max(first, second, true); },
     [](double a, double b, double, double) { return std::abs(b) > std::abs(a) ? b : a; }},
    {"Min", "", Commutes | Associates,
     [](auto output, auto first, auto second, const Color4f& a, const Color4f& b) {
         Min(output, first, second, false, a, b);
     },
     [](const Color4f& first, const Color4f& second) { return Min(first, second, false); },
     [](double a, double b, double, double) { return std::min(a, b); }},
    {"Min", "ByMagnitude", Associates,
     [](auto output, auto first, auto second, const Color4f& a, const Color4f& b) {
         Min(output, first, second, true, a, b);
     },
     [](const Color4f& first, const Color4f& second) { return Min(first, second, true); },
     [](double a, double b, double, double) { return std::abs(b) < std::abs(a) ? b : a; }},
    {"Add", "", Commutes | Associates,
     [](auto output, auto first, auto second, const Color4f& a, const Color4f& b) {
         Add(output, first, second, a, b);
     },
     [](const Color4f& first, const Color4f& second) { return Add(first, second); },
     [](double a, double b, double, double) { return a + b; }},
    {"Subtract", "", 0,
     [](auto output, auto first, auto second, const Color4f& a, const Color4f& b) {
         Subtract(output, first, second, a, b);
     },
     [](const Color4f& first, const Color4f& second) { return Subtract(first, second); },
     [](double a, double b, double, double) { return a - b; }},
    {"Average", "", Commutes,
     [](auto output, auto first, auto second, const Color4f& a, const Color4f& b) {
         Average(output, first, second, a, b);
     },
     [](const Color4f& first, const Color4f& second) { return Average(first, second); },
     [](double a, double b, double, double) { return (a + b) / 2; }},
    {"Difference", "", Commutes,
     [](auto output, auto first, auto second, const Color4f& a, const Color4f& b) {
         Difference(output, first, second, a, b);
     },
     [](const Color4f& first, const Color4f& second) { return Difference(first, second); },
     [](double a, double b, double, double) { return std::abs(a - b); }},
    {"Divide", "", 0,
     [](auto output, auto first, auto second, const Color4f& a, const Color4f& b) {
         Divide(output, first, second, a, b);
     },
     [](const Color4f& first, const Color4f& second) { return Divide(first, second); },
     [](double a, double b, double, double) { return b == 0 ? a : a / b; }},
    {"Multiply", "", Commutes | Associates,
     [](auto output, auto first, auto second, const Color4f& a, const Color4f& b) {
         Multiply(output, first, second, a, b);
     },
     [](const Color4f& first, const Color4f& second) { return Multiply(first, second); },
     [](double a, double b, double, double) { return a * b; }},
    {"Exclusion", "", Commutes | Associates,
     [](auto output, auto first, auto second, const Color4f& a, const Color4f& b) {
         Exclusion(output, first, second, a, b);
     },
     [](const Color4f& first, const Color4f& second) { return Exclusion(first, second); },
     [](double a, double b, double, double) { return a + b - 2 * a * b; }},
    {"Geometric", "", Commutes,
     [](auto output, auto first, auto second, const Color4f& a, const Color4f& b) {
         Geometric(output, first, second, a, b);
     },
     [](const Color4f& first, const Color4f& second) { return Geometric(first, second); },
     [](double a, double b, double, double) { return std::sqrt(std::max(a * b, 0.0)); }},
    {"Hypotenuse", "", Commutes | Associates,
     [](auto output, auto first, auto second, const Color4f& a, const Color4f& b) {
         Hypotenuse(output, first, second, a, b);
     },
     [](const Color4f& first, const Color4f& second) { return Hypotenuse(first, second); },
     [](double a, double b, double, double) { return std::hypot(a, b); }},
    {"Premultiply", "", TakesAlphaOfSecond,
     [](auto output, auto color, auto alpha, const Color4f& a, const Color4f& b) {
         Premultiply(output, color, alpha, a, b);
     },
     [](const Color4f& color, const Color4f& alpha) { return Premultiply(color, alpha); },
     [](double color, double, double, double alpha) { return color * alpha; }},
    {"Unpremultiply", "", TakesAlphaOfSecond,
     [](auto output, auto color, auto alpha, const Color4f& a, const Color4f& b) {
         Unpremultiply(output, color, alpha, a, b);
     },
     [](const Color4f& color, const Color4f& alpha) { return Unpremultiply(color, alpha); },
     [](double color, double, double, double alpha) { return alpha == 0 ? 0 : color / alpha; }},
};

class EveryOperator : public testing::TestWithParam<OperatorCase>
{};

Rect randomRect(Random& random)
{
    if (random.oneIn(10))
        return Rect();
    const int64_t width = random.oneIn(4) ? random.between(120, 270) : random.between(1, 33);
    const int64_t x = random.between(-9, 9), y = random.between(-4, 4);
    return Rect(x, y, x + width, y + random.between(1, 4));
}

// What stands for an image at a pixel: what it holds there, or the colour where it holds nothing.
Color4f colorAt(const TestImage* image, const Color4f& color, int64_t x, int64_t y)
{
    if (!image || !image->image.bounds.contains(Rect(x, y, x + 1, y + 1)))
        return color;
    Color4f result(0, 0, 0, 0);
    for (int channel = 0; channel < 4; ++channel)
    {
        if (const int64_t place = image->find(x, y, uint64_t(1) << channel); place >= 0)
            result[channel] = image->floats()[static_cast<size_t>(place)];
    }
    return result;
}

Color4f anyColor(Random& random)
{
    return Color4f(anyFloat(random), anyFloat(random), anyFloat(random), anyFloat(random));
}

}

TEST_P(EveryOperator, GivesTheBitsOfItsColorFormWhereverTheImagesLie)
{
    for (const std::string& target : Private::simdTargets())
    {
        SCOPED_TRACE(target);
        const SimdScope scope(target);
        forEachRandomCase(150, [&](Random& random) {
            const auto anyMask = [&] { return static_cast<uint64_t>(random.between(0, 15)); };
            const Rect bounds = randomRect(random);
            TestImage output(random, anyMask(), bounds);
            const TestImage one(random, anyMask(), random.oneIn(2) ? bounds : randomRect(random));
            const TestImage other(random, anyMask(), randomRect(random));
            const TestImage* first = random.oneIn(4) ? &output : random.oneIn(4) ? nullptr : &one;
            const TestImage* second = first && random.oneIn(4) ? nullptr : &other;
            if (random.oneIn(2))
                std::swap(first, second);
            const Color4f colorA = anyColor(random), colorB = anyColor(random);

            const auto expectedFloats = [&] {
                std::vector<float> expected = output.floats();
                forEachFloat(output, [&](int64_t x, int64_t y, int channel, size_t place) {
                    expected[place] = GetParam().ofColors(colorAt(first, colorA, x, y),
                                                          colorAt(second, colorB, x, y))[channel];
                });
                return expected;
            };
            const std::vector<float> expected = expectedFloats();
            const std::vector<float> plain = [&] {
                const SimdScope scalar("scalar");
                return expectedFloats();
            }();
            GetParam().ofImages(&output.image, first ? &first->image : nullptr,
                                second ? &second->image : nullptr, colorA, colorB);
            ASSERT_EQ(GetError(), ERROR_NONE) << GetErrorMessage();
            ASSERT_TRUE(sameBits(output.floats(), expected));
            ASSERT_TRUE(sameButForNaNs(expected, plain));
        });
    }
}

TEST_P(EveryOperator, FollowsItsFormulaAndItsLaws)
{
    const OperatorCase& op = GetParam();
    const auto near = [](double found, double expected) {
        return std::abs(found - expected) <= 1e-6 * std::max(20.0, std::abs(expected));
    };
    forEachRandomCase(2000, [&](Random& random) {
        const auto color = [&](int64_t lowest, int64_t highest) {
            Color4f result;
            for (int i = 0; i < 4; ++i)
                result[i] = random.oneIn(8) ? float(random.between(0, 1))
                                            : float(random.between(lowest, highest)) / 1000.0f;
            return result;
        };
        const Color4f a = color(-4000, 4000), b = color(-4000, 4000);
        const Color4f result = op.ofColors(a, b);
        for (int i = 0; i < 4; ++i)
        {
            const bool mixesWhite = i == 3 && op.laws & MixesWhiteIntoAlpha;
            ASSERT_TRUE(near(result[i], i == 3 && op.laws & TakesAlphaOfSecond
                                            ? b.a
                                            : op.formula(mixesWhite ? 1 : a[i], b[i], a.a, b.a)))
                << a << " with " << b << " gives " << result;
        }
        if (op.laws & Commutes)
        {
            const Color4f x = anyColor(random), y = anyColor(random);
            const Color4f xy = op.ofColors(x, y), yx = op.ofColors(y, x);
            for (int i = 0; i < 4; ++i)
                ASSERT_TRUE(xy[i] == yx[i] || (std::isnan(xy[i]) && std::isnan(yx[i])))
                    << x << " with " << y;
        }
        if (op.laws & Associates)
        {
            const Color4f x = color(0, 1000), y = color(0, 1000), z = color(0, 1000);
            const Color4f left = op.ofColors(op.ofColors(x, y), z);
            const Color4f right = op.ofColors(x, op.ofColors(y, z));
            for (int i = 0; i < 4; ++i)
                ASSERT_NEAR(left[i], right[i], 1e-6) << x << ' ' << y << ' ' << z;
        }
    });
}

TEST_P(EveryOperator, RefusesWhatItCannotWorkOn)
{
    Random random(1);
    TestImage output(random, 15, Rect(0, 0, 3, 3)), bad(random, 7, Rect(0, 0, 3, 3));
    const std::vector<float> untouched = output.floats();
    const Color4f color;
    const auto expectRefusal = [&](const Image* to, const Image* first, const Image* second,
                                   Error code, const std::string& text) {
        GetParam().ofImages(to, first, second, color, color);
        expectError(code, GetParam().kernel + (": " + text));
        EXPECT_TRUE(sameBits(output.floats(), untouched));
    };
    expectRefusal(nullptr, &bad.image, &bad.image, ERROR_INVALID_ARGUMENT, "the output is null");
    expectRefusal(&output.image, nullptr, nullptr, ERROR_INVALID_ARGUMENT, "all inputs are null");
    bad.image.channels = 16;
    expectRefusal(&output.image, nullptr, &bad.image, ERROR_INVALID_CHANNELS, "the input");
    expectRefusal(&output.image, &bad.image, nullptr, ERROR_INVALID_CHANNELS, "the input");
}

TEST(MatteMix, TakesEachOfThreeImagesWhereItLies)
{
    forEachRandomCase(300, [&](Random& random) {
        const auto anyMask = [&] { return static_cast<uint64_t>(random.between(0, 15)); };
        TestImage output(random, anyMask(), randomRect(random));
        const TestImage one(random, anyMask(), randomRect(random));
        const TestImage other(random, anyMask(), randomRect(random));
        const TestImage matte(random, anyMask(), randomRect(random));
        const bool withMatte = !random.oneIn(4);
        const Color4f a = anyColor(random), b = anyColor(random), m = anyColor(random);
        const float mix = float(random.between(-4, 4)) / 4;
        std::vector<float> expected = output.floats();
        forEachFloat(output, [&](int64_t x, int64_t y, int channel, size_t place) {
            const Color4f first = colorAt(&one, a, x, y), second = colorAt(&other, b, x, y);
            const float alpha = colorAt(withMatte ? &matte : nullptr, m, x, y).a;
            const float weight = alpha + mix;
            expected[place] = weight <= 0 ? first[channel]
                              : weight >= 1
                                  ? second[channel]
                                  : first[channel] * (1 - weight) + second[channel] * weight;
        });
        MatteMix(&output.image, &one.image, &other.image, withMatte ? &matte.image : nullptr, mix,
                 a, b, m);
        ASSERT_EQ(GetError(), ERROR_NONE) << GetErrorMessage();
        ASSERT_TRUE(sameButForNaNs(output.floats(), expected));
    });
}

INSTANTIATE_TEST_SUITE_P(All, EveryOperator, testing::ValuesIn(s_operators), [](const auto& info) {
    return std::string(info.param.kernel) + info.param.variant;
});

TEST(Premultiply, ByAnotherAlphaIsPremultiplyByItsOwn)
{
    forEachRandomCase(300, [](Random& random) {
        const Color4f color = anyColor(random), alpha = anyColor(random);
        const Color4f own(color.r, color.g, color.b, alpha.a);
        for (const auto& [byAnother, byItsOwn] :
             {std::pair(Premultiply(color, alpha), Premultiply(own)),
              std::pair(Unpremultiply(color, alpha), Unpremultiply(own))})
            EXPECT_TRUE(sameButForNaNs({byAnother.getValue(), byAnother.getValue() + 4},
                                       {byItsOwn.getValue(), byItsOwn.getValue() + 4}));
    });
}

TEST(Mix, WeighsItsSides)
{
    EXPECT_EQ(Mix(Color4f(1, 2, -4, 0), Color4f(5, 2, 4, 1), 0.25f), Color4f(2, 2, -2, 0.25f));
    EXPECT_EQ(Mix(Color4f(1, 0, 0, 0), Color4f(3, 0, 0, 0), 2.0f).r, 5);
    EXPECT_TRUE(std::isnan(Mix(Color4f(s_infinity, 0, 0, 0), Color4f(0, 0, 0, 0), 1.0f).r));
}

TEST(AddMix, WithoutCurvesIsOver)
{
    forEachRandomCase(300, [](Random& random) {
        const Color4f straight = anyColor(random), below = anyColor(random);
        const Color4f mixed = AddMix(straight, below, false, nullptr, 0, nullptr, 0);
        const Color4f over = Over(Premultiply(straight), below, false);
        EXPECT_TRUE(sameButForNaNs({mixed.getValue(), mixed.getValue() + 4},
                                   {over.getValue(), over.getValue() + 4}));
    });
}

TEST(CompositeOperators, TreatExceptionalValuesAsDocumented)
{
    const Color4f odd(s_nan, 2, -3, 0), even(1, s_nan, 3, -0.0f);
    EXPECT_EQ(Max(odd, even, false), Color4f(1, 2, 3, 0));
    EXPECT_EQ(Max(odd, even, true), Color4f(1, 2, -3, 0));
    EXPECT_EQ(Min(even, odd, false), Color4f(1, 2, -3, 0));
    EXPECT_EQ(Min(even, odd, true), Color4f(1, 2, 3, 0));
    EXPECT_EQ(Screen(odd, even, true).g, 2);
    EXPECT_TRUE(std::isnan(Screen(odd, even, true).r));
    const Color4f over(0.5f, 0, 0, s_nan), below(1, 2, s_infinity, 1);
    EXPECT_EQ(Over(over, below, true).r, 1.5f);
    EXPECT_TRUE(std::isnan(Over(over, below, false).r));
    EXPECT_EQ(Out(below, over, true), below);
    EXPECT_EQ(In(Color4f(1, 2, 3, 4), over, true), Color4f(0, 0, 0, 0));
    EXPECT_EQ(Divide(Color4f(4, -5, s_infinity, 0), Color4f(0, -0.0f, 0, 0)),
              Color4f(4, -5, s_infinity, 0));
    EXPECT_EQ(Geometric(Color4f(-2, -8, 0, 1), Color4f(2, -2, 5, s_infinity)),
              Color4f(0, 4, 0, s_infinity));
    EXPECT_FALSE(std::signbit(Difference(Color4f(-0.0f, 0, 0, 0), Color4f(0, 0, 0, 0)).r));
}
