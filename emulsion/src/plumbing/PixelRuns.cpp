#include "plumbing/PixelRuns.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>

#include "Rows.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "plumbing/PixelRuns.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace EMULSION::Private::HWY_NAMESPACE
{

namespace hn = hwy::HWY_NAMESPACE;

// Writes pixels from the start of the run on, and returns how many.
int64_t shufflePixels(float* output, const float* input, int64_t count, const ChannelMap& map)
{
#if HWY_TARGET == HWY_SCALAR
    static_cast<void>(output), static_cast<void>(input), static_cast<void>(count);
    static_cast<void>(map);
    return 0;
#else
    // A pixel a step: 16 bytes are loaded, put in order and stored, however many are the pixel's.
    const hn::FixedTag<uint8_t, 16> bytes;
    alignas(16) uint8_t order[16];
    for (int i = 0; i < 16; ++i)
    {
        const int from = i / 4 < map.outputChannels ? map.source[i / 4] : ChannelMap::zero;
        order[i] = static_cast<uint8_t>(from == ChannelMap::zero ? 0x80 : 4 * from + i % 4);
    }
    const auto control = hn::Load(bytes, order);
    auto* to = reinterpret_cast<uint8_t*>(output);
    auto* from = reinterpret_cast<const uint8_t*>(input);
    for (int64_t i = 0; i < count; ++i)
    {
        hn::StoreU(hn::TableLookupBytesOr0(hn::LoadU(bytes, from), control), bytes, to);
        to += sizeof(float) * static_cast<size_t>(map.outputChannels);
        from += static_cast<int64_t>(sizeof(float)) * map.inputStep;
    }
    return count;
#endif
}

}
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

#include "SimdDispatch.h"

namespace EMULSION::Private
{

namespace
{

HWY_EXPORT(shufflePixels);

constexpr int64_t s_reach = 3;

template <int outputChannels>
void mapFloats(float* output, const float* input, int64_t count, const ChannelMap& map)
{
    int from[outputChannels];
    uint32_t mask[outputChannels];
    for (int k = 0; k < outputChannels; ++k)
    {
        from[k] = std::max(map.source[k], 0);
        mask[k] = map.source[k] == ChannelMap::zero ? 0 : ~uint32_t{0};
    }
    for (int64_t i = 0; i < count; ++i, input += map.inputStep, output += outputChannels)
        for (int k = 0; k < outputChannels; ++k)
            output[k] = std::bit_cast<float>(std::bit_cast<uint32_t>(input[from[k]]) & mask[k]);
}

template <int moveCount>
void moveFloats(float* output, const float* input, int64_t count, const ChannelMoves& moves)
{
    const ChannelMoves local = moves; // which no store below can change
    for (int64_t i = 0; i < count; ++i)
    {
        float values[moveCount];
        for (int k = 0; k < moveCount; ++k)
            values[k] = input[local.from[k]];
        for (int k = 0; k < moveCount; ++k)
            output[local.to[k]] = values[k];
        output += local.outputChannels;
        input += local.inputStep;
    }
}

}

ChannelMap matchChannels(uint64_t output, uint64_t input)
{
    ChannelMap map;
    for (uint64_t channel = ChannelRed; channel <= ChannelAlpha; channel <<= 1)
        if (output & channel)
            map.source[map.outputChannels++] =
                input & channel ? static_cast<int>(channelIndex(input, channel)) : ChannelMap::zero;
    map.inputStep = static_cast<int>(channelCount(input));
    return map;
}

void mapPixels(float* output, const float* input, int64_t count, const ChannelMap& map)
{
    static constexpr decltype(&mapFloats<1>) byChannels[] = {&mapFloats<1>, &mapFloats<2>,
                                                             &mapFloats<3>, &mapFloats<4>};
    if (map.isIdentity())
    {
        std::memmove(output, input, sizeof(float) * static_cast<size_t>(count * map.inputStep));
        return;
    }
    const auto mapSlowly = byChannels[map.outputChannels - 1];

    // A vector reaches up to three floats, and so at most three pixels, beyond its own: of the
    // output at the end of the run, of the input at its end in memory, which is the beginning
    // backwards.
    const int64_t first = map.inputStep < 0 ? std::min<int64_t>(count, s_reach) : 0;
    mapSlowly(output, input, first, map);
    const int64_t bulk = std::max<int64_t>(count - first - s_reach, 0);
    const int64_t done =
        first + EMULSION_DISPATCH(shufflePixels)(output + first * map.outputChannels,
                                                 input + first * map.inputStep, bulk, map);
    mapSlowly(output + done * map.outputChannels, input + done * map.inputStep, count - done, map);
}

void moveChannels(float* output, const float* input, int64_t count, const ChannelMoves& moves)
{
    static constexpr decltype(&moveFloats<1>) byCount[] = {&moveFloats<1>, &moveFloats<2>,
                                                           &moveFloats<3>, &moveFloats<4>};
    if (moves.count > 0)
        byCount[moves.count - 1](output, input, count, moves);
}

void fillPixels(float* output, int64_t count, int channels, const float* pixel)
{
    // Twelve floats are whole pixels however many channels a pixel has, and whole vectors.
    float pattern[12];
    for (int i = 0; i < 12; ++i)
        pattern[i] = pixel[i % channels];
    const bool zero = std::all_of(pattern, pattern + 12,
                                  [](float value) { return std::bit_cast<uint32_t>(value) == 0; });

    const int64_t floats = count * channels;
    // The C library has ways to write zeros that no loop reaches.
    if (zero)
    {
        std::memset(output, 0, sizeof(float) * static_cast<size_t>(floats));
        return;
    }
    int64_t i = 0;
    for (; i + 12 <= floats; i += 12)
        std::memcpy(output + i, pattern, sizeof(pattern));
    std::memcpy(output + i, pattern, sizeof(float) * static_cast<size_t>(floats - i));
}

}

#endif
