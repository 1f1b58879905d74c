#include "plumbing/CopyOverlap.h"

#include <cstring>

#include "plumbing/PixelRuns.h"

namespace EMULSION::Private
{

void clearPart(const Image& image, const UTIL::Rect& part)
{
    forEachRun(image, part, [&](float* run, int64_t count) {
        std::memset(run, 0, static_cast<size_t>(count) * pixelBytes(image.channels));
    });
}

void copyOverlap(const Image& output, const Image& input)
{
    const UTIL::Rect both = overlap(output, input);
    if (both.isNull() || output.channels == 0 || samePixels(output, input))
        return;
    if ((output.channels & input.channels) == 0)
        return clearPart(output, both);
    const ChannelMap map = matchChannels(output.channels, input.channels);
    forEachRun(output, input, both, [&](float* to, const float* from, int64_t count) {
        mapPixels(to, from, count, map);
    });
}

}
