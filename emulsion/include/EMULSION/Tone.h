#pragma once

#include <ImathColor.h>

#include "EMULSION/Export.h"
#include "EMULSION/Image.h"
#include "EMULSION/PixelOperation.h"

namespace EMULSION
{

// Operations on the values of pixels by powers and logarithms. Their forms on images, on one colour
// and as a PixelOperation agree to the last bit, and treat images as Color.h tells. Each takes time
// for its parameters when it is made, and is safe from any thread at once.

/// Compresses red, green and blue above a knee, and keeps the hue.
///
/// With m the largest of |R|, |G|, |B|, all three are multiplied by f(m) / m. f(x) is x up to
/// `knee`; above it f(x) = knee + k ln(1 + (x - knee) / k): slope 1 at the knee, unbounded above,
/// and of such k that f(from) = to. A pixel with a NaN or an infinity among the three stays, and so
/// does alpha. A knee below 0 counts as 0; unless knee < to < from, all finite, nothing changes.
/// Computed in double precision and rounded once.
EMULSION_API void CompressRange(const Image* output, const Image* input, float knee, float from,
                                float to);
EMULSION_API Imath::Color4f CompressColor(const Imath::Color4f& color, float knee, float from,
                                          float to);
EMULSION_API PixelOperationPtr makeCompressRangeOperation(float knee, float from, float to);

/// The inverse of CompressRange with the same parameters: `to` becomes `from` again. What leaves
/// the range of a float becomes infinite.
EMULSION_API void ExpandRange(const Image* output, const Image* input, float knee, float from,
                              float to);
EMULSION_API Imath::Color4f ExpandColor(const Imath::Color4f& color, float knee, float from,
                                        float to);
EMULSION_API PixelOperationPtr makeExpandRangeOperation(float knee, float from, float to);

/// p * sign(q) |q|^exponent with q = v / p, each channel with its own exponent and pivot p; a pivot
/// of 0 counts as 1. 0^0 is 1. The power is that of ISO C, Annex F, within 0.51 ulp.
EMULSION_API void Exponential(const Image* output, const Image* input,
                              const Imath::Color4f& exponent, const Imath::Color4f& pivot);
EMULSION_API Imath::Color4f Exponential(const Imath::Color4f& color, const Imath::Color4f& exponent,
                                        const Imath::Color4f& pivot);
EMULSION_API PixelOperationPtr makeExponentialOperation(const Imath::Color4f& exponent,
                                                        const Imath::Color4f& pivot);

/// From red, green and blue (linear, with the primaries of Rec. ITU-R BT.709 and a white of XYZ
/// 0.95047, 1, 1.08883) to L*, a*, b* of CIE 1976 (CIE 15:2004), or back. The three are divided by
/// 100, so white is 1, 0, 0. Below 0 the function of lightness goes on in its straight line, so
/// negative colours come back, too. Alpha stays. Computed in double precision and rounded once.
EMULSION_API void LabConvert(const Image* output, const Image* input, bool toLab);
EMULSION_API Imath::Color4f LabConvert(const Imath::Color4f& color, bool toLab);
EMULSION_API PixelOperationPtr makeLabConvertOperation(bool toLab);

/// From linear to the logarithmic curve of film scans (Kodak, "Conversion of 10-bit Log Film Data
/// To 8-bit Linear or Video Data", 1995), or back, each channel with its own parameters; alpha
/// stays, and theirs does not matter.
///
/// With o = 10^((black - white) 0.002 / gamma), a logarithmic v is the linear
/// (10^((1023 v - white) 0.002 / gamma) - o) / (1 - o): `black` becomes 0 and `white` 1. On the way
/// back the power of ten counts as 2^-24 o where it is less, for linear values at or below which
/// there is no logarithm, or none that a float could tell from that.
///
/// \param black, white  codes of 0 to 1023 if `tenBit`, otherwise fractions of 1023; they differ
/// \param gamma         of the film, 0.6 as a rule, and not 0
EMULSION_API void LogConvert(const Image* output, const Image* input, const Imath::Color4f& black,
                             const Imath::Color4f& white, const Imath::Color4f& gamma, bool toLog,
                             bool tenBit);
EMULSION_API Imath::Color4f LogConvert(const Imath::Color4f& color, const Imath::Color4f& black,
                                       const Imath::Color4f& white, const Imath::Color4f& gamma,
                                       bool toLog, bool tenBit);
EMULSION_API PixelOperationPtr makeLogConvertOperation(const Imath::Color4f& black,
                                                       const Imath::Color4f& white,
                                                       const Imath::Color4f& gamma, bool toLog,
                                                       bool tenBit);

}
