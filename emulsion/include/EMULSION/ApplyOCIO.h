#pragma once

#include <ImathColor.h>
#include <OpenColorIO/OpenColorIO.h>

#include "EMULSION/Export.h"
#include "EMULSION/Image.h"
#include "EMULSION/PixelOperation.h"

namespace EMULSION
{

/// Applies a processor of OpenColorIO by its default CPU processor, which always gets packed pixels
/// of four channels: what comes out of a pixel depends neither on the layout of the images nor on
/// where it stands. A channel that `input` lacks goes in as 0, alpha too.
///
/// Images are treated as by the operations in Color.h. A null processor and what OpenColorIO cannot
/// do set ERROR_COLORSPACE with its text. The three forms agree to the last bit; all are safe from
/// any thread at once.
EMULSION_API void ApplyOCIO(const Image* output, const Image* input,
                            const OCIO_NAMESPACE::ConstProcessorRcPtr& processor);
EMULSION_API Imath::Color4f ApplyOCIO(const Imath::Color4f& color,
                                      const OCIO_NAMESPACE::ConstProcessorRcPtr& processor);

/// For chains that Run executes. Throws what OpenColorIO throws.
EMULSION_API PixelOperationPtr
makeOCIOOperation(const OCIO_NAMESPACE::ConstProcessorRcPtr& processor);

}
