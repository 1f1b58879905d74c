#pragma once

#include <cstddef>
#include <cstdint>

namespace EMULSION::Private
{

/// Rounds floats to the nearest half, ties to even; what exceeds the largest half becomes infinite,
/// a NaN stays a quiet NaN. The same bits on every machine.
void floatsToHalves(uint16_t* halves, const float* floats, size_t count);

}
