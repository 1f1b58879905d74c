#include "Validation.h"

#include <cstddef>

#include "EMULSION/Channels.h"
#include "EMULSION/Error.h"
#include "Rows.h"

namespace EMULSION::Private
{

namespace
{

struct Fault
{
    Error code = ERROR_NONE;
    std::string text = {};
};

// What is wrong with the memory of an image that has bytes; null when nothing is.
const char* faultOfMemory(const Image& image)
{
    if (!image.pixelPtr)
        return "but no pixels";
    int64_t width = 0, height = 0, rowSize = 0, size = 0;
    const UTIL::Rect& bounds = image.bounds;
    if (__builtin_sub_overflow(bounds.x1, bounds.x0, &width) ||
        __builtin_sub_overflow(bounds.y1, bounds.y0, &height) ||
        __builtin_mul_overflow(width, pixelBytes(image.channels), &rowSize))
        return "which is more than memory can hold";
    if (height == 1)
        return nullptr;
    if (image.rowBytes % sizeof(float) != 0)
        return "but rows that are not a whole number of floats apart";
    if (image.rowBytes < static_cast<uint64_t>(rowSize))
        return "but rows that overlap";
    if (__builtin_mul_overflow(height, image.rowBytes, &size))
        return "which is more than memory can hold";
    return nullptr;
}

Fault faultOf(const Image& image)
{
    if (!IsChannelMaskValid(image.channels))
        return {ERROR_INVALID_CHANNELS,
                "the channel mask " + std::to_string(image.channels) + ", which is invalid"};
    const UTIL::Rect& bounds = image.bounds;
    if (bounds.x0 > bounds.x1 || bounds.y0 > bounds.y1)
        return {ERROR_INVALID_ARGUMENT, "the inverted bounds " + textOf(bounds)};
    if (isEmpty(image))
        return {};
    if (const char* fault = faultOfMemory(image))
        return {ERROR_INVALID_ARGUMENT, "the bounds " + textOf(bounds) + ", " + fault +
                                            " (channels " + GetChannelMaskName(image.channels) +
                                            ", row bytes " + std::to_string(image.rowBytes) + ")"};
    return {};
}

}

bool checkImage(const char* function, const char* role, const Image* image)
{
    if (!image)
        return invalidArgument(function, std::string("the ") + role + " is null.");
    const Fault fault = faultOf(*image);
    if (fault.code == ERROR_NONE)
        return true;
    SetError(fault.code, std::string(function) + ": the " + role + " has " + fault.text + ".");
    return false;
}

bool invalidArgument(const char* function, const std::string& what)
{
    SetError(ERROR_INVALID_ARGUMENT, std::string(function) + ": " + what);
    return false;
}

std::string textOf(const UTIL::Rect& rect)
{
    std::string text;
    for (const int64_t coordinate : {rect.x0, rect.y0, rect.x1, rect.y1})
        text.append(text.empty() ? "(" : ",").append(std::to_string(coordinate));
    return text.append(")");
}

}
