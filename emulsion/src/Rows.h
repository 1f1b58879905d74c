#pragma once

#include <bit>
#include <cstdint>
#include <functional>

#include "EMULSION/Image.h"

// Where the pixels of a checked image stand. None of these tests anything: the image has been
// through Validation.h, and the coordinates lie in its bounds.
namespace EMULSION::Private
{

/// Floats in one pixel.
constexpr int64_t channelCount(uint64_t channels)
{
    return std::popcount(channels);
}

/// Bytes of one pixel.
constexpr uint64_t pixelBytes(uint64_t channels)
{
    return sizeof(float) * static_cast<uint64_t>(std::popcount(channels));
}

/// Where the channel of the one bit `channel` stands in a pixel of `channels`, in floats. Only for
/// a channel that the mask has.
constexpr int64_t channelIndex(uint64_t channels, uint64_t channel)
{
    return std::popcount(channels & (channel - 1));
}

/// The first pixel of row y.
inline float* rowOf(const Image& image, int64_t y)
{
    const uint64_t row = static_cast<uint64_t>(y) - static_cast<uint64_t>(image.bounds.y0);
    return image.pixelPtr + row * (image.rowBytes / sizeof(float));
}

/// Pixel (x, y).
inline float* pixelOf(const Image& image, int64_t x, int64_t y)
{
    const uint64_t column = static_cast<uint64_t>(x) - static_cast<uint64_t>(image.bounds.x0);
    return rowOf(image, y) + column * static_cast<uint64_t>(channelCount(image.channels));
}

/// The pixels that both images have; null when there are none.
inline UTIL::Rect overlap(const Image& a, const Image& b)
{
    return a.bounds.intersect(b.bounds);
}

/// True when the same memory stands behind the same pixels of both, so that a copy changes nothing.
inline bool samePixels(const Image& a, const Image& b)
{
    if (a.channels != b.channels || a.rowBytes != b.rowBytes)
        return false;
    const UTIL::Rect both = overlap(a, b);
    return !both.isNull() && pixelOf(a, both.x0, both.y0) == pixelOf(b, both.x0, both.y0);
}

/// True when the pixels of `part`, which lies in the image, follow each other without a gap between
/// rows.
inline bool isContiguous(const Image& image, const UTIL::Rect& part)
{
    const uint64_t rowSize = static_cast<uint64_t>(part.width()) * pixelBytes(image.channels);
    return part.height() == 1 || rowSize == image.rowBytes;
}

/// True when some byte between the first and the last of the one image may belong to the other. For
/// images that have pixels and channels.
inline bool sharesMemory(const Image& a, const Image& b)
{
    const auto end = [](const Image& image) -> const float* {
        return pixelOf(image, image.bounds.x1 - 1, image.bounds.y1 - 1) +
               channelCount(image.channels);
    };
    const std::less<const float*> before;
    return before(a.pixelPtr, end(b)) && before(b.pixelPtr, end(a));
}

}
