#pragma once

#include <cmath>

#include <ImathColor.h>

namespace EMULSION::Private
{

/// Red, green and blue of a hue in turns, a saturation and a value (Smith 1978). Any finite hue is
/// brought into range; one that is not finite counts as 0.
inline Imath::C3f hsvToRgb(float h, float s, float v)
{
    if (s == 0.0f)
        return Imath::C3f(v, v, v);
    const float turns = std::isfinite(h) ? h - std::floor(h) : 0.0f;
    const float x = 6.0f * turns;
    const float sector = std::floor(x);
    const float f = x - sector;
    const float p = (1.0f - s) * v;
    const float q = (1.0f - s * f) * v;
    const float t = (1.0f - s * (1.0f - f)) * v;
    switch (static_cast<int>(sector))
    {
    case 0:
        return Imath::C3f(v, t, p);
    case 1:
        return Imath::C3f(q, v, p);
    case 2:
        return Imath::C3f(p, v, t);
    case 3:
        return Imath::C3f(p, q, v);
    case 4:
        return Imath::C3f(t, p, v);
    case 5:
        return Imath::C3f(v, p, q);
    default: // a hue just below 0 rounds up to a whole turn
        return Imath::C3f(v, t, p);
    }
}

}
