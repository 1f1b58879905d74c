#pragma once

#include <cstdint>

namespace EMULSION::Private
{

/// The base of a slice whose pixel (x, y) of the file is at `place`: where pixel (0, 0) would be.
/// That is often far from any memory of ours, where no pointer may be led by arithmetic on
/// pointers. Strides are bytes; a negative one is the complement that the slice gets, too.
inline char* sliceBase(const void* place, int64_t x, uint64_t xStride, int64_t y, uint64_t yStride)
{
    const uint64_t address = reinterpret_cast<uintptr_t>(place) -
                             static_cast<uint64_t>(x) * xStride -
                             static_cast<uint64_t>(y) * yStride;
    return reinterpret_cast<char*>(address); // NOLINT(performance-no-int-to-ptr)
}

}
