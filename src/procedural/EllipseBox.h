#pragma once

#include "UTIL/Region.h"

namespace QUILT::Private
{

/// The pixels of the smallest box around an ellipse; empty where that has no point.
///
/// `aspect` is its height over its width: below 1 the radius holds along x, otherwise along y.
/// Reckoned in single precision. What lies beyond 2^61 pixels is cut off; a box of which a
/// coordinate is not a number is empty.
UTIL::Region ellipseBox(float centerX, float centerY, float radius, float aspect);

}
