#pragma once

#include <cstddef>
#include <vector>

#include "UTIL/Rect.h"

namespace UTIL::Private
{

/// The union of `count` rectangles, which may overlap and be null, as disjoint rectangles in the
/// form of Region::simplify, sorted by y0, then x0.
std::vector<Rect> disjointRectangles(const Rect* rects, std::size_t count);

}
