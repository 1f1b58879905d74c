#include "EMULSION/Plumbing.h"

#include "EMULSION/Channels.h"
#include "EMULSION/Error.h"
#include "plumbing/CopyOverlap.h"
#include "plumbing/PixelRuns.h"
#include "Rows.h"
#include "Validation.h"

namespace EMULSION
{

using namespace Private;

namespace
{

bool checkColour(const char* function, const float* rgba)
{
    return rgba || invalidArgument(function, "the colour is null.");
}

bool checkMask(const char* function, unsigned long mask)
{
    if (IsChannelMaskValid(mask))
        return true;
    SetError(ERROR_INVALID_CHANNELS,
             std::string(function) + ": the channel mask " + std::to_string(mask) + " is invalid.");
    return false;
}

bool checkPixel(const char* function, const Image& image, int64_t x, int64_t y)
{
    const UTIL::Rect& b = image.bounds;
    if (x >= b.x0 && x < b.x1 && y >= b.y0 && y < b.y1)
        return true;
    return invalidArgument(function, "the pixel (" + std::to_string(x) + "," + std::to_string(y) +
                                         ") lies outside of the bounds " + textOf(b) + ".");
}

template <class Work>
void forEachChannel(uint64_t mask, Work work)
{
    for (uint64_t channel = ChannelRed; channel <= ChannelAlpha; channel <<= 1)
        if (mask & channel)
            work(channel);
}

// The channels of an RGBA colour that a pixel of `channels` has, one behind the other.
void packColour(float* pixel, uint64_t channels, const float* rgba)
{
    forEachChannel(channels, [&](uint64_t channel) { *pixel++ = rgba[channelIndex(15, channel)]; });
}

void addMove(ChannelMoves& moves, int64_t to, int64_t from)
{
    moves.to[moves.count] = static_cast<int>(to);
    moves.from[moves.count] = static_cast<int>(from);
    ++moves.count;
}

// The moves of a ChannelCopy between pixels of these channels: what either lacks has no part in it.
ChannelMoves pairChannels(uint64_t output, uint64_t input, uint64_t outputMask, uint64_t inputMask)
{
    const bool oneToOne = channelCount(outputMask) == channelCount(inputMask);
    ChannelMoves moves;
    moves.outputChannels = static_cast<int>(channelCount(output));
    moves.inputStep = static_cast<int>(channelCount(input));
    forEachChannel(outputMask, [&](uint64_t to) {
        const uint64_t from = inputMask & -inputMask; // the lowest bit
        if (from & input && to & output)
            addMove(moves, channelIndex(output, to), channelIndex(input, from));
        if (oneToOne)
            inputMask &= ~from;
    });
    return moves;
}

// The same for moves that leave no channel of the output out.
ChannelMap mapOf(const ChannelMoves& moves)
{
    ChannelMap map{moves.outputChannels, moves.inputStep, {}};
    for (int k = 0; k < moves.count; ++k)
        map.source[moves.to[k]] = moves.from[k];
    return map;
}

}

void Fill(const Image* image, const float* rgba)
{
    if (!checkImage("Fill", "image", image) || !checkColour("Fill", rgba) || isEmpty(*image))
        return;
    float pixel[4];
    packColour(pixel, image->channels, rgba);
    forEachRun(*image, image->bounds, [&](float* run, int64_t count) {
        fillPixels(run, count, static_cast<int>(channelCount(image->channels)), pixel);
    });
}

void FillChannels(const Image* image, unsigned long mask, const float* rgba)
{
    if (!checkImage("FillChannels", "image", image) || !checkMask("FillChannels", mask) ||
        !checkColour("FillChannels", rgba) || isEmpty(*image))
        return;
    if ((image->channels & ~mask) == 0)
        return Fill(image, rgba);
    ChannelMoves moves = pairChannels(image->channels, 15, mask, mask);
    moves.inputStep = 0;
    forEachRun(*image, image->bounds,
               [&](float* run, int64_t count) { moveChannels(run, rgba, count, moves); });
}

void Clear(const Image* image)
{
    static constexpr float black[4] = {};
    if (checkImage("Clear", "image", image))
        Fill(image, black);
}

void Copy(const Image* output, const Image* input)
{
    if (checkOutput("Copy", output) && checkInput("Copy", input))
        copyOverlap(*output, *input);
}

void CopyInto(const Image* destination, const Image* source)
{
    if (checkImage("CopyInto", "destination", destination) &&
        checkImage("CopyInto", "source", source))
        copyOverlap(*destination, *source);
}

void ChannelCopy(const Image* destination, const Image* source, unsigned long destinationChannels,
                 unsigned long sourceChannels)
{
    if (!checkImage("ChannelCopy", "destination", destination) ||
        (source && !checkImage("ChannelCopy", "source", source)) ||
        !checkMask("ChannelCopy", destinationChannels) || !checkMask("ChannelCopy", sourceChannels))
        return;
    const UTIL::Rect both = source ? overlap(*destination, *source) : UTIL::Rect();
    if (both.isNull())
        return;
    const ChannelMoves moves =
        pairChannels(destination->channels, source->channels, destinationChannels, sourceChannels);
    if (moves.count == 0)
        return;
    const bool fast = moves.count == moves.outputChannels && !sharesMemory(*destination, *source);
    const ChannelMap map = fast ? mapOf(moves) : ChannelMap();
    forEachRun(*destination, *source, both, [&](float* to, const float* from, int64_t count) {
        fast ? mapPixels(to, from, count, map) : moveChannels(to, from, count, moves);
    });
}

void Translate(const Image* output, const Image* input, int64_t dx, int64_t dy)
{
    if (!checkOutput("Translate", output) || !checkInput("Translate", input))
        return;
    Image moved = *input;
    const UTIL::Rect& from = input->bounds;
    if (__builtin_add_overflow(from.x0, dx, &moved.bounds.x0) ||
        __builtin_add_overflow(from.y0, dy, &moved.bounds.y0) ||
        __builtin_add_overflow(from.x1, dx, &moved.bounds.x1) ||
        __builtin_add_overflow(from.y1, dy, &moved.bounds.y1))
        invalidArgument("Translate", "moving " + textOf(from) + " by (" + std::to_string(dx) + "," +
                                         std::to_string(dy) + ") leaves the range of coordinates.");
    else
        copyOverlap(*output, moved);
}

void GetSubImage(Image* view, const Image* image, int64_t x0, int64_t y0, int64_t x1, int64_t y1)
{
    if (!view)
    {
        invalidArgument("GetSubImage", "the view is null.");
        return;
    }
    const UTIL::Rect part(x0, y0, x1, y1);
    Image result;
    if (!checkImage("GetSubImage", "image", image))
        ;
    else if (x0 > x1 || y0 > y1 || (!part.isNull() && !image->bounds.contains(part)))
        invalidArgument("GetSubImage", "the rectangle " + textOf(part) +
                                           " does not lie inside of the bounds " +
                                           textOf(image->bounds) + ".");
    else
    {
        result = *image;
        result.bounds = part;
        result.pixelPtr = isEmpty(result) ? nullptr : pixelOf(*image, x0, y0);
    }
    *view = result;
}

void GetPixel(const Image* image, int64_t x, int64_t y, float* rgba)
{
    if (!checkImage("GetPixel", "image", image) || !checkColour("GetPixel", rgba) ||
        !checkPixel("GetPixel", *image, x, y) || isEmpty(*image))
        return;
    const float* pixel = pixelOf(*image, x, y);
    forEachChannel(image->channels,
                   [&](uint64_t channel) { rgba[channelIndex(15, channel)] = *pixel++; });
}

void SetPixel(const Image* image, int64_t x, int64_t y, const float* rgba)
{
    if (checkImage("SetPixel", "image", image) && checkColour("SetPixel", rgba) &&
        checkPixel("SetPixel", *image, x, y) && !isEmpty(*image))
        packColour(pixelOf(*image, x, y), image->channels, rgba);
}

}
