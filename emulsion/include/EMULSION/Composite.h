#pragma once

#include <ImathColor.h>

#include "EMULSION/Export.h"
#include "EMULSION/Image.h"

namespace EMULSION
{

// Operators of two images. Each has two forms that agree to the last bit:
//
//  - on images: into all of `output`'s bounds and channels. A null image is its colour everywhere,
//    and one that covers only part of the output is its colour elsewhere; a channel that an image
//    lacks reads as 0. The output may be one of the two. Two null images set
//    ERROR_INVALID_ARGUMENT, an invalid image that or ERROR_INVALID_CHANNELS, and nothing is
//    written then.
//  - on two colours.
//
// Arithmetic is IEEE single precision in the order written. All of them are safe from any thread at
// once.

/// first * (1 - mix) + second * mix, each channel by itself, with any `mix`.
EMULSION_API void Mix(const Image* output, const Image* first, const Image* second, float mix,
                      const Imath::Color4f& backgroundFirst,
                      const Imath::Color4f& backgroundSecond);
EMULSION_API Imath::Color4f Mix(const Imath::Color4f& first, const Imath::Color4f& second,
                                float mix);

}
