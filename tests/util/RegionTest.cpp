#include <UTIL/Region.h>

#include <limits>
#include <sstream>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

using UTIL::Rect;
using UTIL::Region;

namespace
{

std::string textOf(const Region& region)
{
    std::ostringstream stream;
    stream << region;
    return stream.str();
}

}

TEST(Region, CutsBandsAtFullWidthFirst)
{
    Region region(Rect(0, 0, 10, 10));
    region.subtract(Rect(3, 4, 6, 7));
    EXPECT_EQ(textOf(region), "[(0,0,10,4)(0,7,10,10)(0,4,3,7)(6,4,10,7)]");

    // Added pixels come in as the pieces outside what is there already.
    Region sum(Rect(3, 4, 6, 7));
    sum.add(Rect(0, 0, 10, 10));
    EXPECT_EQ(textOf(sum), "[(3,4,6,7)(0,0,10,4)(0,7,10,10)(0,4,3,7)(6,4,10,7)]");
    sum.add(Region(sum));
    EXPECT_EQ(sum.size(), 5u);
    sum.add(sum);
    EXPECT_EQ(sum.size(), 5u);
    sum.subtract(sum);
    EXPECT_EQ(textOf(sum), "[]");
}

TEST(Region, EmptyOnesAndNullRectangles)
{
    const Rect inverted(5, 5, 2, 8);
    Region region;
    region.add(inverted);
    region.add(Region());
    EXPECT_TRUE(region.isEmpty());
    EXPECT_EQ(region.getBounds(), Rect());
    EXPECT_EQ(region.area(), 0u);
    EXPECT_FALSE(region.intersects(Rect(0, 0, 9, 9)));
    EXPECT_FALSE(region.contains(Rect(0, 0, 1, 1)));
    EXPECT_TRUE(region.contains(inverted));
    region.simplify();
    EXPECT_EQ(textOf(region), "[]");

    // One rectangle compares corners, also of a null rectangle; several hold every null one.
    region.add(Rect(0, 0, 4, 4));
    EXPECT_FALSE(region.contains(inverted));
    EXPECT_FALSE(region.intersects(inverted));
    region.add(Rect(6, 0, 8, 4));
    EXPECT_TRUE(region.contains(inverted));
    EXPECT_TRUE(region.intersected(Region(Rect(4, 0, 6, 4))).isEmpty()); // edges hold no pixels
    EXPECT_EQ(textOf(region.pad(-2, 0)), "[]");
    EXPECT_EQ(textOf(region.pad(-1, -1)), "[(1,1,3,3)]");
}

TEST(Region, PaddingAndOffsettingBeyondTheRangeThrow)
{
    Region region(Rect(0, 0, std::numeric_limits<int64_t>::max(), 4));
    const auto failureOf = [](auto&& work) -> std::string {
        try
        {
            work();
        }
        catch (const std::runtime_error& error)
        {
            return error.what();
        }
        return "nothing was thrown";
    };
    EXPECT_EQ(failureOf([&] { region.pad(1, 0); }),
              "Error padding rectangle (0,0,9223372036854775807,4) by (1,0). Overflow detected.");
    EXPECT_EQ(
        failureOf([&] { region.offset(2, -3); }),
        "Error offsetting rectangle (0,0,9223372036854775807,4) by (2,-3). Overflow detected.");
    EXPECT_EQ(textOf(region), "[(0,0,9223372036854775807,4)]");
}

TEST(Region, MergesRunsInOnePassAndSimplifiesAcrossCuts)
{
    Region row;
    for (const int64_t x : {4, 0, 2, 1, 3})
        row.add(Rect(x, 0, x + 1, 3));
    Region column = row;
    EXPECT_FALSE(column.mergeVertically());
    EXPECT_TRUE(row.mergeHorizontally());
    EXPECT_EQ(textOf(row), "[(0,0,5,3)]");

    // Two halves of a square, each an L, whose rectangles fit together nowhere.
    Region square;
    square.add(Rect(0, 0, 2, 6));
    square.add(Rect(2, 0, 6, 2));
    square.add(Rect(4, 2, 6, 6));
    square.add(Rect(2, 2, 4, 6));
    square.simplify();
    EXPECT_EQ(textOf(square), "[(0,0,6,6)]");
}

TEST(Region, StaysAPlainValueWhenItIsMovedFrom)
{
    Region region = Region::fromRectangles({Rect(0, 0, 1, 1), Rect(5, 5, 6, 6), Rect(0, 0, 1, 1)});
    const Region taken = std::move(region);
    region = Region(Rect(1, 1, 2, 2));
    EXPECT_EQ(textOf(taken), "[(0,0,1,1)(5,5,6,6)]");
    EXPECT_EQ(textOf(region), "[(1,1,2,2)]");
}
