#pragma once

#include <ImathColor.h>
#include <ImathMatrix.h>

#include "EMULSION/Export.h"
#include "EMULSION/Image.h"
#include "EMULSION/PixelOperation.h"

namespace EMULSION
{

/// A linear map of the four channels.
///
/// `matrix` is four rows of five floats, one row for each channel of the result in the order R, G,
/// B, A: (((r m0 + g m1) + b m2) + a m3) + m4. A coefficient of 0 takes no part: it adds nothing to
/// an infinity or NaN, and a channel that no row asks for is not read. A row of zeros gives 0.
///
/// The forms, channels, errors and threads are those of the operations in Color.h; the matrix is
/// copied.
EMULSION_API void ColorMatrix(const Image* output, const Image* input, const float* matrix);
EMULSION_API Imath::Color4f ColorMatrix(const Imath::Color4f& color, const float* matrix);
EMULSION_API PixelOperationPtr makeColorMatrixOperation(const float* matrix);

/// Writes the 20 floats that ColorMatrix takes, from a matrix for row vectors as Imath has them:
/// out[5 r + c] is matrix[c][r], and the constant out[5 r + 4] is offset[r].
EMULSION_API void ConvertMtx_imathToEmulsion(float* out, const Imath::M44f& matrix,
                                             const Imath::Color4f& offset);

/// A matrix for row vectors that scales the difference of a colour from its luma, which is by the
/// coefficients: L + (value - L) saturation. A saturation of 1 is the identity, to the bit. Alpha
/// stays.
EMULSION_API void BuildMatrix_Saturation(Imath::M44f* matrix, float saturation,
                                         const Imath::Color3<float>& lumaCoefficients);

/// A matrix for row vectors that turns colours about the grey axis (1, 1, 1), by Rodrigues'
/// formula: red goes towards green for positive angles, in degrees. An angle of 0 is the identity,
/// to the bit. Alpha stays.
EMULSION_API void BuildMatrix_HueShift(Imath::M44f* matrix, float degrees);

}
