#pragma once

#include <string>

#include <EMULSION/Orient.h>

#include "QUILT/Export.h"
#include "QUILT/RefPtr.h"
#include "QUILT/RenderTask.h"
#include "UTIL/Rect.h"

/// Tasks that move, cut and reframe pixels without changing their values.
///
/// Channels and background colour are the input's; rectangles are in pixels, y pointing up. A
/// factory throws RenderTaskRenderingException for a null input. A data region that would leave the
/// signed 64-bit range fails with the same exception when the task is described, a tile whose part
/// of the input would leave it fails the render. A factory is called on the thread that builds the
/// graph; its task renders on any number of threads.
namespace QUILT
{

/// Cuts an image to a rectangle, moves the rectangle's corner to the origin, both or neither.
///
/// \param rect          what is kept
/// \param clipRegion    true: outside `rect` the result is the background colour; false: the data
///                      goes on beyond it
/// \param moveToOrigin  true: then the lower left corner of `rect` becomes (0, 0)
QUILT_API ref_ptr<RenderTask> createCropTask(const std::string& name, float time,
                                             const UTIL::Rect& rect, bool clipRegion,
                                             bool moveToOrigin, ref_ptr<RenderTask> input);

/// Makes the data region reach over `rect`, too, so that there are pixels; they are the background
/// colour where the input has no data. A null rectangle changes nothing.
QUILT_API ref_ptr<RenderTask> createDataWindowTask(const std::string& name, float time,
                                                   const UTIL::Rect& rect,
                                                   ref_ptr<RenderTask> input);

/// Moves an image by whole pixels, to the right and up where x and y are positive. Where both are 0
/// this is `input` itself, even if that is null.
QUILT_API ref_ptr<RenderTask> createRepositionTask(const std::string& name, float time, long x,
                                                   long y, ref_ptr<RenderTask> input);

/// Turns an image by quarter turns, or mirrors it.
///
/// The lower left corner of `displayRect` stays the corner of the oriented picture: a quarter turn
/// swaps the sides there. Data outside of `displayRect` moves with it.
/// An operation that is none of EMULSION::OrientOperation throws RenderTaskRenderingException, and
/// a display rectangle that cannot be turned within the signed 64-bit range
/// EmulsionRenderingException.
QUILT_API ref_ptr<RenderTask> createOrientTask(const std::string& name, float time,
                                               const EMULSION::OrientOperation& operation,
                                               const UTIL::Rect& displayRect,
                                               ref_ptr<RenderTask> input);

}
