#pragma once

#include <string>
#include <vector>

#include "EMULSION/Export.h"

// Which instruction set the kernels use: the best that the machine has, unless the environment
// variable EMULSION_SIMD names another one when the library is loaded. Exported for the tests.
namespace EMULSION::Private
{

/// The names of those that this machine can run, best first, out of "avx512", "avx2", "sse4" and
/// "scalar".
EMULSION_API std::vector<std::string> simdTargets();

/// The one that operations are bound to which are made from now on.
EMULSION_API std::string simdTarget();

/// Chooses the one of that name, or the best below it when the machine lacks it. False, and nothing
/// changes, for a name that is none of the four. Safe beside running kernels.
EMULSION_API bool setSimdTarget(const std::string& name);

}
