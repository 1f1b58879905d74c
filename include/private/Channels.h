#pragma once

#include <EMULSION/Channels.h>

/// The rules by which operations that mix channels widen a mask.
namespace QUILT::Channels
{

constexpr unsigned long Alpha = EMULSION::ChannelAlpha;
constexpr unsigned long RGB = EMULSION::ChannelsRGB;
constexpr unsigned long RGBA = EMULSION::ChannelsRGBA;

/// Adds alpha, whatever the mask holds.
constexpr unsigned long withAlpha(unsigned long channels)
{
    return channels | Alpha;
}

/// Adds red, green and blue, whatever the mask holds.
constexpr unsigned long withRGB(unsigned long channels)
{
    return channels | RGB;
}

/// Any of red, green and blue brings all three; alpha alone stays alone.
constexpr unsigned long withWholeRGB(unsigned long channels)
{
    return channels & RGB ? withRGB(channels) : channels;
}

}
