#include "plumbing/CopyOverlap.h"

#include <cstring>

#include "plumbing/PixelRuns.h"

namespace EMULSION::Private
{

namespace
{

ChannelMap matchChannels(uint64_t output, uint64_t input)
{
    ChannelMap map;
    for (uint64_t channel = ChannelRed; channel <= ChannelAlpha; channel <<= 1)
        if (output & channel)
            map.source[map.outputChannels++] =
                input & channel ? static_cast<int>(channelIndex(input, channel)) : ChannelMap::zero;
    map.inputChannels = static_cast<int>(channelCount(input));
    return map;
}

void clearPart(const Image& image, const UTIL::Rect& part)
{
    forEachRun(image, part, [&](float* run, int64_t count) {
        std::memset(run, 0, static_cast<size_t>(count) * pixelBytes(image.channels));
    });
}

}

void copyOverlap(const Image& output, const Image& input)
{
    const UTIL::Rect both = overlap(output, input);
    if (both.isNull() || output.channels == 0 || samePixels(output, input))
        return;
    if ((output.channels & input.channels) == 0)
        clearPart(output, both);
    else if (output.channels == input.channels)
        forEachRun(output, input, both, [&](float* to, const float* from, int64_t count) {
            std::memmove(to, from, static_cast<size_t>(count) * pixelBytes(output.channels));
        });
    else
    {
        const ChannelMap map = matchChannels(output.channels, input.channels);
        forEachRun(output, input, both, [&](float* to, const float* from, int64_t count) {
            mapPixels(to, from, count, map);
        });
    }
}

}
