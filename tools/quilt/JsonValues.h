#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include <UTIL/Rect.h>

#include "Param.h"
#include "Values.h"

// What a piece of a graph file is as a value; nothing when it is none of that kind.
namespace QuiltTool
{

/// Also when it is written as 3.0. Beyond 64 bits it is none.
std::optional<int64_t> wholeNumber(const Json& json);

/// A number that the pixels' arithmetic can hold.
std::optional<double> floatNumber(const Json& json);
std::optional<std::vector<double>> floatNumbers(const Json& json);

std::optional<UTIL::Rect> rectangle(const Json& json); ///< [x0, y0, x1, y1]
std::optional<std::vector<UTIL::Rect>> rectangles(const Json& json);
std::optional<int64_t> channelMask(const Json& json); ///< 0 to 15, or letters out of "rgba"
std::optional<Curve> curveOf(const Json& json);

}
