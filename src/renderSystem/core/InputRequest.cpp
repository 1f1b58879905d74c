#include "private/InputRequest.h"

#include <EMULSION/Plumbing.h>

#include "private/ColorInputRequest.h"
#include "private/ExtendingInputRequest.h"
#include "private/ImageLock.h"
#include "private/RenderTask_Imp.h"

namespace QUILT::Private
{

InputRequest* makeInputRequest(RenderTask_Imp* inputTask, unsigned long channels,
                               EMULSION::ExtendMethod extendMethod, bool extendWithOverscan,
                               const UTIL::Rect& inputDisplayRect)
{
    switch (extendMethod)
    {
    case EMULSION::ExtendClamp:
        return new ClampInputRequest(inputTask, channels, extendWithOverscan, inputDisplayRect);
    case EMULSION::ExtendMirror:
        return new MirroredInputRequest(inputTask, channels, extendWithOverscan, inputDisplayRect);
    default:
        return new ColorInputRequest(inputTask, channels);
    }
}

ColorInputRequest::ColorInputRequest(RenderTask_Imp* inputTask, unsigned long channels)
    : m_inputTask(inputTask), m_channels(channels),
      m_backgroundColor(inputTask->getBackgroundColor())
{}

UTIL::Rect ColorInputRequest::getRequiredRect(const UTIL::Rect& rect)
{
    if (!needsTiles())
        return {};
    return rect.intersect(m_inputTask->getDefinedDataRegion().getBounds());
}

bool ColorInputRequest::needsTiles() const
{
    return (m_channels & m_inputTask->getDefinedChannels()) != 0;
}

// An image without channels stands for a tile of which nothing is needed: what is copied from it
// becomes 0.
ImageBuffer ColorInputRequest::getTileImage(const TileID& id) const
{
    return needsTiles() ? m_inputTask->getTileImage(id) : ImageBuffer(0, id.rect(), "No Tile", 0);
}

ImageBuffer ColorInputRequest::getImage(const UTIL::Rect& rect)
{
    const UTIL::Region& data = m_inputTask->getDefinedDataRegion();
    if (!data.intersects(rect))
        return {};
    if (!data.contains(rect))
        return assembleWithBackground(rect, data.intersected(rect));

    std::vector<TileID> tileIDs;
    if (m_inputTask->convertToTileIDs(rect, tileIDs) > 1)
        return assemble(rect, tileIDs);

    ImageBuffer tile = getTileImage(tileIDs[0]);
    if (tile.getChannels() == m_channels)
        return tile;
    ImageBuffer image(m_channels, rect, "Temporary Image From Single Tiles", 15);
    copyInto(image, tile);
    return image;
}

ImageBuffer ColorInputRequest::makeTemporary(const UTIL::Rect& rect) const
{
    return ImageBuffer(m_channels, rect, "Temporary Image From Many Tiles", 15);
}

void ColorInputRequest::copyInto(const ImageBuffer& destination, const ImageBuffer& source)
{
    const ImageLock to(destination);
    const ImageLock from(source);
    EMULSION::CopyInto(to.image(), from.image());
}

ImageBuffer ColorInputRequest::assemble(const UTIL::Rect& rect,
                                        const std::vector<TileID>& tileIDs) const
{
    ImageBuffer image = makeTemporary(rect);
    const ImageLock lock(image);
    for (const TileID& id : tileIDs)
    {
        const ImageLock tile(getTileImage(id));
        EMULSION::CopyInto(lock.image(), tile.image());
    }
    return image;
}

// The data is taken piece by piece: beside it a tile may hold more than the background, or nothing.
ImageBuffer ColorInputRequest::assembleWithBackground(const UTIL::Rect& rect,
                                                      const UTIL::Region& pieces) const
{
    ImageBuffer image = makeTemporary(rect);
    const ImageLock lock(image);
    EMULSION::Fill(lock.image(), m_backgroundColor.getValue());

    std::vector<TileID> tileIDs;
    m_inputTask->convertToTileIDs(pieces, tileIDs);
    for (const TileID& id : tileIDs)
    {
        const ImageLock tile(getTileImage(id));
        for (const UTIL::Rect& piece : pieces.intersected(id.rect()))
        {
            EMULSION::Image view;
            EMULSION::GetSubImage(&view, tile.image(), piece.x0, piece.y0, piece.x1, piece.y1);
            EMULSION::CopyInto(lock.image(), &view);
        }
    }
    return image;
}

}
