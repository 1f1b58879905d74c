#include <EMULSION/Composite.h>
#include <EMULSION/Plumbing.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <numeric>

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

float anyDepth(Random& random)
{
    static constexpr float s_depths[] = {0, -0.0f, 1, 2, -1, s_nan, s_infinity, -s_infinity};
    return random.oneIn(3) ? anyFloat(random) : random.pick(s_depths);
}

// In runs of pixels that share an order and in others that do not; often of two values, so that
// layers meet in some pixels and keep their order in the others.
void setDepths(Random& random, TestImage& image)
{
    const bool meets = random.oneIn(2);
    const auto next = [&] { return meets ? float(random.between(0, 1)) : anyDepth(random); };
    const int64_t change = random.pick(std::array<int64_t, 3>{2, 40, 1000});
    float value = next();
    forEachFloat(image, [&](int64_t, int64_t, int, size_t place) {
        if (random.oneIn(change))
            value = next();
        image.setFloat(place, value);
    });
}

void makeSomeOpaque(Random& random, TestImage& image)
{
    forEachFloat(image, [&](int64_t, int64_t, int channel, size_t place) {
        if (channel == 3 && random.oneIn(2))
            image.setFloat(place, 1.0f);
    });
}

float valueAt(const TestImage* image, int64_t x, int64_t y, uint64_t channel)
{
    const int64_t place = image ? image->find(x, y, channel) : -1;
    return place < 0 ? 0.0f : image->floats()[size_t(place)];
}

struct Layers
{
    std::vector<std::unique_ptr<TestImage>> colors, depths;
};

Layers randomLayers(Random& random, const Rect& bounds)
{
    Layers layers;
    for (int64_t i = random.oneIn(12) ? random.between(30, 90) : random.between(0, 6); i > 0; --i)
    {
        const auto image = [&] {
            const Rect larger = random.oneIn(2) ? bounds : bounds.pad(2, 1, true);
            return std::make_unique<TestImage>(random, uint64_t(random.between(0, 15)), larger);
        };
        layers.colors.push_back(image());
        makeSomeOpaque(random, *layers.colors.back());
        layers.depths.push_back(random.oneIn(6) ? nullptr : image());
        if (layers.depths.back())
            setDepths(random, *layers.depths.back());
    }
    return layers;
}

// The merge in double: a stable sort, then Over from the front until nothing shines through.
std::array<double, 4> merged(const std::vector<Color4f>& colors, const std::vector<float>& depths)
{
    std::vector<size_t> order(colors.size());
    std::iota(order.begin(), order.end(), size_t(0));
    const auto depth = [&](size_t i) { return std::isnan(depths[i]) ? 0.0f : depths[i]; };
    std::ranges::stable_sort(order, {}, depth);
    std::array<double, 4> result{};
    for (const size_t layer : order)
    {
        const double rest = 1 - result[3];
        for (size_t c = 0; c < 4 && rest > 0; ++c)
            result[c] += double(colors[layer][int(c)]) * rest;
    }
    return result;
}

}

TEST(ZComposite, GivesTheBitsOfItsColorForm)
{
    for (const std::string& target : Private::simdTargets())
    {
        SCOPED_TRACE(target);
        const SimdScope scope(target);
        forEachRandomCase(150, [&](Random& random) {
            const int64_t x = random.between(-9, 9), width = random.between(1, 40);
            const Rect bounds(x, -1, x + width + (random.oneIn(4) ? 200 : 0), 2);
            const Layers layers = randomLayers(random, bounds);
            TestImage other(random, uint64_t(random.between(0, 15)), bounds);
            const bool inPlace = !layers.colors.empty() && random.oneIn(3);
            TestImage& output = inPlace ? *layers.colors[0] : other;
            const auto channel = static_cast<unsigned long>(random.between(0, 15));

            std::vector<const Image*> colors, depths;
            for (size_t i = 0; i < layers.colors.size(); ++i)
            {
                colors.push_back(&layers.colors[i]->image);
                depths.push_back(layers.depths[i] ? &layers.depths[i]->image : nullptr);
            }
            const auto expectedFloats = [&] {
                std::vector<float> expected = output.floats();
                forEachFloat(output, [&](int64_t px, int64_t py, int c, size_t place) {
                    if (!bounds.contains(Rect(px, py, px + 1, py + 1)))
                        return;
                    std::vector<Color4f> pixels;
                    std::vector<float> pixelDepths;
                    for (size_t i = 0; i < layers.colors.size(); ++i)
                    {
                        pixels.emplace_back();
                        for (int k = 0; k < 4; ++k)
                            pixels.back()[k] =
                                valueAt(layers.colors[i].get(), px, py, uint64_t(1) << k);
                        pixelDepths.push_back(
                            valueAt(layers.depths[i].get(), px, py, channel & -channel));
                    }
                    expected[place] = ZComposite(pixels, pixelDepths)[c];
                });
                return expected;
            };
            const std::vector<float> expected = expectedFloats();
            const std::vector<float> plain = [&] {
                const SimdScope scalar("scalar");
                return expectedFloats();
            }();
            Image written = output.image;
            GetSubImage(&written, &output.image, bounds.x0, bounds.y0, bounds.x1, bounds.y1);
            ZComposite(&written, colors, depths, channel);
            ASSERT_EQ(GetError(), ERROR_NONE) << GetErrorMessage();
            ASSERT_TRUE(sameBits(output.floats(), expected)) << colors.size() << " layers";
            ASSERT_TRUE(sameButForNaNs(expected, plain));
        });
    }
}

TEST(ZComposite, MergesByDepthAndInTheOrderGivenWhereDepthsAreEqual)
{
    forEachRandomCase(3000, [](Random& random) {
        std::vector<Color4f> colors;
        std::vector<float> depths;
        for (int64_t i = random.between(0, 9); i > 0; --i)
        {
            Color4f color;
            for (int c = 0; c < 4; ++c)
                color[c] = random.oneIn(5) ? 1.0f : float(random.between(-1000, 1200)) / 1000.0f;
            colors.push_back(color);
            depths.push_back(random.oneIn(6) ? s_nan : float(random.between(-2, 2)));
        }
        const Color4f found = ZComposite(colors, depths);
        const std::array<double, 4> expected = merged(colors, depths);
        for (int c = 0; c < 4; ++c)
            ASSERT_NEAR(found[c], expected[size_t(c)], 1e-4 * std::max(1.0f, std::abs(found[c])))
                << colors.size();
    });
    EXPECT_EQ(ZComposite(std::vector<Color4f>(), {}), Color4f(0, 0, 0, 0));
    // Nothing of what lies behind an opaque layer arrives, and a NaN stays where it is in front.
    const Color4f behind(s_nan, s_infinity, 1, 1), front(0.5f, 2, -1, 1);
    EXPECT_EQ(ZComposite({behind, front}, {2, 1}), front);
    EXPECT_TRUE(std::isnan(ZComposite({behind, front}, {0, 1}).r));
}

TEST(ZComposite, RefusesWhatItCannotWorkOn)
{
    Random random(1);
    TestImage output(random, 15, Rect(0, 0, 3, 3)), bad(random, 7, Rect(0, 0, 3, 3));
    const TestImage part(random, 15, Rect(1, 0, 2, 9));
    const std::vector<float> untouched = output.floats();
    bad.image.channels = 16;
    ZComposite(&output.image, {&output.image}, {}, 1);
    expectError(ERROR_INVALID_ARGUMENT, "ZComposite: 1 colours have 0 depths");
    ZComposite(&output.image, {nullptr}, {nullptr}, 1);
    expectError(ERROR_INVALID_ARGUMENT, "ZComposite: the input is null");
    ZComposite(&output.image, {&output.image}, {&bad.image}, 1);
    expectError(ERROR_INVALID_CHANNELS, "ZComposite: the input has");
    EXPECT_TRUE(sameBits(output.floats(), untouched));
    ZComposite(&output.image, {&part.image}, {nullptr}, 1);
    forEachFloat(output, [&](int64_t x, int64_t y, int channel, size_t place) {
        const float expected =
            x == 1 ? valueAt(&part, x, y, uint64_t(1) << channel) : untouched[place];
        EXPECT_TRUE(sameBits({output.floats()[place]}, {expected}));
    });
}
