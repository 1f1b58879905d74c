#include "Describe.h"

#include <cmath>
#include <iostream>

#include "Text.h"

namespace QuiltTool
{

std::string channelsText(unsigned long channels)
{
    std::string text;
    for (size_t i = 0; i < 4; ++i)
        if (channels & (1ul << i))
            text += "RGBA"[i];
    return text.empty() ? "none" : text;
}

std::string rectText(const UTIL::Rect& rect)
{
    return '[' + std::to_string(rect.x0) + ", " + std::to_string(rect.y0) + ", " +
           std::to_string(rect.x1) + ", " + std::to_string(rect.y1) + ']';
}

std::string regionText(const UTIL::Region& region)
{
    constexpr size_t few = 4;
    if (region.isEmpty())
        return "nothing";
    if (region.size() > few)
        return std::to_string(region.size()) + " rectangles in " + rectText(region.getBounds());
    std::string text;
    for (const UTIL::Rect& rect : region)
        text += (text.empty() ? "" : " ") + rectText(rect);
    return text;
}

std::string colorText(const Imath::C4f& color)
{
    return numberText(color.r) + ' ' + numberText(color.g) + ' ' + numberText(color.b) + ' ' +
           numberText(color.a);
}

OrderedJson rectJson(const UTIL::Rect& rect)
{
    return OrderedJson::array({rect.x0, rect.y0, rect.x1, rect.y1});
}

OrderedJson regionJson(const UTIL::Region& region)
{
    OrderedJson list = OrderedJson::array();
    for (const UTIL::Rect& rect : region)
        list.push_back(rectJson(rect));
    return list;
}

OrderedJson colorJson(const Imath::C4f& color)
{
    OrderedJson list = OrderedJson::array();
    for (const float value : {color.r, color.g, color.b, color.a})
    {
        if (std::isfinite(value))
            list.push_back(value);
        else if (std::isnan(value))
            list.push_back("nan");
        else
            list.push_back(value > 0 ? "inf" : "-inf");
    }
    return list;
}

std::string jsonText(const OrderedJson& json)
{
    return json.dump(2, ' ', false, OrderedJson::error_handler_t::replace) + '\n';
}

std::string jsonLine(const OrderedJson& json)
{
    return json.dump(-1, ' ', false, OrderedJson::error_handler_t::replace) + '\n';
}

void printJson(const OrderedJson& json)
{
    std::cout << jsonText(json);
}

}
