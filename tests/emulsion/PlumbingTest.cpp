#include <EMULSION/Plumbing.h>

#include <array>
#include <functional>
#include <limits>

#include "emulsion/TestImage.h"
#include "SimdTarget.h"

using namespace EMULSION;
using namespace EmulsionTest;
using QUILT::Test::forEachRandomCase;

namespace
{

constexpr int64_t s_highest = std::numeric_limits<int64_t>::max();

Rect randomRect(Random& random, int64_t origin)
{
    const int64_t x = origin + random.between(-9, 9), y = random.between(-4, 4) - origin;
    return Rect(x, y, x + random.between(0, 40), y + random.between(0, 6));
}

// The input as it was before the operation, which may have written to it.
struct InputBefore
{
    const TestImage& image;
    const std::vector<float> floats = image.floats();

    bool covers(int64_t x, int64_t y) const
    {
        return image.image.bounds.contains(Rect(x, y, x + 1, y + 1));
    }
    const float* find(int64_t x, int64_t y, uint64_t channel) const
    {
        const int64_t place = image.find(x, y, channel);
        return place < 0 ? nullptr : &floats[static_cast<size_t>(place)];
    }
};

// A float of the output, and what it was before.
struct Place
{
    int64_t x, y;
    uint64_t channel;
    float before;
};

struct Operation
{
    std::string name;
    std::function<void(const Image* output, const Image* input)> run;
    std::function<float(const Place& place, const InputBefore& input)> model;
};

uint64_t nthChannel(uint64_t mask, int n)
{
    for (; n > 0; --n)
        mask &= mask - 1;
    return mask & -mask;
}

Operation randomCopy(Random& random)
{
    const int64_t dx = random.between(-5, 5), dy = random.between(-3, 3);
    const auto moved = [](int64_t byX, int64_t byY) {
        return [=](const Place& p, const InputBefore& input) {
            const float* from = input.find(p.x - byX, p.y - byY, p.channel);
            return from ? *from : input.covers(p.x - byX, p.y - byY) ? 0.0f : p.before;
        };
    };
    switch (random.between(0, 2))
    {
    case 0:
        return {"Copy", Copy, moved(0, 0)};
    case 1:
        return {"CopyInto", CopyInto, moved(0, 0)};
    default:
        return {"Translate", [=](auto out, auto in) { Translate(out, in, dx, dy); }, moved(dx, dy)};
    }
}

Operation randomFill(Random& random)
{
    std::array<float, 4> colour = {0.0f, -0.0f, 0.0f, 0.0f};
    for (float& value : colour)
        if (random.oneIn(2))
            value = anyFloat(random);
    const auto mask = static_cast<unsigned long>(random.between(0, 15));
    const auto ofColour = [=](const Place& p) { return colour[std::countr_zero(p.channel)]; };
    switch (random.between(0, 2))
    {
    case 0:
        return {"Fill", [=](auto out, auto) { Fill(out, colour.data()); },
                [=](auto& place, auto&) { return ofColour(place); }};
    case 1:
        return {"FillChannels", [=](auto out, auto) { FillChannels(out, mask, colour.data()); },
                [=](auto& p, auto&) { return mask & p.channel ? ofColour(p) : p.before; }};
    default:
        return {"Clear", [](auto out, auto) { Clear(out); }, [](auto&, auto&) { return 0.0f; }};
    }
}

Operation randomChannelCopy(Random& random)
{
    const auto to = static_cast<unsigned long>(random.between(0, 15));
    const auto from = static_cast<unsigned long>(random.between(0, 15));
    return {"ChannelCopy " + std::to_string(to) + " from " + std::to_string(from),
            [=](auto out, auto in) { ChannelCopy(out, in, to, from); },
            [=](const Place& p, const InputBefore& input) {
                const bool oneToOne = std::popcount(to) == std::popcount(from);
                const int k = oneToOne ? std::popcount(to & (p.channel - 1)) : 0;
                const float* source =
                    to & p.channel ? input.find(p.x, p.y, nthChannel(from, k)) : nullptr;
                return source ? *source : p.before;
            }};
}

// Runs the operation, and compares all memory of the output with the model.
void expectAsModelled(const Operation& operation, TestImage& output, const TestImage& input)
{
    const InputBefore inputBefore{input};
    std::vector<float> expected = output.floats();
    const Rect& b = output.image.bounds;
    for (int64_t y = b.y0; y < b.y1; ++y)
        for (int64_t x = b.x0; x < b.x1; ++x)
            for (uint64_t channel = 1; channel <= 8; channel *= 2)
                if (const int64_t at = output.find(x, y, channel); at >= 0)
                {
                    float& value = expected[static_cast<size_t>(at)];
                    value = operation.model({x, y, channel, value}, inputBefore);
                }
    operation.run(&output.image, &input.image);
    EXPECT_TRUE(sameBits(output.floats(), expected));
    EXPECT_EQ(GetError(), ERROR_NONE) << GetErrorMessage();
}

void expectRandomCaseAsModelled(Random& random)
{
    const int64_t origin = random.oneIn(4) ? int64_t{1} << 40 : 0;
    TestImage output(random, static_cast<uint64_t>(random.between(0, 15)),
                     randomRect(random, origin));
    TestImage other(random, static_cast<uint64_t>(random.between(0, 15)),
                    randomRect(random, origin));
    const TestImage& input = random.oneIn(4) ? output : other;
    const Operation operation = random.oneIn(3)   ? randomFill(random)
                                : random.oneIn(2) ? randomCopy(random)
                                                  : randomChannelCopy(random);
    SCOPED_TRACE(operation.name + ", output " + testing::PrintToString(output.image) + ", input " +
                 (&input == &output ? "the same" : testing::PrintToString(input.image)));
    expectAsModelled(operation, output, input);
}

}

TEST(Plumbing, DoesWhatAModelOfSinglePixelsDoes)
{
    for (const std::string& target : Private::simdTargets())
    {
        Private::setSimdTarget(target);
        SCOPED_TRACE(target);
        forEachRandomCase(4000, expectRandomCaseAsModelled);
    }
    Private::setSimdTarget(Private::simdTargets().front());
}

TEST(Plumbing, CopiesBetweenOverlappingViewsOfOneImage)
{
    forEachRandomCase(300, [](Random& random) {
        TestImage whole(random, static_cast<uint64_t>(random.between(1, 15)), Rect(0, 0, 30, 9));
        const InputBefore before{whole};
        const int64_t dx = random.between(0, 9), dy = random.between(0, 4);
        Image from, to;
        GetSubImage(&from, &whole.image, dx, dy, dx + 20, dy + 5);
        GetSubImage(&to, &whole.image, 5, 2, 25, 7);
        ASSERT_EQ(GetError(), ERROR_NONE) << GetErrorMessage();
        Translate(&to, &from, 5 - dx, 2 - dy);
        for (int64_t y = 0; y < 9; ++y)
            for (int64_t x = 0; x < 30; ++x)
            {
                const bool inside = x >= 5 && x < 25 && y >= 2 && y < 7;
                std::vector<float> now(4), was(4);
                GetPixel(&whole.image, x, y, now.data());
                for (uint64_t c = 1; c <= 8; c *= 2)
                    if (const float* p =
                            before.find(inside ? x - 5 + dx : x, inside ? y - 2 + dy : y, c))
                        was[static_cast<size_t>(std::countr_zero(c))] = *p;
                ASSERT_TRUE(sameBits(now, was)) << x << "," << y;
            }
    });
}

TEST(Plumbing, ViewsShareThePixelsInsideTheBounds)
{
    Random random(1);
    TestImage whole(random, ChannelRed | ChannelAlpha, Rect(-4, 10, 6, 20));
    Image view;
    GetSubImage(&view, &whole.image, -1, 12, 5, 19);
    EXPECT_EQ(view.bounds, Rect(-1, 12, 5, 19));
    const float rgba[4] = {1, 2, 3, 4};
    SetPixel(&view, 0, 13, rgba);
    float read[4] = {9, 9, 9, 9};
    GetPixel(&whole.image, 0, 13, read);
    EXPECT_EQ(std::vector<float>(read, read + 4), (std::vector<float>{1, 9, 9, 4}));

    GetSubImage(&view, &view, 0, 13, 1, 14);
    EXPECT_EQ(*view.pixelPtr, 1.0f);
    GetSubImage(&view, &whole.image, 0, 0, 0, 0); // what Rect::intersect gives for no pixels
    EXPECT_TRUE(view.bounds.isNull());
    EXPECT_EQ(view.channels, whole.image.channels);
    EXPECT_EQ(GetError(), ERROR_NONE) << GetErrorMessage();
    GetSubImage(&view, &whole.image, -5, 12, 5, 19);
    EXPECT_TRUE(view.bounds.isNull());
    expectError(ERROR_INVALID_ARGUMENT, "GetSubImage: the rectangle (-5,12,5,19)");
}

TEST(Plumbing, RefusesWhatIsNoImage)
{
    Random random(1);
    TestImage sound(random, 15, Rect(0, 0, 5, 5));
    const float rgba[4] = {};
    const std::vector<std::pair<Error, std::function<void(Image&)>>> faults = {
        {ERROR_INVALID_CHANNELS, [](Image& image) { image.channels = 16; }},
        {ERROR_INVALID_ARGUMENT, [](Image& image) { image.pixelPtr = nullptr; }},
        {ERROR_INVALID_ARGUMENT, [](Image& image) { image.bounds.x1 = -1; }},
        {ERROR_INVALID_ARGUMENT, [](Image& image) { image.bounds.y0 = 6; }},
        {ERROR_INVALID_ARGUMENT, [](Image& image) { image.rowBytes = 16; }},
        {ERROR_INVALID_ARGUMENT, [](Image& image) { ++image.rowBytes; }},
        {ERROR_INVALID_ARGUMENT, [](Image& image) { image.bounds.x1 = s_highest; }},
        {ERROR_INVALID_ARGUMENT, [](Image& image) { image.bounds.y1 = s_highest; }},
    };
    const std::vector<float> before = sound.floats();
    for (const auto& [code, damage] : faults)
    {
        Image bad = sound.image;
        damage(bad);
        Fill(&bad, rgba);
        expectError(code, "Fill: the image has ");
        FillChannels(&bad, 1, rgba);
        expectError(code, "FillChannels: the image has ");
        Clear(&bad);
        expectError(code, "Clear: the image has ");
        Copy(&bad, &sound.image);
        expectError(code, "Copy: the output has ");
        CopyInto(&sound.image, &bad);
        expectError(code, "CopyInto: the source has ");
        ChannelCopy(&sound.image, &bad, 1, 2);
        expectError(code, "ChannelCopy: the source has ");
        Translate(&sound.image, &bad, 1, 1);
        expectError(code, "Translate: the input has ");
    }
    EXPECT_TRUE(sameBits(sound.floats(), before));
}

TEST(Plumbing, RefusesWhatTheOthersDoNotCover)
{
    Random random(1);
    TestImage image(random, 15, Rect(0, 0, 5, 5));
    const std::vector<float> before = image.floats();
    float rgba[4] = {};
    Copy(nullptr, &image.image);
    expectError(ERROR_INVALID_ARGUMENT, "Copy: the output is null");
    Fill(&image.image, nullptr);
    expectError(ERROR_INVALID_ARGUMENT, "Fill: the colour is null");
    FillChannels(&image.image, 16, rgba);
    expectError(ERROR_INVALID_CHANNELS, "FillChannels: the channel mask 16");
    ChannelCopy(&image.image, &image.image, 1, 17);
    expectError(ERROR_INVALID_CHANNELS, "ChannelCopy: the channel mask 17");
    Translate(&image.image, &image.image, s_highest - 4, 0);
    expectError(ERROR_INVALID_ARGUMENT, "Translate: moving (0,0,5,5) by");
    GetPixel(&image.image, 5, 0, rgba);
    expectError(ERROR_INVALID_ARGUMENT, "GetPixel: the pixel (5,0)");
    SetPixel(&image.image, 0, -1, rgba);
    expectError(ERROR_INVALID_ARGUMENT, "SetPixel: the pixel (0,-1)");
    ChannelCopy(&image.image, nullptr, 1, 1); // no error, and nothing to copy
    EXPECT_EQ(GetError(), ERROR_NONE) << GetErrorMessage();
    EXPECT_TRUE(sameBits(image.floats(), before));
}
