#pragma once

namespace UTIL
{

/// Radial basis functions phi(r) that an image is spread from scattered points with. The numbers
/// are part of the interface.
enum RBFType : int
{
    RBF_LINEAR = 0,              ///< r
    RBF_CUBIC = 1,               ///< r^3
    RBF_THIN_PLATE = 2,          ///< r^2 ln r
    RBF_GAUSSIAN = 3,            ///< exp(-(r / s)^2)
    RBF_MULTIQUADRIC = 4,        ///< sqrt(r^2 + s^2)
    RBF_INVERSE_MULTIQUADRIC = 5 ///< 1 / sqrt(r^2 + s^2)
};

}
