// Tells which tiles a rectangle of pixels falls into, and how much of each of them it covers.

#include <cstdint>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <vector>

#include <QUILT/TileID.h>
#include <UTIL/Rect.h>

int main(int argc, char** argv)
try
{
    if (argc != 1 && argc != 6)
    {
        std::cerr << "usage: tiles [x0 y0 x1 y1 tile-size]\n";
        return 2;
    }
    const auto number = [&](int i, int64_t otherwise) {
        return argc == 6 ? std::strtoll(argv[i], nullptr, 10) : otherwise;
    };
    const UTIL::Rect rect(number(1, -20), number(2, 0), number(3, 1900), number(4, 1080));
    const int size = static_cast<int>(number(5, 512));

    std::vector<QUILT::TileID> tiles;
    std::cout << rect << " touches " << QUILT::TileID::convertToTileIDs(rect, tiles, size, size)
              << " tiles of " << size << " pixels:\n";
    for (const QUILT::TileID& tile : tiles)
    {
        const UTIL::Rect part = tile.rect().intersect(rect);
        std::cout << "  column " << tile.x << ", row " << tile.y << ": " << part.width() << " x "
                  << part.height() << " pixels\n";
    }
    return 0;
}
catch (const std::exception& error)
{
    std::cerr << "tiles: " << error.what() << '\n';
    return 1;
}
