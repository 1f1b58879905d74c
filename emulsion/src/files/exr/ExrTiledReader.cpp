#include <algorithm>

#include "EMULSION/Plumbing.h"
#include "files/exr/ExrReader.h"
#include "files/OwnedImage.h"

namespace EMULSION::Private
{

// Columns and rows of tiles, half-open, counted from the top left.
struct ExrTiledReader::Tiles
{
    int64_t x0, y0, x1, y1;

    bool isEmpty() const { return x0 >= x1 || y0 >= y1; }
    bool isOne() const { return x1 - x0 == 1 && y1 - y0 == 1; }

    // Halves, along the longer side.
    std::pair<Tiles, Tiles> halves() const
    {
        const int64_t x = (x0 + x1) / 2, y = (y0 + y1) / 2;
        if (x1 - x0 > y1 - y0)
            return {{x0, y0, x, y1}, {x, y0, x1, y1}};
        return {{x0, y0, x1, y}, {x0, y, x1, y1}};
    }
};

ExrTiledReader::ExrTiledReader(ExrPart part)
    : ExrReader(std::move(part)), m_input(m_part.file(), m_part.number())
{}

ExrTiledReader::Tiles ExrTiledReader::tilesOf(const UTIL::Rect& rect) const
{
    const UTIL::Rect data = m_part.dataRect();
    const int64_t width = picture().tileWidth, height = picture().tileHeight;
    return {(rect.x0 - data.x0) / width, (data.y1 - rect.y1) / height,
            (rect.x1 - 1 - data.x0) / width + 1, (data.y1 - 1 - rect.y0) / height + 1};
}

UTIL::Rect ExrTiledReader::rectOf(const Tiles& tiles) const
{
    const UTIL::Rect data = m_part.dataRect();
    const int64_t width = picture().tileWidth, height = picture().tileHeight;
    return UTIL::Rect(data.x0 + tiles.x0 * width, data.y1 - tiles.y1 * height,
                      data.x0 + tiles.x1 * width, data.y1 - tiles.y0 * height)
        .intersect(data);
}

// Tiles that lie in the image as a whole are decoded into its rows, those at its border into memory
// of ours: a column of tiles on either side, a row above and below.
void ExrTiledReader::readPlanned(const Image& image, const ExrChannelPlan& plan)
{
    if (!plan.needsSlices()) // OpenEXR refuses to read nothing
        return;
    const Tiles all = tilesOf(image.bounds);
    const UTIL::Rect touched = rectOf(all);
    Tiles inner = all;
    inner.x0 += touched.x0 < image.bounds.x0;
    inner.x1 -= touched.x1 > image.bounds.x1;
    inner.y0 += touched.y1 > image.bounds.y1;
    inner.y1 -= touched.y0 < image.bounds.y0;
    FirstFailure failure;
    if (inner.isEmpty())
        readTiles(image, plan, all, failure);
    else
        for (const Tiles& tiles :
             {Tiles{all.x0, all.y0, all.x1, inner.y0}, Tiles{all.x0, inner.y0, inner.x0, inner.y1},
              inner, Tiles{inner.x1, inner.y0, all.x1, inner.y1},
              Tiles{all.x0, inner.y1, all.x1, all.y1}})
            if (!tiles.isEmpty())
                readTiles(image, plan, tiles, failure);
    failure.throwIfAny();
}

// Reads a block of tiles; those that cannot be read become 0.
void ExrTiledReader::readTiles(const Image& image, const ExrChannelPlan& plan, const Tiles& tiles,
                               FirstFailure& failure)
{
    if (failure.attemptToRead([&] { readBlock(image, plan, tiles); }))
        return;
    if (tiles.isOne())
    {
        const UTIL::Rect part = rectOf(tiles).intersect(image.bounds);
        Image view;
        GetSubImage(&view, &image, part.x0, part.y0, part.x1, part.y1);
        Clear(&view);
        return;
    }
    const auto [first, second] = tiles.halves();
    readTiles(image, plan, first, failure);
    readTiles(image, plan, second, failure);
}

void ExrTiledReader::readBlock(const Image& image, const ExrChannelPlan& plan, const Tiles& tiles)
{
    const UTIL::Rect rect = rectOf(tiles);
    if (!image.bounds.contains(rect))
    {
        const OwnedImage whole(image.channels, rect);
        readBlock(whole.image, plan, tiles);
        Copy(&image, &whole.image);
        return;
    }
    m_input.setFrameBuffer(plan.frameBuffer(image, m_part.flip()));
    m_input.readTiles(static_cast<int>(tiles.x0), static_cast<int>(tiles.x1 - 1),
                      static_cast<int>(tiles.y0), static_cast<int>(tiles.y1 - 1), 0, 0);
    plan.copyRepeated(image);
}

}
