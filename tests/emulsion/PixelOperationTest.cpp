#include <EMULSION/Color.h>
#include <EMULSION/ColorMatrix.h>
#include <EMULSION/Composite.h>
#include <EMULSION/Premultiply.h>

#include <cmath>
#include <limits>

#include "emulsion/OperationCases.h"
#include "emulsion/SimdScope.h"
#include "emulsion/TestImage.h"

using namespace EMULSION;
using namespace EmulsionTest;
using Imath::Color4f;
using QUILT::Test::forEachRandomCase;

namespace EmulsionTest
{

void PrintTo(const OperationCase& operation, std::ostream* stream)
{
    *stream << operation.name;
}

const std::vector<OperationCase>& operationCases()
{
    static const std::vector<OperationCase> s_cases = [] {
        std::vector<OperationCase> cases;
        addValueCases(cases);
        addCurveCases(cases);
        addColorCases(cases);
        addToneCases(cases);
        return cases;
    }();
    return s_cases;
}

}

namespace
{

constexpr float s_nan = std::numeric_limits<float>::quiet_NaN();
constexpr float s_infinity = std::numeric_limits<float>::infinity();

class EveryPixelOperation : public testing::TestWithParam<OperationCase>
{};

float channelOf(const TestImage& image, int64_t x, int64_t y, int channel)
{
    const int64_t place = image.find(x, y, uint64_t(1) << channel);
    return place < 0 ? 0.0f : image.floats()[static_cast<size_t>(place)];
}

// What the operation must leave in all of the output's block: a pixel that both images have is what
// the operation makes of its colour, everything else is as before.
std::vector<float> expectedFloats(const TestImage& output, const TestImage& input,
                                  const PixelOperation& operation)
{
    std::vector<float> expected = output.floats();
    const Rect& inside = input.image.bounds;
    forEachFloat(output, [&](int64_t x, int64_t y, int channel, size_t place) {
        if (!inside.contains(Rect(x, y, x + 1, y + 1)))
            return;
        const Color4f color(channelOf(input, x, y, 0), channelOf(input, x, y, 1),
                            channelOf(input, x, y, 2), channelOf(input, x, y, 3));
        expected[place] = Run(color, operation)[channel];
    });
    return expected;
}

Rect randomRect(Random& random)
{
    // Around the widths of a vector and of a strip.
    const int64_t width = random.oneIn(4) ? random.between(120, 270) : random.between(1, 33);
    const int64_t x = random.between(-5, 5), y = random.between(-5, 5);
    return Rect(x, y, x + width, y + random.between(1, 3));
}

bool near(double value, double expected, double error)
{
    return value == expected || // infinities
           std::abs(value - expected) <= error * std::max(20.0, std::abs(expected));
}

}

TEST_P(EveryPixelOperation, GivesTheSameBitsForAPixelWhereverItStands)
{
    const PixelOperationPtr scalar = [&] {
        const SimdScope scope("scalar");
        return GetParam().make();
    }();
    for (const std::string& target : Private::simdTargets())
    {
        const SimdScope scope(target);
        const PixelOperationPtr operation = GetParam().make();
        forEachRandomCase(300, [&](Random& random) {
            SCOPED_TRACE(target);
            const Rect bounds = randomRect(random);
            const bool inPlace = random.oneIn(4);
            TestImage output(random, static_cast<uint64_t>(random.between(0, 15)), bounds);
            TestImage input(random, static_cast<uint64_t>(random.between(0, 15)),
                            random.oneIn(2) ? bounds : randomRect(random));
            const TestImage& from = inPlace ? output : input;
            const std::vector<float> expected = expectedFloats(output, from, *operation);
            const std::vector<float> plain = expectedFloats(output, from, *scalar);
            const Image sameOutput = output.image;
            EMULSION::Run(&sameOutput, &from.image, *operation);
            EXPECT_TRUE(sameBits(output.floats(), expected));
            EXPECT_TRUE(sameButForNaNs(expected, plain));
        });
    }
}

TEST_P(EveryPixelOperation, FollowsItsFormula)
{
    const PixelOperationPtr operation = GetParam().make();
    forEachRandomCase(2000, [&](Random& random) {
        Color4f color;
        Pixel pixel;
        for (int channel = 0; channel < 4; ++channel)
        {
            color[channel] = random.oneIn(8) ? float(random.between(-1, 1))
                                             : float(random.between(-4000, 4000)) / 1000.0f;
            if (channel > 0 && random.oneIn(6)) // greys and other ties
                color[channel] = color[channel - 1];
            pixel[static_cast<size_t>(channel)] = color[channel];
        }
        const Color4f result = EMULSION::Run(color, *operation);
        const Pixel expected = GetParam().formula(pixel);
        for (int channel = 0; channel < 4; ++channel)
            ASSERT_TRUE(
                near(result[channel], expected[static_cast<size_t>(channel)], GetParam().error))
                << color << " gives " << result << ", channel " << channel << " must be "
                << expected[static_cast<size_t>(channel)];
    });
}

INSTANTIATE_TEST_SUITE_P(All, EveryPixelOperation, testing::ValuesIn(operationCases()),
                         [](const auto& info) { return std::string(info.param.name); });

// Pictures of this size are written past the caches, in whole lines and what is left at their ends.
TEST(PixelOperations, WriteLargePicturesLikeSmallOnes)
{
    const Rect bounds(-3, 2, 1034, 1015);
    const Color4f zero(0, 0, 0, 0);
    Random random(1);
    TestImage first(random, 15, bounds), second(random, 15, bounds), output(random, 15, bounds);
    const Image& to = output.image;
    ASSERT_GE(to.rowBytes * static_cast<uint64_t>(bounds.height()), uint64_t(16) << 20);
    const std::function<void(const Image&)> passes[] = {
        [&](const Image& part) { MultInverse(&part, &first.image); },
        [&](const Image& part) { Over(&part, &first.image, &second.image, true, zero, zero); }};
    for (const std::string& target : Private::simdTargets())
    {
        const SimdScope scope(target);
        for (const auto& pass : passes)
        {
            Image row = to;
            for (int64_t y = bounds.y0; y < bounds.y1; ++y)
            {
                row.bounds = Rect(bounds.x0, y, bounds.x1, y + 1);
                pass(row);
                row.pixelPtr += to.rowBytes / sizeof(float);
            }
            const std::vector<float> expected = output.floats();
            pass(to);
            EXPECT_TRUE(sameBits(output.floats(), expected)) << target;
        }
    }
}

TEST(PixelChain, GivesTheBitsOfItsOperationsOneByOne)
{
    forEachRandomCase(300, [](Random& random) {
        std::vector<PixelOperationPtr> operations;
        std::vector<const PixelOperation*> chain;
        for (int64_t count = random.oneIn(8) ? random.between(30, 70) : random.between(0, 8);
             count > 0; --count)
        {
            const int64_t which = random.between(0, std::ssize(operationCases()) - 1);
            operations.push_back(operationCases()[static_cast<size_t>(which)].make());
            chain.push_back(operations.back().get());
        }
        const Rect bounds = randomRect(random);
        TestImage input(random, static_cast<uint64_t>(random.between(0, 15)), bounds);
        TestImage whole(random, 15, bounds);
        EMULSION::Run(&whole.image, &input.image, nullptr, 0);
        for (const PixelOperation* operation : chain)
            EMULSION::Run(&whole.image, &whole.image, *operation);
        TestImage output(random, static_cast<uint64_t>(random.between(0, 15)), bounds);
        EMULSION::Run(&output.image, &input.image, chain.data(), chain.size());
        std::vector<float> expected = output.floats();
        forEachFloat(output, [&](int64_t x, int64_t y, int channel, size_t place) {
            expected[place] = channelOf(whole, x, y, channel);
        });
        ASSERT_TRUE(sameBits(output.floats(), expected));
    });
}

TEST(PixelOperations, TreatExceptionalValuesAsDocumented)
{
    const Color4f odd(s_nan, s_infinity, -0.0f, 1e-45f);
    Color4f out = odd;
    ClampColor(out, out, Color4f(-1, 0, 0.25f, 0), Color4f(1, 0.5f, 0.75f, 1), true, true);
    EXPECT_TRUE(std::isnan(out.r));
    EXPECT_EQ(Color4f(0, out.g, out.b, out.a), Color4f(0, 0.5f, 0.25f, 1e-45f));
    ClampColor(out, odd, Color4f(1, 1, 1, 1), Color4f(0, 0, -1, 0.5f), true, true);
    EXPECT_EQ(Color4f(0, out.g, out.b, out.a), Color4f(0, 0, -1, 0.5f));
    out = Threshold(odd, Color4f(0, 0, 0, 0), true, Color4f(7, 7, 7, 7), false, odd);
    EXPECT_EQ(out, Color4f(7, s_infinity, 0, 1e-45f));
    CleanupClampColor(out, Color4f(s_nan, s_infinity, -1, s_infinity), true);
    EXPECT_EQ(out, Color4f(0, 0, -1, 0));
    const Color4f wild(s_nan, s_infinity, -s_infinity, -0.0f);
    EXPECT_EQ(EMULSION::Run(wild, *makeClearInfsAndNansOperation(true)),
              Color4f(0, 65504, -65504, 0));
    const Color4f cleared = EMULSION::Run(wild, *makeClearInfsAndNansOperation(false));
    EXPECT_EQ(cleared, Color4f(0, 0, 0, 0));
    EXPECT_FALSE(std::signbit(cleared.b));
    MultInverseColor(out, odd);
    EXPECT_EQ(Color4f(0, out.g, out.b, out.a), Color4f(0, 0, 0, s_infinity));
    EXPECT_FALSE(std::signbit(out.b));
    FringeColor(out, odd);
    EXPECT_EQ(out, Color4f(0, 0, 0, 0));
    PosterizeColor(out, Color4f(-0.0f, -0.1f, 0.5f, -7), 4, 2, s_infinity, false, false);
    EXPECT_EQ(out, Color4f(0, -1, 0.5f, -7));
    EXPECT_FALSE(std::signbit(out.r));
    for (const float hue : {s_nan, s_infinity, -s_infinity, -1e-9f, 1e30f})
        EXPECT_EQ(HSVConvert(Color4f(hue, 0.5f, 2, 1), false), Color4f(2, 1, 1, 1)) << hue;
    for (const unsigned long screen : {ChannelRed, ChannelGreen, ChannelBlue})
        for (int channel = 0; channel < 3; ++channel)
        {
            Color4f color(0.5f, 0.5f, 0.5f, 1);
            color[channel] = s_nan;
            EXPECT_EQ(EMULSION::Run(color, *makeScreenRGBToAlphaOperation(screen)).a, 0);
        }
    EXPECT_EQ(EMULSION::Run(Color4f(2, s_nan, 1, 0), *makeMinRGBToAlphaOperation()).a, 1);
    EXPECT_EQ(EMULSION::Run(Color4f(1, 2, s_nan, 0), *makeMaxRGBToAlphaOperation()).a, 2);
    for (const auto& limit : {makeMinRGBToAlphaOperation(), makeMaxRGBToAlphaOperation()})
        EXPECT_TRUE(std::isnan(EMULSION::Run(odd, *limit).a));
    EXPECT_EQ(Unpremultiply(Color4f(s_infinity, 1, -1, -0.0f)), Color4f(0, 0, 0, 0));
    EXPECT_EQ(Premultiply(Color4f(2, 4, -1, 0.5f)), Color4f(1, 2, -0.5f, 0.5f));
}

TEST(PixelOperations, LeadThereAndBack)
{
    forEachRandomCase(2000, [](Random& random) {
        const auto anyOf = [&] { return static_cast<float>(random.real(0, 4)); };
        const Color4f color(anyOf(), anyOf(), anyOf(), anyOf() + 0.01f);
        const Color4f hsv = HSVConvert(color, true);
        EXPECT_TRUE(hsv.r >= 0 && hsv.r <= 1 && hsv.g >= 0 && hsv.g <= 1) << color << hsv;
        const Color4f viaHSV = HSVConvert(hsv, false);
        const Color4f viaPremultiplied = Unpremultiply(Premultiply(color));
        for (int channel = 0; channel < 4; ++channel)
        {
            EXPECT_NEAR(viaHSV[channel], color[channel], 4e-6f) << color << hsv;
            EXPECT_NEAR(viaPremultiplied[channel], color[channel], color[channel] * 2e-7f) << color;
        }
    });
}

TEST(ColorMatrix, HearsOnlyWhatItsCoefficientsName)
{
    const float matrix[20] = {0, 2, 0, 0, 0, 0, 0, 0, 0, 3, 0, 0, 0, 0, 0, 0, 1, 0, 0, -0.0f};
    EXPECT_EQ(ColorMatrix(Color4f(s_nan, -0.0f, s_infinity, s_nan), matrix), Color4f(0, 3, 0, 0));
    const Color4f result = ColorMatrix(Color4f(s_nan, -0.0f, 0, 0), matrix);
    EXPECT_TRUE(std::signbit(result.r) && std::signbit(result.a));
    EXPECT_FALSE(std::signbit(result.b));
    const PixelOperationPtr operation = makeColorMatrixOperation(matrix);
    EXPECT_EQ(operation->getRequiredChannels(ChannelRed | ChannelBlue), ChannelGreen);
    EXPECT_EQ(operation->getRequiredChannels(ChannelGreen), 0u);
}

TEST(ColorMatrix, TakesMatricesForRowVectors)
{
    Imath::M44f matrix;
    for (int row = 0; row < 4; ++row)
        for (int column = 0; column < 4; ++column)
            matrix[row][column] = static_cast<float>(row * 7 - column * column + 1);
    const Color4f offset(1, 2, 3, 4);
    float converted[20];
    ConvertMtx_imathToEmulsion(converted, matrix, offset);
    const Imath::V4f vector(5, -6, 7, 8);
    const Imath::V4f moved = vector * matrix;
    EXPECT_EQ(ColorMatrix(Color4f(vector.x, vector.y, vector.z, vector.w), converted),
              Color4f(moved.x + 1, moved.y + 2, moved.z + 3, moved.w + 4));
}

TEST(ColorMatrix, TurnsHuesAndScalesSaturationAroundGrey)
{
    const Imath::C3f weights(0.25f, 0.5f, 0.125f); // their sum is not 1
    const Imath::V4f color(0.5f, 1, -2, 0.75f);
    Imath::M44f hue, saturation;
    BuildMatrix_HueShift(&hue, 0);
    BuildMatrix_Saturation(&saturation, 1, weights);
    EXPECT_EQ(hue, Imath::M44f());
    EXPECT_EQ(saturation, Imath::M44f());
    BuildMatrix_HueShift(&hue, 120);
    EXPECT_TRUE((color * hue).equalWithAbsError(Imath::V4f(-2, 0.5f, 1, 0.75f), 2e-7f));
    BuildMatrix_HueShift(&hue, 30 - 720);
    BuildMatrix_Saturation(&saturation, 0.25f, weights);
    EXPECT_TRUE((Imath::V4f(1, 0, 0, 0) * hue)
                    .equalWithAbsError({0.9106836f, 0.3333333f, -0.244017f, 0}, 1e-6f));
    EXPECT_TRUE((Imath::V4f(3, 3, 3, 2) * hue).equalWithAbsError({3, 3, 3, 2}, 1e-6f));
    const float luma = 0.375f; // of the colour
    EXPECT_TRUE(
        (color * saturation)
            .equalWithAbsError({luma + 0.03125f, luma + 0.15625f, luma - 0.59375f, 0.75f}, 1e-6f));
}

TEST(PixelOperations, RefuseBrokenImages)
{
    Random random(1);
    TestImage good(random, 15, Rect(0, 0, 3, 3)), bad(random, 7, Rect(0, 0, 3, 3));
    const std::vector<float> before = good.floats();
    MultInverse(nullptr, &good.image);
    expectError(ERROR_INVALID_ARGUMENT, "MultInverse: the output is null");
    MultInverse(&good.image, nullptr);
    expectError(ERROR_INVALID_ARGUMENT, "MultInverse: the input is null");
    bad.image.channels = 16;
    MultInverse(&good.image, &bad.image);
    expectError(ERROR_INVALID_CHANNELS, "MultInverse: the input");
    EXPECT_TRUE(sameBits(good.floats(), before));
    const Image empty;
    MultInverse(&empty, &good.image);
    MultInverse(&good.image, &empty);
    EXPECT_EQ(GetError(), ERROR_NONE);
    EXPECT_TRUE(sameBits(good.floats(), before));
}

TEST(SimdTarget, IsTheBestOneUpToTheOneThatIsNamed)
{
    const std::vector<std::string> targets = Private::simdTargets();
    ASSERT_EQ(targets.back(), "scalar");
    std::string best = targets.back();
    for (const std::string name : {"scalar", "sse4", "avx2", "avx512"})
    {
        if (std::find(targets.begin(), targets.end(), name) != targets.end())
            best = name;
        const SimdScope scope(name);
        EXPECT_EQ(Private::simdTarget(), best) << "for " << name;
    }
    EXPECT_FALSE(Private::setSimdTarget("neon"));
}

TEST(SimdTargetDeathTest, IsReadFromTheEnvironmentOnLoading)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe"); // starts this program anew
    const auto print = [] {
        std::fprintf(stderr, "uses %s", Private::simdTarget().c_str());
        std::exit(0);
    };
    setenv("EMULSION_SIMD", "scalar", 1);
    EXPECT_EXIT(print(), testing::ExitedWithCode(0), "^uses scalar$");
    setenv("EMULSION_SIMD", "fast", 1);
    EXPECT_EXIT(print(), testing::ExitedWithCode(0), "EMULSION_SIMD is \"fast\".*ignored.\nuses ");
    unsetenv("EMULSION_SIMD");
}
