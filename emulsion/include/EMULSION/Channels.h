#pragma once

#include "EMULSION/Export.h"
#include "EMULSION/Image.h"

namespace EMULSION
{

// Channel masks (see Channel in Image.h). All of these may be called from any thread at once.

constexpr unsigned long ChannelsRGB = ChannelRed | ChannelGreen | ChannelBlue;
constexpr unsigned long ChannelsRGBA = ChannelsRGB | ChannelAlpha;

/// True for a mask that an image may have: 0 to 15. The image of mask 0 has bounds and no bytes.
EMULSION_API bool IsChannelMaskValid(unsigned long mask);

/// The mask that this library will use for the one given: its bits above alpha are dropped.
EMULSION_API unsigned long ValidateChannelMask(unsigned long mask);

/// "R", "RG" ... "RGBA", or "none" for 0: a static string. Null above 15.
EMULSION_API const char* GetChannelMaskName(unsigned long mask);

/// Stores the bytes of one pixel, 4 for each channel of `mask`, in `bytes`.
///
/// A mask above 15 sets ERROR_INVALID_CHANNELS, a null `bytes` sets ERROR_INVALID_ARGUMENT; nothing
/// is stored then.
EMULSION_API void GetPixelBytes(unsigned long* bytes, unsigned long mask);

}
