#include "EMULSION/Orient.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <string>

#include "plumbing/CopyOverlap.h"
#include "plumbing/PixelRuns.h"
#include "Validation.h"

namespace EMULSION
{

using namespace Private;

namespace
{

// Sums of three coordinates.
__extension__ typedef __int128 Wide;

struct Corner
{
    Wide x, y;
};

// Where a point goes, by an operation from 0 to 6. The sums are those of OrientOperation with w and
// h as differences of the display rectangle's edges: D.x0 + (w - u), say, is D.x0 + D.x1 - x.
Corner oriented(int32_t operation, int64_t x, int64_t y, const UTIL::Rect& display)
{
    const Wide x0 = display.x0, y0 = display.y0, x1 = display.x1, y1 = display.y1;
    switch (operation)
    {
    case OrientCounterClockwise:
        return {x0 + y1 - y, y0 + x - x0};
    case OrientClockwise:
        return {x0 + y - y0, y0 + x1 - x};
    case OrientHalfTurn:
    case OrientFlipFlop:
        return {x0 + x1 - x, y0 + y1 - y};
    case OrientFlip:
        return {x, y0 + y1 - y};
    case OrientFlop:
        return {x0 + x1 - x, y};
    default:
        return {x, y};
    }
}

bool isCoordinate(Wide value)
{
    return value >= std::numeric_limits<int64_t>::min() &&
           value <= std::numeric_limits<int64_t>::max();
}

bool checkOperation(const char* function, int32_t operation)
{
    return (operation >= OrientNone && operation <= OrientFlipFlop) ||
           invalidArgument(function,
                           "no orient operation has the number " + std::to_string(operation) + ".");
}

// An inverted rectangle stays inverted.
UTIL::Rect orientedRect(const char* function, int32_t operation, const UTIL::Rect& rect,
                        const UTIL::Rect& display)
{
    const bool mirrorsX = operation == OrientCounterClockwise || operation == OrientHalfTurn ||
                          operation == OrientFlop || operation == OrientFlipFlop;
    const bool mirrorsY = operation == OrientClockwise || operation == OrientHalfTurn ||
                          operation == OrientFlip || operation == OrientFlipFlop;
    Corner low = oriented(operation, rect.x0, rect.y0, display);
    Corner high = oriented(operation, rect.x1, rect.y1, display);
    if (mirrorsX)
        std::swap(low.x, high.x);
    if (mirrorsY)
        std::swap(low.y, high.y);
    if (isCoordinate(low.x) && isCoordinate(low.y) && isCoordinate(high.x) && isCoordinate(high.y))
        return {static_cast<int64_t>(low.x), static_cast<int64_t>(low.y),
                static_cast<int64_t>(high.x), static_cast<int64_t>(high.y)};
    invalidArgument(function, "orienting " + textOf(rect) + " by operation " +
                                  std::to_string(operation) + " in " + textOf(display) +
                                  " leaves the range of coordinates.");
    return {};
}

// The order in which the input's pixels become the output's.
struct Walk
{
    const float* origin; // of the output's first pixel
    int64_t alongRow;    // from one pixel of an output row to the next, in floats
    int64_t acrossRows;  // from one output row to the next, in floats

    const float* at(int64_t column, int64_t row) const
    {
        return origin + column * alongRow + row * acrossRows;
    }
};

// For an input with pixels and channels and an operation that moves pixels.
Walk walkOf(const Image& input, int32_t operation)
{
    // What a single row says about the next one may be anything.
    const auto row =
        input.bounds.height() == 1 ? 0 : static_cast<int64_t>(input.rowBytes / sizeof(float));
    const int64_t pixel = channelCount(input.channels);
    const UTIL::Rect& b = input.bounds;
    switch (operation)
    {
    case OrientCounterClockwise:
        return {pixelOf(input, b.x0, b.y1 - 1), -row, pixel};
    case OrientClockwise:
        return {pixelOf(input, b.x1 - 1, b.y0), row, -pixel};
    case OrientFlip:
        return {pixelOf(input, b.x0, b.y1 - 1), pixel, -row};
    case OrientFlop:
        return {pixelOf(input, b.x1 - 1, b.y0), -pixel, row};
    default:
        return {pixelOf(input, b.x1 - 1, b.y1 - 1), -pixel, -row};
    }
}

// A part of the output, counted from its first pixel.
struct Block
{
    int64_t column, row, width, height;
};

float* rowOfBlock(const Image& output, const Block& block, int64_t row)
{
    return pixelOf(output, output.bounds.x0 + block.column, output.bounds.y0 + block.row + row);
}

// An output row crosses all rows of the input, which often stand a power of two apart and so share
// a few places of the cache. A block reads whole cache lines of no more rows than the first-level
// cache keeps of such, and writes whole lines, too.
constexpr int64_t s_blockWidth = 8, s_blockHeight = 256;

// The rows of the input that the next block reads, which the processor does not foresee.
void prefetchNextBlock(const Image& output, const Walk& walk, const Block& block, int64_t row)
{
    const int64_t next = block.column + s_blockWidth;
    const int64_t end = std::min(next + s_blockWidth, output.bounds.width());
    for (int64_t column = next; column < end; ++column)
        __builtin_prefetch(walk.at(column, block.row + row));
}

// For images of the same channels.
template <int Channels>
void moveBlock(const Image& output, const Walk& walk, const Block& block)
{
    for (int64_t row = 0; row < block.height; ++row)
    {
        if (row % 4 == 0)
            prefetchNextBlock(output, walk, block, row);
        float* const to = rowOfBlock(output, block, row);
        const float* const from = walk.at(block.column, block.row + row);
        const auto movePixel = [=](int64_t i) {
            std::memcpy(to + i * Channels, from + i * walk.alongRow, Channels * sizeof(float));
        };
        if (block.width == s_blockWidth) // a loop without a test
            for (int64_t i = 0; i < s_blockWidth; ++i)
                movePixel(i);
        else
            for (int64_t i = 0; i < block.width; ++i)
                movePixel(i);
    }
}

template <class Move>
void forEachBlock(const UTIL::Rect& bounds, const Move& move)
{
    for (int64_t row = 0; row < bounds.height(); row += s_blockHeight)
        for (int64_t column = 0; column < bounds.width(); column += s_blockWidth)
            move(Block{column, row, std::min(s_blockWidth, bounds.width() - column),
                       std::min(s_blockHeight, bounds.height() - row)});
}

void mirror(const Image& output, const Walk& walk, ChannelMap map)
{
    map.inputStep = walk.alongRow;
    for (int64_t row = 0; row < output.bounds.height(); ++row)
        mapPixels(rowOf(output, output.bounds.y0 + row), walk.at(0, row), output.bounds.width(),
                  map);
}

void turn(const Image& output, const Walk& walk, bool sameChannels, ChannelMap map)
{
    static constexpr decltype(&moveBlock<1>) byChannels[] = {&moveBlock<1>, &moveBlock<2>,
                                                             &moveBlock<3>, &moveBlock<4>};
    map.inputStep = walk.alongRow;
    const auto moveAlike = byChannels[map.outputChannels - 1];
    forEachBlock(output.bounds, [&](const Block& block) {
        if (sameChannels)
            return moveAlike(output, walk, block);
        for (int64_t row = 0; row < block.height; ++row)
            mapPixels(rowOfBlock(output, block, row), walk.at(block.column, block.row + row),
                      block.width, map);
    });
}

void orientImage(const char* function, const Image* output, const Image* input, int32_t operation)
{
    if (!checkOutput(function, output) || !checkInput(function, input))
        return;
    const bool turns = operation == OrientCounterClockwise || operation == OrientClockwise;
    const UTIL::Rect &from = input->bounds, &to = output->bounds;
    const bool fits = turns ? from.width() == to.height() && from.height() == to.width()
                            : from.width() == to.width() && from.height() == to.height();
    if (!fits)
    {
        invalidArgument(function, "the input's bounds " + textOf(from) +
                                      " do not have the size to fill " + textOf(to) + ".");
        return;
    }
    if (isEmpty(*output))
        return;
    if ((output->channels & input->channels) == 0)
        return clearPart(*output, to);
    const Walk walk = walkOf(*input, operation);
    const ChannelMap map = matchChannels(output->channels, input->channels);
    if (turns)
        turn(*output, walk, output->channels == input->channels, map);
    else
        mirror(*output, walk, map);
}

}

UTIL::Rect OrientRect(int32_t operation, const UTIL::Rect& rect, const UTIL::Rect& displayRect)
{
    return checkOperation("OrientRect", operation)
               ? orientedRect("OrientRect", operation, rect, displayRect)
               : UTIL::Rect();
}

UTIL::Rect UnOrientRect(int32_t operation, const UTIL::Rect& rect,
                        const UTIL::Rect& orientedDisplayRect)
{
    if (!checkOperation("UnOrientRect", operation))
        return {};
    // Both display rectangles have the same lower left corner, so that the way back is the opposite
    // operation in the oriented one.
    const int32_t opposite = operation == OrientCounterClockwise ? OrientClockwise
                             : operation == OrientClockwise      ? OrientCounterClockwise
                                                                 : operation;
    return orientedRect("UnOrientRect", opposite, rect, orientedDisplayRect);
}

void Flip(const Image* output, const Image* input)
{
    orientImage("Flip", output, input, OrientFlip);
}

void Flop(const Image* output, const Image* input)
{
    orientImage("Flop", output, input, OrientFlop);
}

void FlipFlop(const Image* output, const Image* input)
{
    orientImage("FlipFlop", output, input, OrientFlipFlop);
}

void Orient(const Image* output, const Image* input, int32_t quarterTurns)
{
    if (quarterTurns != OrientCounterClockwise && quarterTurns != OrientClockwise)
        invalidArgument("Orient", "a turn is 1 or 3, not " + std::to_string(quarterTurns) + ".");
    else
        orientImage("Orient", output, input, quarterTurns);
}

}
