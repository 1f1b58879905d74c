#include <EMULSION/Composite.h>

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

struct OperatorCase
{
    const char* name;
    std::function<void(const Image* output, const Image* first, const Image* second,
                       const Color4f& backgroundFirst, const Color4f& backgroundSecond)>
        ofImages;
    std::function<Color4f(const Color4f& first, const Color4f& second)> ofColors;
};

void PrintTo(const OperatorCase& tested, std::ostream* stream)
{
    *stream << tested.name;
}

const OperatorCase s_operators[] = {
    {"Mix",
     [](auto output, auto first, auto second, const Color4f& a, const Color4f& b) {
         Mix(output, first, second, 0.3f, a, b);
     },
     [](const Color4f& first, const Color4f& second) { return Mix(first, second, 0.3f); }},
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
        forEachRandomCase(400, [&](Random& random) {
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

TEST_P(EveryOperator, RefusesWhatItCannotWorkOn)
{
    Random random(1);
    TestImage output(random, 15, Rect(0, 0, 3, 3)), bad(random, 7, Rect(0, 0, 3, 3));
    const std::vector<float> untouched = output.floats();
    const Color4f color;
    const auto expectRefusal = [&](const Image* to, const Image* first, const Image* second,
                                   Error code, const std::string& text) {
        GetParam().ofImages(to, first, second, color, color);
        expectError(code, GetParam().name + (": " + text));
        EXPECT_TRUE(sameBits(output.floats(), untouched));
    };
    expectRefusal(nullptr, &bad.image, &bad.image, ERROR_INVALID_ARGUMENT, "the output is null");
    expectRefusal(&output.image, nullptr, nullptr, ERROR_INVALID_ARGUMENT, "both inputs are null");
    bad.image.channels = 16;
    expectRefusal(&output.image, nullptr, &bad.image, ERROR_INVALID_CHANNELS, "the input");
    expectRefusal(&output.image, &bad.image, nullptr, ERROR_INVALID_CHANNELS, "the input");
}

INSTANTIATE_TEST_SUITE_P(All, EveryOperator, testing::ValuesIn(s_operators),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(Mix, WeighsItsSides)
{
    EXPECT_EQ(Mix(Color4f(1, 2, -4, 0), Color4f(5, 2, 4, 1), 0.25f), Color4f(2, 2, -2, 0.25f));
    EXPECT_EQ(Mix(Color4f(1, 0, 0, 0), Color4f(3, 0, 0, 0), 2.0f).r, 5);
    EXPECT_TRUE(std::isnan(
        Mix(Color4f(std::numeric_limits<float>::infinity(), 0, 0, 0), Color4f(0, 0, 0, 0), 1.0f)
            .r));
}
