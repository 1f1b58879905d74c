#pragma once

#include <string>

#include <nlohmann/json.hpp>
#include <QUILT/RenderTask.h>
#include <UTIL/Rect.h>
#include <UTIL/Region.h>

namespace QuiltTool
{

using OrderedJson = nlohmann::ordered_json;

/// "RGBA", "A"; "none" without channels.
std::string channelsText(unsigned long channels);

/// "[0, 0, 100, 40]"
std::string rectText(const UTIL::Rect& rect);

/// Its rectangles one behind the other; a region of many by its bounds and their number.
std::string regionText(const UTIL::Region& region);
std::string colorText(const Imath::C4f& color);

OrderedJson rectJson(const UTIL::Rect& rect);
OrderedJson regionJson(const UTIL::Region& region);

/// JSON has no infinity and no NaN: they are the texts "inf", "-inf" and "nan".
OrderedJson colorJson(const Imath::C4f& color);

/// To standard output, with a line end; what is no UTF-8 is replaced.
void printJson(const OrderedJson& json);
std::string jsonText(const OrderedJson& json);
std::string jsonLine(const OrderedJson& json); ///< the same in one line

}
