#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include <UTIL/Rect.h>
#include <UTIL/Region.h>

#include "QUILT/Export.h"

namespace QUILT
{

/// The place of a tile in the grid of its task. A plain value, used as a key.
///
/// The grid's origin is at pixel (0, 0); negative indices are columns left of it and rows below it.
/// A size of -1 says that the grid is not divided along that axis: the tile reaches from -1000000
/// to 1000000 there, and its index is 0.
class QUILT_API TileID
{
public:
    constexpr TileID() = default;
    constexpr TileID(short x_, short y_, int width_, int height_)
        : x(x_), y(y_), width(width_), height(height_)
    {}

    constexpr int getTileWidth() const { return width; }
    constexpr int getTileHeight() const { return height; }

    /// The pixels of the tile.
    UTIL::Rect rect() const;

    /// Puts the tiles that a rectangle touches into `out`, in place of what it held, row by row
    /// from the bottom and each row from the left. Returns their number, 0 for a null rectangle.
    ///
    /// Each size is above 0, in pixels, or -1. A tile whose index exceeds 16 bits throws
    /// std::out_of_range, with the tile size and the rectangle in its text; `out` is empty then.
    static std::size_t convertToTileIDs(const UTIL::Rect& rect, std::vector<TileID>& out,
                                        int tileWidth, int tileHeight);

    /// The same for a region: each tile once, in the order of tiles.
    static std::size_t convertToTileIDs(const UTIL::Region& region, std::vector<TileID>& out,
                                        int tileWidth, int tileHeight);

    /// Rows first, then columns. Sizes take no part: all tiles of one task share them.
    friend constexpr bool operator<(const TileID& a, const TileID& b)
    {
        return a.y != b.y ? a.y < b.y : a.x < b.x;
    }

    friend constexpr bool operator==(const TileID&, const TileID&) = default;

    int16_t x = 0;      ///< column
    int16_t y = 0;      ///< row
    int32_t width = 0;  ///< pixels, or -1
    int32_t height = 0; ///< pixels, or -1
};

}
