#include "EMULSION/Channels.h"

#include <bit>
#include <string>

#include "EMULSION/Error.h"

namespace EMULSION
{

bool IsChannelMaskValid(unsigned long mask)
{
    return mask <= 15;
}

unsigned long ValidateChannelMask(unsigned long mask)
{
    return mask & 15;
}

const char* GetChannelMaskName(unsigned long mask)
{
    static constexpr const char* names[16] = {"none", "R",   "G",   "RG",  "B",  "RB",
                                              "GB",   "RGB", "A",   "RA",  "GA", "RGA",
                                              "BA",   "RBA", "GBA", "RGBA"};
    return IsChannelMaskValid(mask) ? names[mask] : nullptr;
}

void GetPixelBytes(unsigned long* bytes, unsigned long mask)
{
    if (!IsChannelMaskValid(mask))
        SetError(ERROR_INVALID_CHANNELS,
                 "GetPixelBytes: no pixel has the channel mask " + std::to_string(mask) + ".");
    else if (!bytes)
        SetError(ERROR_INVALID_ARGUMENT, "GetPixelBytes: the place for the result is null.");
    else
        *bytes = sizeof(float) * static_cast<unsigned long>(std::popcount(mask));
}

}
