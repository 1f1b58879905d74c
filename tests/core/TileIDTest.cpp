#include <QUILT/TileID.h>

#include <limits>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

using QUILT::TileID;
using UTIL::Rect;

namespace
{

std::vector<TileID> tilesOf(const Rect& rect, int width, int height)
{
    std::vector<TileID> tiles = {TileID(7, 7, 7, 7)}; // what was there is replaced
    const std::size_t count = TileID::convertToTileIDs(rect, tiles, width, height);
    EXPECT_EQ(count, tiles.size());
    return tiles;
}

}

TEST(TileID, CoversARectangleRowByRow)
{
    const std::vector<TileID> four = {
        {0, 0, 128, 128}, {1, 0, 128, 128}, {0, 1, 128, 128}, {1, 1, 128, 128}};
    EXPECT_EQ(tilesOf(Rect(0, 0, 256, 256), 128, 128), four);
    const std::vector<TileID> aroundTheOrigin = {
        {-1, -1, 64, 32}, {0, -1, 64, 32}, {-1, 0, 64, 32}, {0, 0, 64, 32}};
    EXPECT_EQ(tilesOf(Rect(-1, -1, 1, 1), 64, 32), aroundTheOrigin);
    EXPECT_TRUE(tilesOf(Rect(3, 3, 3, 9), 16, 16).empty());
}

TEST(TileID, UndividedAxesHaveOneIndex)
{
    const std::vector<TileID> rows = {{0, -1, -1, 10}, {0, 0, -1, 10}};
    EXPECT_EQ(tilesOf(Rect(500, -10, 900, 10), -1, 10), rows);
    const std::vector<TileID> columns = {{2, 0, 10, -1}};
    EXPECT_EQ(tilesOf(Rect(20, -700, 30, 500), 10, -1), columns);
    const std::vector<TileID> whole = {{0, 0, -1, -1}};
    EXPECT_EQ(tilesOf(Rect(-5, -5, 4000, 4000), -1, -1), whole);
    EXPECT_EQ(whole[0].rect(), Rect(-1000000, -1000000, 1000000, 1000000));
    EXPECT_EQ(rows[0].rect(), Rect(-1000000, -10, 1000000, 0));
}

// Beyond 2^24 a float no longer holds every pixel, and beyond 2^31 an int holds none.
TEST(TileID, IsExactAtAnyCoordinate)
{
    constexpr int64_t beyondFloat = (int64_t(1) << 24) + 1;
    const auto tiles =
        tilesOf(Rect(beyondFloat, -beyondFloat, beyondFloat + 1, 1 - beyondFloat), 1024, 1024);
    ASSERT_EQ(tiles.size(), 1u);
    EXPECT_TRUE(tiles[0].rect().contains(
        Rect(beyondFloat, -beyondFloat, beyondFloat + 1, 1 - beyondFloat)));

    constexpr int largest = std::numeric_limits<int>::max();
    const TileID far(32767, -32768, largest, largest);
    EXPECT_EQ(far.rect().x1, int64_t(32768) * largest);
    const auto found = tilesOf(
        Rect(far.rect().x1 - 1, far.rect().y0, far.rect().x1, far.rect().y0 + 1), largest, largest);
    EXPECT_EQ(found, std::vector<TileID>{far});
}

TEST(TileID, CoversARegionWithEachTileOnceInOrder)
{
    UTIL::Region region(Rect(10, 12, 14, 30));
    region.add(Rect(0, 0, 12, 2));
    region.add(Rect(-3, 15, 4, 17));
    std::vector<TileID> tiles;
    TileID::convertToTileIDs(region, tiles, 8, 16);
    const std::vector<TileID> expected = {{-1, 0, 8, 16}, {0, 0, 8, 16}, {1, 0, 8, 16},
                                          {-1, 1, 8, 16}, {0, 1, 8, 16}, {1, 1, 8, 16}};
    EXPECT_EQ(tiles, expected);
    EXPECT_EQ(TileID::convertToTileIDs(region, tiles, -1, -1), 1u);
    EXPECT_EQ(TileID::convertToTileIDs(UTIL::Region(), tiles, -1, -1), 0u);
    region.add(Rect(1000000, 0, 1000001, 1));
    EXPECT_THROW(TileID::convertToTileIDs(region, tiles, 1, 1), std::out_of_range);
    EXPECT_TRUE(tiles.empty());
}

TEST(TileID, RefusesIndicesBeyond16BitsNamingSizeAndRectangle)
{
    EXPECT_EQ(tilesOf(Rect(32767, -32768, 32768, -32767), 1, 1).size(), 1u);
    constexpr int64_t lowest = std::numeric_limits<int64_t>::min();
    for (const Rect& rect : {Rect(32767, 0, 32769, 1), Rect(0, -32769, 1, 0),
                             Rect(-(int64_t(1) << 40), 0, 0, 1), Rect(0, lowest, 1, lowest + 1)})
    {
        std::vector<TileID> tiles;
        try
        {
            TileID::convertToTileIDs(rect, tiles, 1, 1);
            FAIL() << rect;
        }
        catch (const std::out_of_range& error)
        {
            const std::string text = error.what();
            EXPECT_NE(text.find("1 by 1"), std::string::npos) << text;
            std::ostringstream name;
            name << rect;
            EXPECT_NE(text.find(name.str()), std::string::npos) << text;
            EXPECT_TRUE(tiles.empty());
        }
    }
}

TEST(TileID, OrdersByRowThenColumnWhateverTheSizes)
{
    EXPECT_LT(TileID(5, -1, 1, 1), TileID(-5, 0, 9, 9));
    EXPECT_LT(TileID(-5, 0, 9, 9), TileID(5, 0, 1, 1));
    EXPECT_FALSE(TileID(1, 1, 2, 2) < TileID(1, 1, 3, 3) ||
                 TileID(1, 1, 3, 3) < TileID(1, 1, 2, 2));
}
