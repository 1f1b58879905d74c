#pragma once

#include <functional>

#include "EMULSION/Image.h"
#include "Rows.h"

namespace EMULSION::Private
{

/// Copy for images that have been checked.
void copyOverlap(const Image& output, const Image& input);

/// Sets all channels to zero in a part of the image that has pixels.
void clearPart(const Image& image, const UTIL::Rect& part);

/// Calls work(float* run, int64_t pixels) for the runs of a part of an image: once when its rows
/// have no gaps between them, else for each row. The image has channels, the part has pixels.
template <class Work>
void forEachRun(const Image& image, const UTIL::Rect& part, Work work)
{
    if (isContiguous(image, part))
        work(pixelOf(image, part.x0, part.y0), part.width() * part.height());
    else
        for (int64_t y = part.y0; y < part.y1; ++y)
            work(pixelOf(image, part.x0, y), part.width());
}

/// Calls work(float* to, const float* from, int64_t pixels) for the runs of a part of both images,
/// in the order that suits two views of the same memory: nothing is overwritten before it was read.
template <class Work>
void forEachRun(const Image& output, const Image& input, const UTIL::Rect& part, Work work)
{
    float* to = pixelOf(output, part.x0, part.y0);
    const float* from = pixelOf(input, part.x0, part.y0);
    if (isContiguous(output, part) && isContiguous(input, part))
        return work(to, from, part.width() * part.height());
    const bool upwards = !std::less<>()(from, static_cast<const float*>(to));
    for (int64_t i = 0; i < part.height(); ++i)
    {
        const int64_t y = upwards ? part.y0 + i : part.y1 - 1 - i;
        work(pixelOf(output, part.x0, y), pixelOf(input, part.x0, y), part.width());
    }
}

}
