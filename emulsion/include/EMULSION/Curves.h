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

/// Takes colours around one hue towards grey; alpha stays.
///
/// Hues are those of HSV, in turns. With d the distance of a pixel's hue from that of `suppressed`
/// on the circle, w falls smoothly from 1 at d = 0 to 0 at half the width: w = 1 - t t (3 - 2 t)
/// for t = d / (width / 2), so that a width of 1 reaches every hue. With L = 0.2126 R + 0.7152 G +
/// 0.0722 B, red, green and blue become L + (value - L) (1 - amount w). Grey, and what the width
/// does not reach, stays to the bit.
///
/// `suppressed` has the hue 0, red, if it is grey. A width of less than 1e-6, or NaN, counts as
/// 1e-6.
EMULSION_API void HueSuppress(const Image* output, const Image* input,
                              const Imath::Color3<float>& suppressed, float amount, float width);
EMULSION_API void HueSuppressApply(Imath::Color4f& out, const Imath::Color4f& color,
                                   const Imath::Color3<float>& suppressed, float amount,
                                   float width);
EMULSION_API PixelOperationPtr makeHueSuppressOperation(const Imath::Color3<float>& suppressed,
                                                        float amount, float width);

/// Changes colours by their hue; alpha stays.
///
/// The five tables have `count` values each; entry i is for the hue i / count, in turns. In between
/// they are linear, around the circle, too; a value from which the next one differs by no finite
/// float holds up to it. Without entries nothing changes. With the values s, p, r, g, b that they
/// have at a pixel's hue, w its saturation by HSV, limited to 0..1, so that greys do not jump, and
/// L its luma by the coefficients:
///
///  - red, green and blue become L + (value - L) (1 + (s - 1) w);
///  - each of them for which `suppressed` is above 0 loses p suppressed m, with m by how much it
///    exceeds the larger of the other two;
///  - to red r w is added if `additive`, otherwise it is multiplied by 1 + (r - 1) w; green and
///    blue likewise.
EMULSION_API void HueCurves(const Image* output, const Image* input,
                            const Imath::Color3<float>& lumaCoefficients, size_t count,
                            bool additive, const Imath::Color3<float>& suppressed,
                            const float* saturation, const float* suppression, const float* red,
                            const float* green, const float* blue);
EMULSION_API void HueCurvesApply(Imath::Color4f& out, const Imath::Color4f& color,
                                 const Imath::Color3<float>& lumaCoefficients, size_t count,
                                 bool additive, const Imath::Color3<float>& suppressed,
                                 const float* saturation, const float* suppression,
                                 const float* red, const float* green, const float* blue);
EMULSION_API PixelOperationPtr makeHueCurvesOperation(const Imath::Color3<float>& lumaCoefficients,
                                                      size_t count, bool additive,
                                                      const Imath::Color3<float>& suppressed,
                                                      const float* saturation,
                                                      const float* suppression, const float* red,
                                                      const float* green, const float* blue);

}
