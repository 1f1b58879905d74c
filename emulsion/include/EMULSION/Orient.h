#pragma once

#include <cstdint>

#include <UTIL/Rect.h>

#include "EMULSION/Export.h"
#include "EMULSION/Image.h"

// Quarter and half turns and mirror images: pixels change their place and keep their bits. The y
// axis points up, so that a quarter turn counter-clockwise takes the x axis to the y axis.
namespace EMULSION
{

/// What becomes of a picture. With D the display rectangle, w wide and h high, and (u, v) a point
/// counted from D's lower left corner: where that point goes, counted from the same corner.
///
/// The numbers are written to files.
enum OrientOperation : int32_t
{
    OrientNone = 0,             ///< (u, v)
    OrientCounterClockwise = 1, ///< (h - v, u), a quarter turn
    OrientHalfTurn = 2,         ///< (w - u, h - v)
    OrientClockwise = 3,        ///< (v, w - u), a quarter turn
    OrientFlip = 4,             ///< (u, h - v), upside down
    OrientFlop = 5,             ///< (w - u, v), left to right
    OrientFlipFlop = 6          ///< (w - u, h - v), the half turn by another name
};

/// Where a rectangle goes with the picture. Applied to `displayRect` itself this is the oriented
/// display rectangle: it keeps the lower left corner, and a quarter turn swaps its sides.
///
/// `operation` is an OrientOperation. Another number, and a result that leaves the signed 64-bit
/// range, set ERROR_INVALID_ARGUMENT and give the null rectangle.
EMULSION_API UTIL::Rect OrientRect(int32_t operation, const UTIL::Rect& rect,
                                   const UTIL::Rect& displayRect);

/// The rectangle that OrientRect takes to `rect`, given the oriented display rectangle. Fails like
/// it.
EMULSION_API UTIL::Rect UnOrientRect(int32_t operation, const UTIL::Rect& rect,
                                     const UTIL::Rect& orientedDisplayRect);

// The pixels, each with its operation's sense: the input's bounds are turned onto the output's,
// wherever the two lie. Channels are matched by name, and one that the input lacks becomes 0.
//
// The two must not share memory. An image that is not sound (see Plumbing.h), and bounds whose
// sizes do not suit each other, set ERROR_INVALID_ARGUMENT or ERROR_INVALID_CHANNELS, and nothing
// is written then. All are safe from any thread at once.

EMULSION_API void Flip(const Image* output, const Image* input);
EMULSION_API void Flop(const Image* output, const Image* input);
EMULSION_API void FlipFlop(const Image* output, const Image* input);

/// A quarter turn: 1 counter-clockwise, 3 clockwise; any other number sets ERROR_INVALID_ARGUMENT.
EMULSION_API void Orient(const Image* output, const Image* input, int32_t quarterTurns);

}
