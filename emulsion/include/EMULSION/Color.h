#pragma once

#include <ImathColor.h>

#include "EMULSION/Export.h"
#include "EMULSION/Image.h"
#include "EMULSION/PixelOperation.h"

namespace EMULSION
{

// Operations on the values of pixels. Each has three forms that agree to the last bit:
//
//  - on images: over the pixels that both have, into every channel of `output`. Outside `input` the
//    output stays as it was; a channel that `input` lacks reads as 0, alpha too. The two may be the
//    same image. An invalid image sets ERROR_INVALID_ARGUMENT or ERROR_INVALID_CHANNELS, and
//    nothing is written.
//  - on one colour. Where it is given `out`, that may be `color` itself.
//  - as a PixelOperation, for chains that Run executes.
//
// Arithmetic is IEEE single precision in the order written; a comparison with NaN is false. All of
// them are safe from any thread at once.

/// (v - pivot) * contrast + pivot, each channel with its own two parameters.
EMULSION_API void Contrast(const Image* output, const Image* input, const Imath::Color4f& contrast,
                           const Imath::Color4f& pivot);
EMULSION_API Imath::Color4f Contrast(const Imath::Color4f& color, const Imath::Color4f& contrast,
                                     const Imath::Color4f& pivot);
EMULSION_API PixelOperationPtr makeContrastOperation(const Imath::Color4f& contrast,
                                                     const Imath::Color4f& pivot);

/// Per channel: v < min gives min if `clampMin`, then v > max gives max if `clampMax`. NaN stays.
EMULSION_API void Clamp(const Image* output, const Image* input, const Imath::Color4f& min,
                        const Imath::Color4f& max, bool clampMin, bool clampMax);
EMULSION_API void ClampColor(Imath::Color4f& out, const Imath::Color4f& color,
                             const Imath::Color4f& min, const Imath::Color4f& max, bool clampMin,
                             bool clampMax);
EMULSION_API PixelOperationPtr makeClampOperation(const Imath::Color4f& min,
                                                  const Imath::Color4f& max, bool clampMin,
                                                  bool clampMax);

/// Per channel: v >= threshold gives `high` if `replaceHigh`, otherwise v; everything else, NaN
/// too, gives `low` if `replaceLow`, otherwise v.
EMULSION_API void Threshold(const Image* output, const Image* input,
                            const Imath::Color4f& threshold, bool replaceLow,
                            const Imath::Color4f& low, bool replaceHigh,
                            const Imath::Color4f& high);
EMULSION_API Imath::Color4f Threshold(const Imath::Color4f& color, const Imath::Color4f& threshold,
                                      bool replaceLow, const Imath::Color4f& low, bool replaceHigh,
                                      const Imath::Color4f& high);
EMULSION_API PixelOperationPtr makeThresholdOperation(const Imath::Color4f& threshold,
                                                      bool replaceLow, const Imath::Color4f& low,
                                                      bool replaceHigh, const Imath::Color4f& high);

/// 1 / v per channel; 0 of either sign gives 0.
EMULSION_API void MultInverse(const Image* output, const Image* input);
EMULSION_API void MultInverseColor(Imath::Color4f& out, const Imath::Color4f& color);
EMULSION_API PixelOperationPtr makeMultInverseOperation();

/// Takes out what no picture should hold: NaN and infinities become 0, alpha is clamped to 0..1,
/// and negative colours become 0 unless `keepNegative`. That is for wide-gamut colours, which a
/// composite may rightly hold; what is negative behind a filter is ringing.
EMULSION_API void CleanupClamp(const Image* output, const Image* input, bool keepNegative);
EMULSION_API void CleanupClampColor(Imath::Color4f& out, const Imath::Color4f& color,
                                    bool keepNegative);
EMULSION_API PixelOperationPtr makeCleanupClampOperation(bool keepNegative);

}
