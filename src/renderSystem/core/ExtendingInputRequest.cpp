#include "private/ExtendingInputRequest.h"

#include <map>

#include <EMULSION/Extend.h>
#include <EMULSION/Plumbing.h>

#include "private/Assert.h"
#include "private/ImageLock.h"
#include "private/RenderTask_Imp.h"
#include "QUILT/Exceptions.h"

namespace QUILT::Private
{

namespace
{

using EMULSION::ExtendAction;

// One axis of a piece of an action: where the part `r0` to `r1` of the source interval lands in the
// destination interval.
struct Interval
{
    int64_t s0, s1; // source
    int64_t t0, t1; // destination
    int64_t r0, r1; // part of the source

    void straight(int64_t& d0, int64_t& d1) const
    {
        d0 = r0 + (t0 - s0);
        d1 = r1 + (t1 - s1);
    }

    void mirrored(int64_t& d0, int64_t& d1) const
    {
        d0 = s1 + (t0 - r1);
        d1 = s0 + (t1 - r0);
    }
};

// The part of an action that reads `part` of its source.
ExtendAction partOf(const ExtendAction& action, const UTIL::Rect& part)
{
    const UTIL::Rect& s = action.source;
    const UTIL::Rect& t = action.destination;
    const Interval x{s.x0, s.x1, t.x0, t.x1, part.x0, part.x1};
    const Interval y{s.y0, s.y1, t.y0, t.y1, part.y0, part.y1};

    ExtendAction result = action;
    result.source = part;
    UTIL::Rect& d = result.destination;
    switch (action.type)
    {
    case EMULSION::ExtendMirrorY:
        x.straight(d.x0, d.x1);
        y.mirrored(d.y0, d.y1);
        break;
    case EMULSION::ExtendMirrorX:
        x.mirrored(d.x0, d.x1);
        y.straight(d.y0, d.y1);
        break;
    case EMULSION::ExtendMirrorBoth:
        x.mirrored(d.x0, d.x1);
        y.mirrored(d.y0, d.y1);
        break;
    case EMULSION::ExtendCopy:
        d = part.offset(t.x0 - s.x0, t.y0 - s.y0, true);
        break;
    case EMULSION::ExtendStretchY:
        d = UTIL::Rect(part.x0, t.y0, part.x1, t.y1);
        break;
    case EMULSION::ExtendStretchX:
        d = UTIL::Rect(t.x0, part.y0, t.x1, part.y1);
        break;
    case EMULSION::ExtendCorner:
        d = t;
        break;
    default:
        QUILT_ASSERT(false);
    }
    return result;
}

}

// The data that may be read.
UTIL::Region ExtendingInputRequest::usedData() const
{
    UTIL::Region data = m_inputTask->getDefinedDataRegion();
    if (!m_extendWithOverscan)
        data.intersect(m_inputDisplayRect);
    return data;
}

// The rectangle at whose edge the input is extended.
UTIL::Rect ExtendingInputRequest::extendRect(const UTIL::Region& data) const
{
    return m_inputDisplayRect.unite(data.getBounds());
}

UTIL::Rect ExtendingInputRequest::getRequiredRect(const UTIL::Rect& rect)
{
    if (!needsTiles())
        return {};
    const UTIL::Region data = usedData();
    if (data.contains(rect))
        return rect;
    return getRequiredExtendRect(rect, extendRect(data));
}

ImageBuffer ExtendingInputRequest::getImage(const UTIL::Rect& rect)
{
    const UTIL::Region data = usedData();
    if (data.getBounds().contains(rect))
        return ColorInputRequest::getImage(rect);

    std::vector<ExtendAction> actions;
    splitToActions(rect, extendRect(data), actions);

    // What each tile contributes. A part of a source without data leaves a hole: what a tile holds
    // there is its background only in the channels that it has.
    std::map<TileID, std::vector<ExtendAction>> actionsOfTiles;
    bool hasHole = false;
    std::vector<TileID> tileIDs;
    for (const ExtendAction& action : actions)
    {
        m_inputTask->convertToTileIDs(action.source, tileIDs);
        for (const TileID& id : tileIDs)
        {
            const UTIL::Rect part = id.rect().intersect(action.source);
            hasHole = hasHole || !data.contains(part);
            for (const UTIL::Rect& piece : data.intersected(part))
                actionsOfTiles[id].push_back(partOf(action, piece));
        }
    }
    if (actionsOfTiles.empty())
        return {};

    ImageBuffer image = makeTemporary(rect);
    const ImageLock lock(image);
    if (hasHole)
        EMULSION::Fill(lock.image(), m_backgroundColor.getValue());
    for (const auto& [id, tileActions] : actionsOfTiles)
    {
        const ImageLock tile(getTileImage(id));
        EMULSION::DoExtendActions(lock.image(), tile.image(), tileActions);
        CheckError();
    }
    return image;
}

void ClampInputRequest::splitToActions(const UTIL::Rect& rect, const UTIL::Rect& extendRect,
                                       std::vector<ExtendAction>& actions)
{
    EMULSION::SplitRectToClampExtendActions(rect, extendRect, actions);
}

UTIL::Rect ClampInputRequest::getRequiredExtendRect(const UTIL::Rect& rect,
                                                    const UTIL::Rect& extendRect)
{
    return EMULSION::GetRequiredClampInputRect(rect, extendRect);
}

void MirroredInputRequest::splitToActions(const UTIL::Rect& rect, const UTIL::Rect& extendRect,
                                          std::vector<ExtendAction>& actions)
{
    EMULSION::SplitRectToMirrorExtendActions(rect, extendRect, actions);
}

UTIL::Rect MirroredInputRequest::getRequiredExtendRect(const UTIL::Rect& rect,
                                                       const UTIL::Rect& extendRect)
{
    return EMULSION::GetRequiredMirroredInputRect(rect, extendRect);
}

}
