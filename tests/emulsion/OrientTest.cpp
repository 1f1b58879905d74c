#include <EMULSION/Orient.h>

#include <cmath>
#include <limits>
#include <utility>

#include "emulsion/SimdScope.h"
#include "emulsion/TestImage.h"

using namespace EMULSION;
using namespace EmulsionTest;
using QUILT::Test::forEachRandomCase;

namespace
{

constexpr int64_t s_lowest = std::numeric_limits<int64_t>::min();
constexpr int64_t s_highest = std::numeric_limits<int64_t>::max();

// Where the centre of a pixel goes, both counted from the corner of a picture of w by h pixels: the
// quarter turn by its matrix, the others as what they are.
std::pair<int64_t, int64_t> placeOf(int operation, int64_t column, int64_t row, int64_t w,
                                    int64_t h)
{
    double x = double(column) + 0.5 - double(w) / 2, y = double(row) + 0.5 - double(h) / 2;
    const bool turns = operation == 1 || operation == 3;
    if (turns)
        std::tie(x, y) = operation == 1 ? std::pair(-y, x) : std::pair(y, -x);
    if (operation == 2 || operation == 5 || operation == 6)
        x = -x;
    if (operation == 2 || operation == 4 || operation == 6)
        y = -y;
    return {int64_t(std::floor(x + double(turns ? h : w) / 2)),
            int64_t(std::floor(y + double(turns ? w : h) / 2))};
}

void orient(int operation, const Image* output, const Image* input)
{
    if (operation == 1 || operation == 3)
        Orient(output, input, operation);
    else
        (operation == 4 ? Flip : operation == 5 ? Flop : FlipFlop)(output, input);
}

Rect randomRect(Random& random)
{
    const int64_t x = random.between(-9, 9), y = random.between(-9, 9);
    const int64_t longest = random.oneIn(3) ? 3 : random.oneIn(8) ? 150 : 25;
    return Rect(x, y, x + random.between(0, longest), y + random.between(0, longest));
}

}

TEST(Orient, TakesEachPixelToItsPlace)
{
    for (const std::string& target : Private::simdTargets())
    {
        SCOPED_TRACE(target);
        const SimdScope scope(target);
        forEachRandomCase(600, [&](Random& random) {
            const int operation = static_cast<int>(random.between(1, 6));
            const bool turns = operation == 1 || operation == 3;
            const Rect from = randomRect(random);
            const int64_t w = from.width(), h = from.height(), x = random.between(-9, 9);
            const Rect to(x, -x, x + (turns ? h : w), (turns ? w : h) - x);
            const auto anyMask = [&] { return static_cast<uint64_t>(random.between(0, 15)); };
            const TestImage input(random, anyMask(), from);
            TestImage output(random, random.oneIn(2) ? input.image.channels : anyMask(), to);

            std::vector<float> expected = output.floats();
            for (int64_t row = 0; row < h; ++row)
                for (int64_t column = 0; column < w; ++column)
                {
                    const auto place = placeOf(operation, column, row, w, h);
                    for (uint64_t c = 1; c <= 8; c *= 2)
                    {
                        const int64_t source = input.find(from.x0 + column, from.y0 + row, c);
                        const int64_t target =
                            output.find(to.x0 + place.first, to.y0 + place.second, c);
                        if (target >= 0)
                            expected[size_t(target)] =
                                source < 0 ? 0.0f : input.floats()[size_t(source)];
                    }
                }
            orient(operation, &output.image, &input.image);
            ASSERT_EQ(GetError(), ERROR_NONE) << GetErrorMessage();
            ASSERT_TRUE(sameBits(output.floats(), expected))
                << operation << " of " << testing::PrintToString(input.image) << " into "
                << testing::PrintToString(output.image);
        });
    }
}

TEST(Orient, TakesRectanglesWhereThePixelsGoAndBack)
{
    forEachRandomCase(2000, [&](Random& random) {
        const int operation = static_cast<int>(random.between(0, 6));
        const Rect display = randomRect(random);
        const Rect oriented = OrientRect(operation, display, display);
        const int64_t w = display.width(), h = display.height();
        EXPECT_EQ(std::pair(oriented.x0, oriented.y0), std::pair(display.x0, display.y0));
        const int64_t x = random.between(-50, 50), y = random.between(-50, 50);
        const auto [column, row] = placeOf(operation, x - display.x0, y - display.y0, w, h);
        const Rect pixel(x, y, x + 1, y + 1);
        const Rect found = OrientRect(operation, pixel, display);
        ASSERT_EQ(found, Rect(display.x0 + column, display.y0 + row, display.x0 + column + 1,
                              display.y0 + row + 1))
            << operation << " in " << display;
        ASSERT_EQ(UnOrientRect(operation, found, oriented), pixel);
        const Rect wide = pixel.unite(randomRect(random));
        ASSERT_EQ(UnOrientRect(operation, OrientRect(operation, wide, display), oriented), wide);
        ASSERT_TRUE(OrientRect(operation, wide, display).contains(found));
    });
    EXPECT_EQ(GetError(), ERROR_NONE);
}

TEST(Orient, ChecksTheRangeOfCoordinates)
{
    const Rect all(s_lowest, s_lowest, s_highest, s_highest);
    // The picture's edges change places, so that sums beyond the range come back into it.
    EXPECT_EQ(OrientRect(OrientHalfTurn, all, all), all);
    EXPECT_EQ(OrientRect(OrientCounterClockwise, all, all), all);
    EXPECT_EQ(GetError(), ERROR_NONE);
    const Rect pixel(0, 0, 1, 1);
    EXPECT_EQ(OrientRect(OrientFlop, Rect(s_lowest, 0, 0, 1), pixel), Rect());
    expectError(ERROR_INVALID_ARGUMENT, "OrientRect: orienting (-9223372036854775808,0,0,1)");
    EXPECT_EQ(UnOrientRect(OrientClockwise, Rect(0, s_lowest, 1, 0), pixel), Rect());
    expectError(ERROR_INVALID_ARGUMENT, "UnOrientRect: orienting");
    for (const int operation : {-1, 7})
    {
        EXPECT_EQ(OrientRect(operation, pixel, pixel), Rect());
        expectError(ERROR_INVALID_ARGUMENT, "OrientRect: no orient operation has the number ");
    }
}

TEST(Orient, RefusesWhatDoesNotFit)
{
    Random random(1);
    TestImage output(random, 15, Rect(0, 0, 4, 3));
    TestImage wide(random, 15, Rect(5, 5, 9, 8)), high(random, 15, Rect(5, 5, 8, 9));
    const std::vector<float> untouched = output.floats();
    for (const int operation : {1, 3, 4, 5, 6})
    {
        const bool turns = operation == 1 || operation == 3;
        orient(operation, &output.image, turns ? &wide.image : &high.image);
        expectError(ERROR_INVALID_ARGUMENT, "do not have the size to fill (0,0,4,3)");
        orient(operation, &output.image, nullptr);
        expectError(ERROR_INVALID_ARGUMENT, "the input is null");
    }
    Orient(&output.image, &high.image, 2);
    expectError(ERROR_INVALID_ARGUMENT, "Orient: a turn is 1 or 3");
    EXPECT_TRUE(sameBits(output.floats(), untouched));
}
