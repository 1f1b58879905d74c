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

/// NaN becomes 0, and infinities become 0, or with `keepInfinities` the largest half of their sign,
/// +-65504. Works on the image itself.
EMULSION_API void ClearInfsAndNans(const Image* image, bool keepInfinities);
EMULSION_API PixelOperationPtr makeClearInfsAndNansOperation(bool keepInfinities);

/// Highlights brighter or darker: per channel v > threshold gives threshold + (v - threshold) *
/// gain. Alpha likewise, unless `keepAlpha`.
EMULSION_API void RGBBloomControl(const Image* output, const Image* input, float threshold,
                                  float gain, bool keepAlpha);
EMULSION_API Imath::Color4f RGBBloomControl(const Imath::Color4f& color, float threshold,
                                            float gain, bool keepAlpha);
EMULSION_API PixelOperationPtr makeRGBBloomOperation(float threshold, float gain, bool keepAlpha);

/// The same by luminance, so that hues stay: where L = 0.2126 R + 0.7152 G + 0.0722 B exceeds the
/// threshold, red, green and blue, and alpha unless `keepAlpha`, are multiplied by
/// (threshold + (L - threshold) * gain) / L. A threshold below 0 makes NaN of a black pixel.
EMULSION_API void LuminanceBloomControl(const Image* output, const Image* input, float threshold,
                                        float gain, bool keepAlpha);
EMULSION_API Imath::Color4f LuminanceBloomControl(const Imath::Color4f& color, float threshold,
                                                  float gain, bool keepAlpha);
EMULSION_API PixelOperationPtr makeLuminanceBloomOperation(float threshold, float gain,
                                                           bool keepAlpha);

/// (s - v) * amount + v per channel, with the curve s = 6v^5 - 15v^4 + 10v^3, that is calculated in
/// double precision and rounded: 0, 0.5 and 1 stay. Alpha likewise if `boostAlpha`, otherwise it
/// becomes 1.
EMULSION_API void NContrastBoost(const Image* output, const Image* input, float amount,
                                 bool boostAlpha);
EMULSION_API Imath::Color4f NContrastBoost(const Imath::Color4f& color, float amount,
                                           bool boostAlpha);
EMULSION_API PixelOperationPtr makeNContrastBoostOperation(float amount, bool boostAlpha);

/// 1 - |2 v - 1| per channel, with v clamped to 0..1: what lies between 0 and 1 shows, an edge's
/// half values most. NaN gives 0.
EMULSION_API void Fringe(const Image* output, const Image* input);
EMULSION_API void FringeColor(Imath::Color4f& out, const Imath::Color4f& color);
EMULSION_API PixelOperationPtr makeFringeOperation();

/// Steps for red, green and blue, n = floor(levels) of them from 0 to 1; alpha stays, and so does
/// a channel whose n is below 2 or not finite.
///
/// With `nearest` v becomes the step nearest to it, floor(v (n - 1) + 0.5) / (n - 1); without,
/// each step is as wide as the others, floor(v n) / (n - 1), and 1 belongs to the highest. With
/// `clampRange` v is clamped to 0..1 first, otherwise steps go on outside. NaN stays.
EMULSION_API void Posterize(const Image* output, const Image* input, float levelsR, float levelsG,
                            float levelsB, bool clampRange, bool nearest);
EMULSION_API void PosterizeColor(Imath::Color4f& out, const Imath::Color4f& color, float levelsR,
                                 float levelsG, float levelsB, bool clampRange, bool nearest);
EMULSION_API PixelOperationPtr makePosterizeOperation(float levelsR, float levelsG, float levelsB,
                                                      bool clampRange, bool nearest);

/// Red, green and blue to hue, saturation and value, in their places, or back (A. R. Smith, "Color
/// Gamut Transform Pairs", 1978). Alpha stays.
///
/// Hue is in turns: 0 red, 1/3 green, 2/3 blue. Value is the largest of the three, saturation the
/// difference to the smallest as a fraction of value. Grey has hue and saturation 0; 0/0 is NaN as
/// always. On the way back any finite hue is brought into 0..1, and any other counts as 0.
EMULSION_API void HSVConvert(const Image* output, const Image* input, bool toHSV);
EMULSION_API Imath::Color4f HSVConvert(const Imath::Color4f& color, bool toHSV);
EMULSION_API PixelOperationPtr makeHSVConvertOperation(bool toHSV);

// Alpha made of red, green and blue, which stay. What Run makes of one colour is their colour form.

/// Alpha becomes the hue, saturation or value that HSVConvert gives.
EMULSION_API void HSVConvert_HueToA(const Image* output, const Image* input);
EMULSION_API void HSVConvert_SatToA(const Image* output, const Image* input);
EMULSION_API void HSVConvert_ValToA(const Image* output, const Image* input);
EMULSION_API PixelOperationPtr makeHueToAlphaOperation();
EMULSION_API PixelOperationPtr makeSaturationToAlphaOperation();
EMULSION_API PixelOperationPtr makeValueToAlphaOperation();

/// Alpha becomes the smallest (largest) of red, green and blue. A NaN takes no part, unless it is
/// red: then it stays.
EMULSION_API void MinRGBToAlpha(const Image* output, const Image* input);
EMULSION_API void MaxRGBToAlpha(const Image* output, const Image* input);
EMULSION_API PixelOperationPtr makeMinRGBToAlphaOperation();
EMULSION_API PixelOperationPtr makeMaxRGBToAlphaOperation();

/// Alpha becomes 1 - c + m, clamped to 0..1, of the value c of `channel`, which is 1 red, 2 green
/// or 4 blue, and the larger m of the other two: 0 where a screen of that colour is all there is.
/// A NaN among the three gives 0, and so does any other `channel`.
EMULSION_API void ScreenRGBToAlpha(const Image* output, const Image* input, unsigned long channel);
EMULSION_API PixelOperationPtr makeScreenRGBToAlphaOperation(unsigned long channel);

}
