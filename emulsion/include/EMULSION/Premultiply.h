#pragma once

#include <ImathColor.h>

#include "EMULSION/Export.h"
#include "EMULSION/Image.h"
#include "EMULSION/PixelOperation.h"

namespace EMULSION
{

/// Red, green and blue times the pixel's own alpha, which stays.
///
/// The forms, channels, errors and threads are those of the operations in Color.h.
EMULSION_API void Premultiply(const Image* output, const Image* input);
EMULSION_API Imath::Color4f Premultiply(const Imath::Color4f& color);
EMULSION_API PixelOperationPtr makePremultiplyOperation();

/// Red, green and blue divided by the pixel's own alpha, which stays. Where alpha is 0 the result
/// is (0, 0, 0, 0).
EMULSION_API void Unpremultiply(const Image* output, const Image* input);
EMULSION_API Imath::Color4f Unpremultiply(const Imath::Color4f& color);
EMULSION_API PixelOperationPtr makeUnpremultiplyOperation();

/// The same by the alpha of another image, which becomes the alpha of `output`; `color` gives red,
/// green and blue. The forms, channels, errors and threads are those of the operators in
/// Composite.h: a null image is its background colour everywhere.
EMULSION_API void Premultiply(const Image* output, const Image* color, const Image* alpha,
                              const Imath::Color4f& backgroundOfColor = Imath::Color4f(0, 0, 0, 0),
                              const Imath::Color4f& backgroundOfAlpha = Imath::Color4f(0, 0, 0, 0));
EMULSION_API Imath::Color4f Premultiply(const Imath::Color4f& color, const Imath::Color4f& alpha);
EMULSION_API void
Unpremultiply(const Image* output, const Image* color, const Image* alpha,
              const Imath::Color4f& backgroundOfColor = Imath::Color4f(0, 0, 0, 0),
              const Imath::Color4f& backgroundOfAlpha = Imath::Color4f(0, 0, 0, 0));
EMULSION_API Imath::Color4f Unpremultiply(const Imath::Color4f& color, const Imath::Color4f& alpha);

}
