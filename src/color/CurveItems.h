#pragma once

#include <string>
#include <vector>

#include <EMULSION/Curves.h>

#include "private/CacheItems.h"

namespace QUILT::Private
{

/// A curve as the kernel library takes it: x and y in turn.
inline EMULSION::CurvePoints pointsOf(const std::vector<float>& curve)
{
    return {curve.data(), curve.size() / 2};
}

inline void writeFloats(CacheIDStream& stream, const std::vector<float>& values)
{
    writeFloats(stream, values.data(), values.size());
}

/// A curve's letter and its floats; nothing for an empty one.
inline void writeCurve(CacheIDStream& stream, const std::string& letter,
                       const std::vector<float>& curve)
{
    if (curve.empty())
        return;
    writeItem(stream, letter);
    writeFloats(stream, curve);
}

}
