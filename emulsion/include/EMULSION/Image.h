#pragma once

#include <cstdint>

#include <UTIL/Rect.h>

#include "EMULSION/Export.h"

namespace EMULSION
{

/// Channel masks: one bit a channel, in the order in which channels stand in a pixel.
enum Channel : unsigned long
{
    ChannelRed = 1,
    ChannelGreen = 2,
    ChannelBlue = 4,
    ChannelAlpha = 8
};

/// One rectangle of pixels in memory, owned by somebody else.
///
/// Pixels are 32-bit floats, channels interleaved in the order R, G, B, A of those that `channels`
/// has. Rows stand `rowBytes` apart; row 0 of memory is `bounds.y0`, and the y axis points up, so
/// it is the bottom row of the picture. Pixel (x, y) covers the square [x, x+1) x [y, y+1); its
/// centre is (x + 0.5, y + 0.5). A row is aligned to 4 bytes and no more, because a view of another
/// image may begin at any pixel.
///
/// Kernels take `const Image*` also for their output: the structure is constant, its pixels are
/// written.
struct Image
{
    uint64_t channels = 0;         ///< mask of the channels in a pixel, 0 to 15
    uint64_t originalChannels = 0; ///< a second mask, kept for the owner and used by no kernel
    UTIL::Rect bounds;             ///< in absolute pixel coordinates
    uint64_t rowBytes = 0;         ///< bytes from one row to the next
    float* pixelPtr = nullptr;     ///< first pixel of the bottom row; null without pixels
};

}
