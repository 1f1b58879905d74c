#include <UTIL/Rect.h>

#include <limits>
#include <sstream>
#include <stdexcept>

#include <gtest/gtest.h>

using UTIL::Rect;

namespace
{

constexpr int64_t s_lowest = std::numeric_limits<int64_t>::min();
constexpr int64_t s_highest = std::numeric_limits<int64_t>::max();

std::string failureOf(const auto& work)
{
    try
    {
        work();
    }
    catch (const std::runtime_error& error)
    {
        return error.what();
    }
    return "nothing was thrown";
}

}

TEST(Rect, IntersectsAndUnitesSkippingNullOnes)
{
    const Rect a(0, 0, 10, 10);
    const Rect null(5, 5, 5, 9);
    EXPECT_EQ(a.intersect(Rect(5, -5, 20, 5)), Rect(5, 0, 10, 5));
    EXPECT_TRUE(
        a.intersect(Rect(10, 0, 20, 10)).isNull()); // they share an edge, which has no pixels
    EXPECT_TRUE(a.intersect(null).isNull());
    EXPECT_TRUE(null.intersect(a).isNull());
    EXPECT_EQ(a.unite(null), a);
    EXPECT_EQ(null.unite(a), a);
    EXPECT_EQ(a.unite(Rect(-3, 4, 2, 12)), Rect(-3, 0, 10, 12));
}

TEST(Rect, EqualityLooksAtTheFields)
{
    EXPECT_NE(Rect(1, 1, 1, 1), Rect());
    EXPECT_TRUE(Rect(1, 1, 1, 1).isNull());
}

TEST(Rect, PaddingThatOverflowsThrowsOrGivesZero)
{
    const Rect edge(0, s_lowest, s_highest, 10);
    EXPECT_EQ(failureOf([&] { (void)edge.pad(1, 0, true); }),
              "Error padding rectangle (0,-9223372036854775808,9223372036854775807,10) by (1,0). "
              "Overflow detected.");
    EXPECT_EQ(edge.pad(1, 2, false), Rect(-1, 0, 0, 12));
    EXPECT_EQ(edge.pad(0, -3, true), Rect(0, s_lowest + 3, s_highest, 7));
    // The negated amount does not exist, the difference does.
    EXPECT_EQ(Rect(-1, -1, -1, -1).pad(s_lowest, 0, false).x0, s_highest);
}

TEST(Rect, OffsettingThatOverflowsThrowsOrGivesZero)
{
    EXPECT_EQ(Rect(0, 0, 4, 4).offset(-2, 3, true), Rect(-2, 3, 2, 7));
    EXPECT_EQ(
        failureOf([] { (void)Rect(0, 0, s_highest, 4).offset(1, 0, true); }),
        "Error offsetting rectangle (0,0,9223372036854775807,4) by (1,0). Overflow detected.");
    EXPECT_EQ(Rect(0, 0, s_highest, 4).offset(1, 0, false), Rect(1, 0, 0, 4));
}

TEST(Rect, PrintsWithoutBlanksWhateverTheStreamIsSetTo)
{
    std::ostringstream stream;
    stream << std::hex << std::showpos << Rect(-20, 30, 1000, 16);
    EXPECT_EQ(stream.str(), "(-20,30,1000,16)");
}
