#pragma once

#include <string>

#include <ImathColor.h>

#include "QUILT/Export.h"
#include "QUILT/RefPtr.h"
#include "QUILT/RenderTask.h"
#include "UTIL/Rect.h"

/// Images without inputs. A factory is called on the thread that builds the graph; its task renders
/// on any number of threads. Outside its rectangle such an image is zero.
namespace QUILT
{

/// A rectangle of one colour.
///
/// \param rect   pixels, half-open; a null rectangle gives an image without data
/// \param color  any values
/// The channels are those of red, green and blue that are not 0, and alpha unless it is 1: an
/// opaque colour gives no alpha channel.
QUILT_API ref_ptr<RenderTask> createColorTask(const std::string& name, float time,
                                              const UTIL::Rect& rect,
                                              const Imath::Color4<float>& color);

}
