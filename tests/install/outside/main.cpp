#include <iostream>

#include <QUILT/TileID.h>

int main()
{
    std::vector<QUILT::TileID> tiles;
    const UTIL::Rect rect(0, 0, 100, 40);
    std::cout << rect << ' ' << QUILT::TileID::convertToTileIDs(rect, tiles, 64, 64) << '\n';
}
