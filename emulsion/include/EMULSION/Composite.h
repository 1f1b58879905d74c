#pragma once

#include <memory>
#include <vector>

#include <ImathColor.h>

#include "EMULSION/Curves.h"
#include "EMULSION/Export.h"
#include "EMULSION/Image.h"

namespace EMULSION
{

// Operators of two images, and of two and a matte. Each has two forms that agree to the last bit:
//
//  - on images: into all of `output`'s bounds and channels. A null image is its colour everywhere,
//    and one that covers only part of the output is its colour elsewhere; a channel that an image
//    lacks reads as 0. The output may be one of them. Null images alone set
//    ERROR_INVALID_ARGUMENT, an invalid image that or ERROR_INVALID_CHANNELS, and nothing is
//    written then.
//  - on colours.
//
// Arithmetic is IEEE single precision in the order written; a comparison with NaN is false. All of
// them are safe from any thread at once.

/// first * (1 - mix) + second * mix, each channel by itself, with any `mix`.
EMULSION_API void Mix(const Image* output, const Image* first, const Image* second, float mix,
                      const Imath::Color4f& backgroundFirst,
                      const Imath::Color4f& backgroundSecond);
EMULSION_API Imath::Color4f Mix(const Imath::Color4f& first, const Imath::Color4f& second,
                                float mix);

/// A mix by a matte: with w = alpha of the matte + `mix`, `first` to the bit where w <= 0, `second`
/// to the bit where w >= 1, otherwise first * (1 - w) + second * w, each channel by itself.
///
/// Of the three images two may be null.
EMULSION_API void MatteMix(const Image* output, const Image* first, const Image* second,
                           const Image* matte, float mix, const Imath::Color4f& backgroundFirst,
                           const Imath::Color4f& backgroundSecond,
                           const Imath::Color4f& backgroundMatte);
EMULSION_API Imath::Color4f MatteMix(const Imath::Color4f& first, const Imath::Color4f& second,
                                     const Imath::Color4f& matte, float mix);

struct AddMixCurves;
using AddMixCurvesPtr = std::shared_ptr<const AddMixCurves>;

/// A over B with weights that are curves of A's alpha: wA = curveA(alphaA), wB = curveB(alphaA).
/// Colours are A' wA + B (1 - wB), alpha is wA + alphaB (1 - wB). With `premultiplied` A' is A /
/// alphaA, and 0 where alphaA is 0; otherwise it is A, whose colours are straight then.
///
/// The curves are those of CurvePoints in Curves.h, `countA` and `countB` pairs x, y; without
/// points a weight is alpha itself. They are prepared at each call but for the form on prepared
/// ones, which many images and threads may share.
EMULSION_API void AddMix(const Image* output, const Image* a, const Image* b, bool premultiplied,
                         const float* pointsA, size_t countA, const float* pointsB, size_t countB,
                         const Imath::Color4f& backgroundA, const Imath::Color4f& backgroundB);
EMULSION_API void AddMix(const Image* output, const Image* a, const Image* b, bool premultiplied,
                         const AddMixCurves& curves, const Imath::Color4f& backgroundA,
                         const Imath::Color4f& backgroundB);
EMULSION_API AddMixCurvesPtr makeAddMixCurves(const CurvePoints& a, const CurvePoints& b);
EMULSION_API Imath::Color4f AddMix(const Imath::Color4f& a, const Imath::Color4f& b,
                                   bool premultiplied, const float* pointsA, size_t countA,
                                   const float* pointsB, size_t countB);

// The operators of compositing, on premultiplied pixels; the first four are those of T. Porter and
// T. Duff, "Compositing Digital Images", 1984. A and B are the values of one channel, alphaA and
// alphaB those of alpha; alpha itself goes through the same formula. "Without A" means a colour of
// zero in its place: what is said of it holds but for the sign of zero, and where the other side is
// neither infinite nor NaN.

/// A + B (1 - alphaA).
///
/// With `clampAlpha` alpha counts as a weight clamped to 0..1, NaN as 0, so that the overshoot of a
/// filter does not turn the layer below negative. Without A this is B, without B it is A.
EMULSION_API void Over(const Image* output, const Image* a, const Image* b, bool clampAlpha,
                       const Imath::Color4f& backgroundA, const Imath::Color4f& backgroundB);
EMULSION_API Imath::Color4f Over(const Imath::Color4f& a, const Imath::Color4f& b, bool clampAlpha);

/// A alphaB + B (1 - alphaA), with `clampAlpha` as for Over. Without A this is B, without B it is
/// 0.
EMULSION_API void Atop(const Image* output, const Image* a, const Image* b, bool clampAlpha,
                       const Imath::Color4f& backgroundA, const Imath::Color4f& backgroundB);
EMULSION_API Imath::Color4f Atop(const Imath::Color4f& a, const Imath::Color4f& b, bool clampAlpha);

/// A alphaB, with `clampAlpha` as for Over. Without A or B this is 0.
EMULSION_API void In(const Image* output, const Image* a, const Image* b, bool clampAlpha,
                     const Imath::Color4f& backgroundA, const Imath::Color4f& backgroundB);
EMULSION_API Imath::Color4f In(const Imath::Color4f& a, const Imath::Color4f& b, bool clampAlpha);

/// A (1 - alphaB), with `clampAlpha` as for Over. Without A this is 0, without B it is A.
EMULSION_API void Out(const Image* output, const Image* a, const Image* b, bool clampAlpha,
                      const Imath::Color4f& backgroundA, const Imath::Color4f& backgroundB);
EMULSION_API Imath::Color4f Out(const Imath::Color4f& a, const Imath::Color4f& b, bool clampAlpha);

/// A + B - A B. With `maxOutside` it is the larger of A and B, as by Max, where one of them is
/// outside 0..1. Without A this is B, without B it is A; with `maxOutside` only where the other
/// side is not negative.
EMULSION_API void Screen(const Image* output, const Image* a, const Image* b, bool maxOutside,
                         const Imath::Color4f& backgroundA, const Imath::Color4f& backgroundB);
EMULSION_API Imath::Color4f Screen(const Imath::Color4f& a, const Imath::Color4f& b,
                                   bool maxOutside);

/// The larger of A and B, or where one is NaN the other; the larger in magnitude with
/// `byMagnitude`. A where they are equal.
EMULSION_API void Max(const Image* output, const Image* a, const Image* b, bool byMagnitude,
                      const Imath::Color4f& backgroundA, const Imath::Color4f& backgroundB);
EMULSION_API Imath::Color4f Max(const Imath::Color4f& a, const Imath::Color4f& b, bool byMagnitude);

/// The smaller of A and B, or where one is NaN the other; the smaller in magnitude with
/// `byMagnitude`. A where they are equal.
EMULSION_API void Min(const Image* output, const Image* a, const Image* b, bool byMagnitude,
                      const Imath::Color4f& backgroundA, const Imath::Color4f& backgroundB);
EMULSION_API Imath::Color4f Min(const Imath::Color4f& a, const Imath::Color4f& b, bool byMagnitude);

/// A + B. Without A this is B, without B it is A.
EMULSION_API void Add(const Image* output, const Image* a, const Image* b,
                      const Imath::Color4f& backgroundA, const Imath::Color4f& backgroundB);
EMULSION_API Imath::Color4f Add(const Imath::Color4f& a, const Imath::Color4f& b);

/// A - B.
EMULSION_API void Subtract(const Image* output, const Image* a, const Image* b,
                           const Imath::Color4f& backgroundA, const Imath::Color4f& backgroundB);
EMULSION_API Imath::Color4f Subtract(const Imath::Color4f& a, const Imath::Color4f& b);

/// (A + B) / 2.
EMULSION_API void Average(const Image* output, const Image* a, const Image* b,
                          const Imath::Color4f& backgroundA, const Imath::Color4f& backgroundB);
EMULSION_API Imath::Color4f Average(const Imath::Color4f& a, const Imath::Color4f& b);

/// |A - B|.
EMULSION_API void Difference(const Image* output, const Image* a, const Image* b,
                             const Imath::Color4f& backgroundA, const Imath::Color4f& backgroundB);
EMULSION_API Imath::Color4f Difference(const Imath::Color4f& a, const Imath::Color4f& b);

/// A / B, and A where B is 0. Without A this is 0, without B it is A.
EMULSION_API void Divide(const Image* output, const Image* a, const Image* b,
                         const Imath::Color4f& backgroundA, const Imath::Color4f& backgroundB);
EMULSION_API Imath::Color4f Divide(const Imath::Color4f& a, const Imath::Color4f& b);

/// A B. Without A or B this is 0.
EMULSION_API void Multiply(const Image* output, const Image* a, const Image* b,
                           const Imath::Color4f& backgroundA, const Imath::Color4f& backgroundB);
EMULSION_API Imath::Color4f Multiply(const Imath::Color4f& a, const Imath::Color4f& b);

/// A + B - 2 (A B). Without A this is B, without B it is A.
EMULSION_API void Exclusion(const Image* output, const Image* a, const Image* b,
                            const Imath::Color4f& backgroundA, const Imath::Color4f& backgroundB);
EMULSION_API Imath::Color4f Exclusion(const Imath::Color4f& a, const Imath::Color4f& b);

/// The geometric mean: the square root of A B, 0 where that is negative.
EMULSION_API void Geometric(const Image* output, const Image* a, const Image* b,
                            const Imath::Color4f& backgroundA, const Imath::Color4f& backgroundB);
EMULSION_API Imath::Color4f Geometric(const Imath::Color4f& a, const Imath::Color4f& b);

/// The square root of A^2 + B^2.
EMULSION_API void Hypotenuse(const Image* output, const Image* a, const Image* b,
                             const Imath::Color4f& backgroundA, const Imath::Color4f& backgroundB);
EMULSION_API Imath::Color4f Hypotenuse(const Imath::Color4f& a, const Imath::Color4f& b);

/// Merges any number of layers by depth.
///
/// At each pixel the layers are taken in the order of their depths, the smallest, which is the
/// nearest, in front; equal depths in the order given. From the front on, each is laid under what
/// is there already by Over without its flag, until that has an alpha of 1 or more. Without layers
/// the output is 0.
///
/// \param colors        of premultiplied pixels, none of them null
/// \param depths        as many; a null one, a channel that one lacks, and NaN count as 0
/// \param depthChannel  the channels that hold the depth, of which the lowest is read
/// Only pixels that all images have are written. The output may be one of the images. Different
/// numbers of colours and depths, or a null colour, set ERROR_INVALID_ARGUMENT; where memory for
/// the layers of a strip is short, ERROR_OUT_OF_MEMORY is set and nothing is written.
EMULSION_API void ZComposite(const Image* output, std::vector<const Image*> colors,
                             std::vector<const Image*> depths, unsigned long depthChannel);

/// What it makes of one pixel of each layer.
EMULSION_API Imath::Color4f ZComposite(std::vector<Imath::Color4f> colors,
                                       std::vector<float> depths);

}
