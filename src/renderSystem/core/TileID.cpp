#include "QUILT/TileID.h"

#include <algorithm>
#include <limits>
#include <sstream>
#include <stdexcept>

#include "private/Assert.h"

namespace QUILT
{

namespace
{

constexpr int s_undivided = -1;
constexpr int64_t s_undividedReach = 1000000;

struct Span
{
    int64_t first, last; // both inside
};

int64_t floorDivide(int64_t value, int64_t divisor)
{
    return value / divisor - (value % divisor < 0 ? 1 : 0);
}

// The indices along one axis that the pixels from `begin` up to but not including `end` touch.
Span indices(int64_t begin, int64_t end, int tileSize)
{
    if (tileSize == s_undivided)
        return {0, 0};
    return {floorDivide(begin, tileSize), floorDivide(end - 1, tileSize)};
}

bool fits(const Span& span)
{
    using Index = std::numeric_limits<int16_t>;
    return span.first >= Index::min() && span.last <= Index::max();
}

// The edges of one tile along one axis.
Span edges(int index, int tileSize)
{
    if (tileSize == s_undivided)
        return {-s_undividedReach, s_undividedReach};
    return {int64_t(index) * tileSize, (int64_t(index) + 1) * tileSize};
}

void refuse(const UTIL::Rect& rect, int tileWidth, int tileHeight)
{
    std::ostringstream text;
    text << "Tiles of " << tileWidth << " by " << tileHeight << " pixels are too small for the "
         << "rectangle " << rect << ": tile indices are limited to 16 bits.";
    throw std::out_of_range(text.str());
}

// Appends, without looking at what is there already.
void appendTiles(const UTIL::Rect& rect, std::vector<TileID>& out, int tileWidth, int tileHeight)
{
    QUILT_ASSERT(tileWidth == -1 || tileWidth > 0);
    QUILT_ASSERT(tileHeight == -1 || tileHeight > 0);
    if (rect.isNull())
        return;
    const Span columns = indices(rect.x0, rect.x1, tileWidth);
    const Span rows = indices(rect.y0, rect.y1, tileHeight);
    if (!fits(columns) || !fits(rows))
        refuse(rect, tileWidth, tileHeight);
    for (int64_t y = rows.first; y <= rows.last; ++y)
    {
        for (int64_t x = columns.first; x <= columns.last; ++x)
            out.emplace_back(short(x), short(y), tileWidth, tileHeight);
    }
}

}

UTIL::Rect TileID::rect() const
{
    const Span horizontal = edges(x, width);
    const Span vertical = edges(y, height);
    return UTIL::Rect(horizontal.first, vertical.first, horizontal.last, vertical.last);
}

std::size_t TileID::convertToTileIDs(const UTIL::Rect& rect, std::vector<TileID>& out,
                                     int tileWidth, int tileHeight)
{
    out.clear();
    appendTiles(rect, out, tileWidth, tileHeight);
    return out.size();
}

std::size_t TileID::convertToTileIDs(const UTIL::Region& region, std::vector<TileID>& out,
                                     int tileWidth, int tileHeight)
{
    out.clear();
    try
    {
        for (const UTIL::Rect& rect : region)
            appendTiles(rect, out, tileWidth, tileHeight);
    }
    catch (...)
    {
        out.clear();
        throw;
    }
    std::sort(out.begin(), out.end());
    out.erase(std::unique(out.begin(), out.end()), out.end());
    return out.size();
}

}
