#pragma once

#include <ImathColor.h>
#include <OpenColorIO/OpenColorIO.h>

namespace QUILT::Private
{

/// The weights of red, green and blue in luminance, by OpenColorIO's current config.
inline Imath::Color3<float> currentLumaCoefficients()
{
    double weights[3];
    OCIO_NAMESPACE::GetCurrentConfig()->getDefaultLumaCoefs(weights);
    return {static_cast<float>(weights[0]), static_cast<float>(weights[1]),
            static_cast<float>(weights[2])};
}

}
