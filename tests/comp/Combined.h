#pragma once

#include <bit>

#include "support/Random.h"
#include "support/Render.h"
#include "support/Tasks.h"

namespace QUILT::Test
{

/// Wild ones have a background without zeros, perhaps with NaN; that of others is often zero.
inline PatternParams anyPattern(Random& random, bool wild)
{
    constexpr float wildValues[] = {1, -2, 0.5f, 4, std::bit_cast<float>(0xffc00000u)};
    constexpr float values[] = {0, 1, -2, 0.5f, 4, -0.75f};
    const auto rect = [&] {
        const int64_t x = random.between(-15, 40), y = random.between(-15, 40);
        return UTIL::Rect(x, y, x + random.between(1, 40), y + random.between(1, 40));
    };
    PatternParams params;
    for (int64_t count = random.oneIn(8) ? 0 : random.between(1, 2); count > 0; --count)
        params.region.add(rect());
    params.channels = random.oneIn(2) ? 15 : static_cast<unsigned long>(random.between(0, 15));
    const bool colored = wild || random.oneIn(2);
    for (int channel = 0; colored && channel < 4; ++channel)
        params.background[channel] = wild ? random.pick(wildValues) : random.pick(values);
    params.seed = static_cast<int>(random.between(0, 1000));
    return params;
}

inline bool hasDataAt(const PatternParams& params, int64_t x, int64_t y)
{
    return params.region.contains(UTIL::Rect(x, y, x + 1, y + 1));
}

/// What stands for the pattern at a pixel: its value, 0 in a channel that it lacks, or its
/// background colour, 0 there as well unless `wholeBackground` is true or there is no data at all.
inline Imath::Color4f colorAt(const PatternParams& params, int64_t x, int64_t y,
                              bool wholeBackground = false)
{
    const bool inside = hasDataAt(params, x, y);
    Imath::Color4f color(0, 0, 0, 0);
    for (int channel = 0; channel < 4; ++channel)
    {
        const bool defined = params.channels >> channel & 1;
        if (inside && defined)
            color[channel] = patternAt(x, y, channel, params.seed);
        else if (!inside && (defined || wholeBackground || params.region.isEmpty()))
            color[channel] = params.background[channel];
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
                 unsigned long channels, const auto& combine, bool wholeBackgrounds = false)
{
    return pictureOf(area, channels, [&](int64_t x, int64_t y) {
        return combine(colorAt(a, x, y, wholeBackgrounds), colorAt(b, x, y, wholeBackgrounds));
    });
}

}
