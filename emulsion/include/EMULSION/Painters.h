#pragma once

#include <cstddef>

#include <ImathColor.h>
#include <ImathVec.h>

#include <UTIL/RBFType.h>

#include "EMULSION/Export.h"
#include "EMULSION/Image.h"

namespace EMULSION
{

// Painters make a picture from parameters alone. Each writes all of the image's bounds in all of
// its channels. A pixel's value depends on its coordinates and the parameters only, so that a
// picture that is painted in pieces has no seams. Positions are pixel coordinates of the whole
// plane and reckoned in double precision; a pixel is judged at its centre, (x + 0.5, y + 0.5).
// Between two colours lies a + (b - a) * t in single precision, with t clamped to 0..1; at both
// ends the colours are exact.
//
// The colours are taken as they are. If they are given in a colour space, convert them with
// ConvertColorspaceToLinear; a caller who wants the whole picture read as one in that space
// converts it, too.
//
// An invalid image or an inverted rectangle sets ERROR_INVALID_ARGUMENT or
// ERROR_INVALID_CHANNELS, and nothing is painted. Safe from any thread at once.

/// Bilinear between the corners of `rect`: c0 bottom left, c1 bottom right, c2 top left, c3 top
/// right, each four floats. Held beyond the edges.
EMULSION_API void Gradient(const Image* image, const UTIL::Rect& rect, const float* c0,
                           const float* c1, const float* c2, const float* c3);

/// From color0 at the left edge of `rect` to color1 at its right edge; held beyond them.
EMULSION_API void HorizontalRamp(const Image* image, const UTIL::Rect& rect,
                                 const Imath::Color4f& color0, const Imath::Color4f& color1);

/// From color0 at the bottom edge of `rect` to color1 at its top edge; held beyond them.
EMULSION_API void VerticalRamp(const Image* image, const UTIL::Rect& rect,
                               const Imath::Color4f& color0, const Imath::Color4f& color1);

/// Changes along the line from point0 to point1, and not across it.
///
/// The stops are color0 at 0, color1 at 1, and `count` more with `positions` between (or beyond)
/// the two and four floats each in `colors`; both may be null when `count` is 0. They need not be
/// in order. Between neighbours the colour is linear, beyond the ends it is held. Two stops at one
/// place make a hard edge: at the place itself, the later one holds. A stop whose position is NaN
/// is left out. Equal points, or points that are not finite, give color1 everywhere.
EMULSION_API void DirectionalGradient(const Image* image, const Imath::V2f& point0,
                                      const Imath::Color4f& color0, const Imath::V2f& point1,
                                      const Imath::Color4f& color1, size_t count,
                                      const float* positions, const float* colors);

/// From color0 inside to color1 outside of an ellipse.
///
/// \param innerRadius  pixels along the longer axis, up to which color0 holds
/// \param width        pixels from there to color1. 0 or less: a step at `innerRadius`,
/// anti-aliased
///                     by area
/// \param shape        0..1: 0 a linear slope, 1 the smoothstep 3t^2 - 2t^3, between them a blend
/// \param aspect       height over width of the ellipse; below 1 `innerRadius` and `width` hold
///                     along x, otherwise along y. 0 or less is an ellipse without a point
/// \param extend       true: color1 to infinity. False: 0 outside of the ellipse of radius
///                     innerRadius + width; what the rim covers of a pixel's area counts
EMULSION_API void RadialGradient(const Image* image, float centerX, float centerY,
                                 float innerRadius, float width, float shape, float aspect,
                                 const Imath::Color4f& color0, const Imath::Color4f& color1,
                                 bool extend);

/// Spreads the colours of scattered points over the plane.
///
/// \param positions  x and y of each of `count` points, in pixels. Points that are not finite are
///                   left out
/// \param colors     four floats for each
/// \param useRbf     false: weights 1 / distance^parameter (Shepard 1968), 0 or less standing
/// for 2.
///                   A pixel whose centre is a point takes its colour.
///                   True: a sum of radial basis functions around the points that passes through
///                   their colours (Hardy 1971), the thin plate with a linear polynomial (Duchon
///                   1977). Points at one place count once, with their mean colour. Where there is
///                   no such sum, as for a thin plate on one line, the weights above are used
/// \param type       the function, if useRbf
/// \param parameter  the exponent; for the last three functions 64 times the ratio of s to the mean
///                   distance from a point to the nearest other one, 0 or less standing for 64
/// No points: 0. One point: its colour. The time for a pixel grows with the number of points, the
/// preparation with its cube if useRbf. ERROR_OUT_OF_MEMORY is possible.
EMULSION_API void SuperGradient(const Image* image, size_t count, const float* positions,
                                const float* colors, bool useRbf, UTIL::RBFType type,
                                float parameter);

/// Cells of `size` pixels from `origin` on, color0 in the cell whose lower left corner is `origin`,
/// color1 in its neighbours. A pixel that an edge crosses has the mean over its area. A size with a
/// side of 0 or less, or NaN, gives color0.
EMULSION_API void Checkerboard(const Image* image, const Imath::Color4f& color0,
                               const Imath::Color4f& color1, const Imath::V2f& size,
                               const Imath::V2f& origin);

/// Eight equal bars from left to right over rect[0] <= x < rect[2], in the order of the EBU colour
/// bars: white, yellow, cyan, green, magenta, red, blue, black, with alpha 1. The amplitude is
/// 0.75, with `full` 1. A pixel that an edge crosses has the mean over its area. Outside, the
/// nearest bar.
EMULSION_API void Bars(const Image* image, const float* rect, bool full);

/// All hues around a centre: premultiplied, 0 outside of the ellipse, whose rim counts by what it
/// covers of a pixel's area; alpha 1 inside.
///
/// \param radius, aspect   as for RadialGradient
/// \param innerSaturation  at the centre, changing linearly to outerSaturation at the rim
/// \param value            of the HSV colour
/// \param turn             degrees added to the hue, which is 0 (red) towards +x and grows
///                         counter-clockwise. Angles are those on the circle that the ellipse was
/// Usual values of the last four are 0, 1, 1, 0.
EMULSION_API void HueWheel(const Image* image, float centerX, float centerY, float radius,
                           float aspect, float innerSaturation, float outerSaturation, float value,
                           float turn);

}
