#pragma once

#include "EMULSION/Export.h"

namespace EMULSION
{

/// What an image looks like beyond its edge. The numbers are part of the interface.
enum ExtendMethod : int
{
    ExtendNone = 0,  ///< the background colour
    ExtendClamp = 1, ///< the edge pixels, repeated
    ExtendMirror = 2 ///< the image, reflected at its edge
};

}
