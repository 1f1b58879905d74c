#pragma once

#include <cstdint>

// Work on runs of pixels that follow each other in memory: a row, or all rows of an image that has
// no gaps. Values are moved as bits.
namespace EMULSION::Private
{

/// Where each float of an output pixel comes from.
struct ChannelMap
{
    static constexpr int zero = -1;

    int outputChannels = 0; ///< floats in an output pixel, 1 to 4
    int64_t inputStep = 0;  ///< floats to the next input pixel, below 0 to go backwards
    int source[4] = {};     ///< for each output float, a float of the input pixel or `zero`

    /// True when the run is a plain copy of memory.
    bool isIdentity() const
    {
        for (int k = 0; k < outputChannels; ++k)
            if (source[k] != k)
                return false;
        return inputStep == outputChannels;
    }
};

/// Channels matched by name, forwards.
ChannelMap matchChannels(uint64_t output, uint64_t input);

/// Writes `count` pixels; going backwards, `input` is the last one of the run in memory. Input and
/// output must not overlap, unless the map is the identity: a store may reach into the next pixel,
/// which is written after it.
void mapPixels(float* output, const float* input, int64_t count, const ChannelMap& map);

/// Single floats of a pixel that go to floats of another; the rest of the output pixel stays.
struct ChannelMoves
{
    int outputChannels = 0; ///< floats in an output pixel, 1 to 4
    int inputStep = 0;      ///< floats to the next input pixel; 0 reads one pixel again and again
    int count = 0;          ///< of moves, 0 to 4
    int to[4] = {};
    int from[4] = {};
};

/// Each pixel is read before it is written, so that input and output may be the same.
void moveChannels(float* output, const float* input, int64_t count, const ChannelMoves& moves);

/// Writes `count` pixels of `channels` floats each, 1 to 4, all equal to `pixel`.
void fillPixels(float* output, int64_t count, int channels, const float* pixel);

}
