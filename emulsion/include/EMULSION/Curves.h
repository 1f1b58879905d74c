#pragma once

#include <cstddef>

#include <ImathColor.h>

#include "EMULSION/Export.h"
#include "EMULSION/Image.h"
#include "EMULSION/PixelOperation.h"

namespace EMULSION
{

// Operations whose parameters are curves. Their forms, channels, errors and threads are those of
// the operations in Color.h. Points and tables are copied. A PixelOperation prepares its curves
// once, where the other forms do so at each call: what works on many images keeps an operation.

/// A curve of `count` points, as many pairs x, y by growing x.
///
/// It is linear between points, exact at points, and keeps the values of its ends outside. Two
/// points at one x make a step, whose later value holds at x. Without points (or with a null
/// pointer) it changes nothing, one point makes it a constant. NaN stays, infinities take the
/// values of the ends.
///
/// Any floats are safe: points whose x is less than that of one before, or not finite, are left
/// out, and where one of two neighbours has a y that is not finite, the first one's holds up to the
/// other.
struct CurvePoints
{
    const float* points = nullptr;
    size_t count = 0;
};

/// Each channel by a curve of its own.
EMULSION_API void ApplyRGBACurves(const Image* output, const Image* input, const float* red,
                                  size_t redCount, const float* green, size_t greenCount,
                                  const float* blue, size_t blueCount, const float* alpha,
                                  size_t alphaCount);
EMULSION_API void ApplyRGBACurvesColor(Imath::Color4f& out, const Imath::Color4f& color,
                                       const float* red, size_t redCount, const float* green,
                                       size_t greenCount, const float* blue, size_t blueCount,
                                       const float* alpha, size_t alphaCount);
EMULSION_API PixelOperationPtr makeRGBACurvesOperation(const CurvePoints& red,
                                                       const CurvePoints& green,
                                                       const CurvePoints& blue,
                                                       const CurvePoints& alpha);

/// Luma by a curve, and the colour along with it; alpha stays.
///
/// With L = (R r + G g) + B b for the coefficients (r, g, b), and f what the curve makes of L: red,
/// green and blue are multiplied by f / L where L > 0, and elsewhere f - L is added to them.
/// Without points nothing changes.
EMULSION_API void ApplyLumaCurve(const Image* output, const Image* input,
                                 const Imath::Color3<float>& lumaCoefficients, const float* curve,
                                 size_t count);
EMULSION_API void ApplyLumaCurveColor(Imath::Color4f& out, const Imath::Color4f& color,
                                      const Imath::Color3<float>& lumaCoefficients,
                                      const float* curve, size_t count);
EMULSION_API PixelOperationPtr makeLumaCurveOperation(const Imath::Color3<float>& lumaCoefficients,
                                                      const CurvePoints& curve);

}
