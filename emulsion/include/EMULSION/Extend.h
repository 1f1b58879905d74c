#pragma once

#include <cstdint>
#include <vector>

#include <UTIL/Rect.h>

#include "EMULSION/Export.h"
#include "EMULSION/Image.h"

// What an image looks like beyond its edge. A rectangle E, the extend rectangle, is the picture;
// the plane around it is covered by its edge pixels or by its reflections.
//
//   Clamp:  pixel x is the picture's min(max(x, E.x0), E.x1 - 1)
//   Mirror: with w = E.x1 - E.x0 and i = (x - E.x0) mod 2w, rounded down, it is E.x0 + i for i < w
//   and
//           E.x0 + 2w - 1 - i otherwise: the edge pixel stands twice
//
// and the same in y. A rectangle is cut into actions first; the actions may then be cut further,
// say to the tiles of the picture, and are performed one by one. All functions are exact wherever
// the rectangles lie, up to the ends of the signed 64-bit range, and may be called from any thread.
namespace EMULSION
{

enum ExtendMethod : int32_t
{
    ExtendNone = 0,
    ExtendClamp = 1,
    ExtendMirror = 2
};

/// How an action's destination follows from its source. A mirror in one axis copies in the other,
/// and so does a stretch.
enum ExtendActionType : int32_t
{
    ExtendMirrorY = 0,
    ExtendMirrorX = 1,
    ExtendMirrorBoth = 2,
    ExtendCopy = 3,
    ExtendStretchY = 4, ///< the source is one row
    ExtendStretchX = 5, ///< the source is one column
    ExtendCorner = 6    ///< the source is one pixel
};

struct ExtendAction
{
    int32_t type = ExtendCopy; ///< an ExtendActionType
    UTIL::Rect source;         ///< what is read
    UTIL::Rect destination;    ///< what is written
};
static_assert(sizeof(ExtendAction) == 72);

/// Appends the actions that fill `rect`, at most nine: the overlap with `extendRect` first, then
/// the edges, then the corners. Destinations are disjoint and cover `rect`, sources lie in
/// `extendRect`. Where either is empty there is no action.
EMULSION_API void SplitRectToClampExtendActions(const UTIL::Rect& rect,
                                                const UTIL::Rect& extendRect,
                                                std::vector<ExtendAction>& actions);

/// The same for reflections: one action for each of them that meets `rect`, what is upright first.
/// One pixel looks the same from all sides and takes the actions of clamping.
EMULSION_API void SplitRectToMirrorExtendActions(const UTIL::Rect& rect,
                                                 const UTIL::Rect& extendRect,
                                                 std::vector<ExtendAction>& actions);

/// The bounding rectangle of the sources that the clamp actions of `rect` read; null without any.
EMULSION_API UTIL::Rect GetRequiredClampInputRect(const UTIL::Rect& rect,
                                                  const UTIL::Rect& extendRect);

/// The same for mirror actions.
EMULSION_API UTIL::Rect GetRequiredMirroredInputRect(const UTIL::Rect& rect,
                                                     const UTIL::Rect& extendRect);

/// Performs the actions in their order, from `source` into `destination`, which share no memory.
///
/// Channels are matched by name, and one that the source lacks becomes 0. Where an action's
/// rectangles lie partly outside of the images, it writes only what has both a place and an origin.
/// Besides images that are not sound (see Plumbing.h), an action of no known type, or with source
/// and destination of sizes that do not suit it, sets ERROR_INVALID_ARGUMENT; nothing is written
/// then. Empty rectangles are no error.
EMULSION_API void DoExtendActions(const Image* destination, const Image* source,
                                  const std::vector<ExtendAction>& actions);

}
