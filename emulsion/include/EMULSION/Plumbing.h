#pragma once

#include <cstdint>

#include "EMULSION/Export.h"
#include "EMULSION/Image.h"

// Filling, copying and looking at pixels.
//
// Colours are four floats R, G, B, A. Values are moved as bits, so that NaNs and signed zeros
// arrive as they were. A null image or colour, a null pixel pointer on a non-empty image, an
// inverted rectangle and rows that overlap set ERROR_INVALID_ARGUMENT; a mask above 15 sets
// ERROR_INVALID_CHANNELS; nothing is written then. An image without pixels or channels is no error
// and leaves nothing to do. All functions may be called from any thread; two that touch the same
// pixels, one of them writing, need the caller's order.
namespace EMULSION
{

/// Sets every pixel's channels to the colour.
EMULSION_API void Fill(const Image* image, const float* rgba);

/// Sets the channels of `mask` to those of the colour; the image's other channels stay.
EMULSION_API void FillChannels(const Image* image, unsigned long mask, const float* rgba);

/// Sets every pixel's channels to zero.
EMULSION_API void Clear(const Image* image);

/// Copies the overlap of both bounds, channels matched by name.
///
/// A channel of `output` that `input` lacks becomes 0 in the overlap; outside the overlap nothing
/// changes. Images over the same pixels are left alone. Two views of one image may overlap.
EMULSION_API void Copy(const Image* output, const Image* input);

/// Copy under the name that callers use when they assemble an image from pieces.
EMULSION_API void CopyInto(const Image* destination, const Image* source);

/// Copies channels of the source to other channels of the destination, in the overlap of both
/// bounds.
///
/// As many channels in both masks: the k-th of the one goes to the k-th of the other, in the order
/// R, G, B, A. Otherwise the first channel of `sourceChannels` goes to every channel of
/// `destinationChannels`. A channel that the source lacks leaves its destinations unchanged, and so
/// does a null source, which is no error; all other channels of the destination stay. Both images
/// may be the same: a pixel is read before it is written.
EMULSION_API void ChannelCopy(const Image* destination, const Image* source,
                              unsigned long destinationChannels, unsigned long sourceChannels);

/// Copy of the input moved by (dx, dy) pixels: its pixel (x, y) lands at (x + dx, y + dy).
///
/// Works on one image as output and input, too. Bounds that leave the signed 64-bit range by the
/// move set ERROR_INVALID_ARGUMENT.
EMULSION_API void Translate(const Image* output, const Image* input, int64_t dx, int64_t dy);

/// Makes `view` an image of that rectangle of `image`, sharing its pixels, which must outlive it.
///
/// The rectangle must lie inside the bounds, else ERROR_INVALID_ARGUMENT and a view without pixels;
/// one that holds no pixel gives a view without pixels wherever it lies. `view` may be `image`.
EMULSION_API void GetSubImage(Image* view, const Image* image, int64_t x0, int64_t y0, int64_t x1,
                              int64_t y1);

/// Writes the channels that the image has to their places in `rgba`; the other floats stay. A pixel
/// outside the bounds sets ERROR_INVALID_ARGUMENT.
EMULSION_API void GetPixel(const Image* image, int64_t x, int64_t y, float* rgba);

/// Writes the channels that the image has. A pixel outside the bounds sets ERROR_INVALID_ARGUMENT.
EMULSION_API void SetPixel(const Image* image, int64_t x, int64_t y, const float* rgba);

}
