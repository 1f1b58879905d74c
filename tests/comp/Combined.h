#pragma once

#include "support/Render.h"
#include "support/Tasks.h"

namespace QUILT::Test
{

// What stands for the pattern at a pixel: its value or its background colour, 0 in a channel that
// it lacks.
inline Imath::Color4f colorAt(const PatternParams& params, int64_t x, int64_t y)
{
    const bool inside = params.region.contains(UTIL::Rect(x, y, x + 1, y + 1));
    Imath::Color4f color(0, 0, 0, 0);
    for (int channel = 0; channel < 4; ++channel)
    {
        if (params.channels >> channel & 1)
            color[channel] =
                inside ? patternAt(x, y, channel, params.seed) : params.background[channel];
    }
    return color;
}

/// color(x, y) for each pixel.
Picture pictureOf(const UTIL::Rect& area, unsigned long channels, const auto& color)
{
    Picture picture(area, channels);
    const EMULSION::Image image = picture.image();
    for (int64_t y = area.y0; y < area.y1; ++y)
    {
        for (int64_t x = area.x0; x < area.x1; ++x)
            EMULSION::SetPixel(&image, x, y, Imath::Color4f(color(x, y)).getValue());
    }
    return picture;
}

/// What combine(a, b) makes of the colours of two patterns, pixel by pixel.
Picture combined(const PatternParams& a, const PatternParams& b, const UTIL::Rect& area,
                 unsigned long channels, const auto& combine)
{
    return pictureOf(area, channels, [&](int64_t x, int64_t y) {
        return combine(colorAt(a, x, y), colorAt(b, x, y));
    });
}

}
