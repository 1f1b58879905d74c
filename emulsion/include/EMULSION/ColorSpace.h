#pragma once

#include <string>

#include <ImathColor.h>

#include "EMULSION/Export.h"
#include "EMULSION/Image.h"

namespace EMULSION
{

// Conversions between the colour spaces of OpenColorIO's current config. Spaces are named as there:
// roles and aliases count. Where a name is empty nothing is converted, and no bit changes; that is
// the choice for colours that are linear already. Alpha passes unchanged; a channel that `input`
// lacks goes in as 0.
//
// A space that the config lacks sets ERROR_COLORSPACE with OpenColorIO's text, and the colour or
// the picture comes out unconverted. Images are treated as by the operations in Color.h; `output`
// and `input` may be the same. Image and colour forms agree to the last bit. Safe from any thread
// at once; processors are cached by the config.

/// From `space` to the role scene_linear.
EMULSION_API void ConvertColorspaceToLinear(const Image* output, const Image* input,
                                            const std::string& space);
EMULSION_API Imath::Color4f ConvertColorspaceToLinear(const Imath::Color4f& color,
                                                      const std::string& space);

EMULSION_API void ConvertColorspaceToColorspace(const Image* output, const Image* input,
                                                const std::string& source,
                                                const std::string& destination);
EMULSION_API Imath::Color4f ConvertColorspaceToColorspace(const Imath::Color4f& color,
                                                          const std::string& source,
                                                          const std::string& destination);

/// A text that differs between configs that may convert differently, for the identity of what a
/// conversion made. Empty, with ERROR_COLORSPACE, for a config that OpenColorIO cannot tell apart.
EMULSION_API std::string GetColorConfigID();

/// The colour space of the current config whose name stands in the text, such as a file's path; the
/// rightmost where there are several. Where none does it is empty in a config with strict parsing,
/// and the default role's otherwise.
EMULSION_API std::string ParseColorspaceFromString(const std::string& text);

}
