#include <UTIL/Region.h>

#include <algorithm>
#include <bitset>
#include <vector>

#include <gtest/gtest.h>

#include "support/Random.h"

using QUILT::Test::forEachRandomCase;
using QUILT::Test::Random;
using UTIL::Rect;
using UTIL::Region;

namespace
{

// A set of pixels as the regions are held against: one bit a pixel of a small plane.
constexpr int64_t s_low = -12;
constexpr int64_t s_side = 40;
using Pixels = std::bitset<s_side * s_side>;

bool has(const Pixels& pixels, int64_t x, int64_t y)
{
    const bool inside = x >= s_low && x < s_low + s_side && y >= s_low && y < s_low + s_side;
    return inside && pixels[static_cast<std::size_t>((y - s_low) * s_side + x - s_low)];
}

Pixels pixelsOf(const Rect& rect)
{
    Pixels pixels;
    for (int64_t y = rect.y0; y < rect.y1; ++y)
    {
        for (int64_t x = rect.x0; x < rect.x1; ++x)
            pixels.set(static_cast<std::size_t>((y - s_low) * s_side + x - s_low));
    }
    return pixels;
}

// Also tells that the region is sound: no rectangle is null, no two overlap.
Pixels pixelsOf(const Region& region)
{
    Pixels pixels;
    for (const Rect& rect : region)
    {
        EXPECT_FALSE(rect.isNull()) << region;
        EXPECT_TRUE((pixels & pixelsOf(rect)).none()) << region;
        pixels |= pixelsOf(rect);
    }
    EXPECT_EQ(region.area(), pixels.count()) << region;
    EXPECT_EQ(region.isEmpty(), pixels.none());
    return pixels;
}

// Null and inverted ones are among them.
Rect randomRect(Random& random)
{
    const int64_t x = random.between(0, 14);
    const int64_t y = random.between(0, 14);
    return Rect(x, y, x + random.between(-1, 8), y + random.between(-1, 8));
}

Region randomRegion(Random& random)
{
    Region region;
    for (int64_t i = random.between(0, 6); i > 0; --i)
    {
        if (random.oneIn(3))
            region.subtract(randomRect(random));
        else
            region.add(randomRect(random));
    }
    return region;
}

bool isRun(const Pixels& pixels, int64_t x0, int64_t x1, int64_t y)
{
    for (int64_t x = x0; x < x1; ++x)
    {
        if (!has(pixels, x, y))
            return false;
    }
    return !has(pixels, x0 - 1, y) && !has(pixels, x1, y);
}

// The form of simplify, which the pixels alone decide.
void expectSimplified(const Region& region, const Pixels& pixels)
{
    EXPECT_EQ(pixelsOf(region), pixels);
    for (const Rect& rect : region)
    {
        for (int64_t y = rect.y0; y < rect.y1; ++y)
            EXPECT_TRUE(isRun(pixels, rect.x0, rect.x1, y)) << rect << " of " << region;
        EXPECT_FALSE(isRun(pixels, rect.x0, rect.x1, rect.y0 - 1)) << rect << " of " << region;
        EXPECT_FALSE(isRun(pixels, rect.x0, rect.x1, rect.y1)) << rect << " of " << region;
    }
}

}

TEST(RegionProperty, EveryOperationGivesThePixelsOfABitmap)
{
    forEachRandomCase(20000, [](Random& random) {
        const Region a = randomRegion(random);
        const Region b = randomRegion(random);
        const Rect rect = randomRect(random);
        const Pixels pixelsA = pixelsOf(a);
        const Pixels pixelsB = pixelsOf(b);
        const Pixels pixelsR = pixelsOf(rect);

        Region changed = a;
        changed.add(b);
        EXPECT_EQ(pixelsOf(changed), pixelsA | pixelsB);
        changed.subtract(rect);
        EXPECT_EQ(pixelsOf(changed), (pixelsA | pixelsB) & ~pixelsR);
        changed.add(rect);
        EXPECT_EQ(pixelsOf(changed), pixelsA | pixelsB | pixelsR);
        changed.intersect(rect);
        EXPECT_EQ(pixelsOf(changed), pixelsR);
        EXPECT_EQ(pixelsOf(a.subtracted(b)), pixelsA & ~pixelsB);
        EXPECT_EQ(pixelsOf(a.intersected(b)), pixelsA & pixelsB);
        EXPECT_EQ(a.intersects(rect), (pixelsA & pixelsR).any());
        EXPECT_TRUE(rect.isNull() || a.contains(rect) == (pixelsR & ~pixelsA).none()) << rect << a;

        const Rect bounds = a.getBounds();
        EXPECT_TRUE((pixelsA & ~pixelsOf(bounds)).none());
        EXPECT_EQ(bounds.isNull(), a.isEmpty());
        for (const Rect& inner : {bounds.pad(-1, 0, true), bounds.pad(0, -1, true)})
            EXPECT_TRUE(a.isEmpty() || (pixelsA & ~pixelsOf(inner)).any());
    });
}

TEST(RegionProperty, PaddingAndOffsettingMoveEachRectangle)
{
    forEachRandomCase(5000, [](Random& random) {
        const Region region = randomRegion(random);
        const int64_t dx = random.between(-4, 4);
        const int64_t dy = random.between(-4, 4);
        Pixels padded, offset;
        for (const Rect& rect : region)
        {
            padded |= pixelsOf(rect.pad(dx, dy, true));
            offset |= pixelsOf(rect.offset(dx, dy, true));
        }
        EXPECT_EQ(pixelsOf(region.pad(dx, dy)), padded);
        EXPECT_EQ(pixelsOf(region.offset(dx, dy)), offset);
    });
}

TEST(RegionProperty, MergedAndSimplifiedItIsTheSamePixels)
{
    forEachRandomCase(10000, [](Random& random) {
        Region region = randomRegion(random);
        const Pixels pixels = pixelsOf(region);
        for (int pass = 0; pass < 4; ++pass)
        {
            const std::size_t before = region.size();
            const bool merged = pass % 2 ? region.mergeVertically() : region.mergeHorizontally();
            EXPECT_EQ(merged, region.size() < before);
            EXPECT_EQ(pixelsOf(region), pixels);
        }
        region.simplify();
        expectSimplified(region, pixels);
    });
}

TEST(RegionProperty, ManyOverlappingRectanglesComeOutSimplified)
{
    forEachRandomCase(5000, [](Random& random) {
        std::vector<Rect> rects;
        Pixels pixels;
        for (int64_t i = random.between(0, 25); i > 0; --i)
        {
            rects.push_back(randomRect(random));
            if (random.oneIn(2)) // slender ones leave holes between them
                rects.back().x1 = std::min(rects.back().x1, rects.back().x0 + 1);
            pixels |= pixelsOf(rects.back());
        }
        expectSimplified(Region::fromRectangles(rects), pixels);
    });
}
