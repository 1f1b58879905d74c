#pragma once

#include <cstring>
#include <new>

#include <ImathColor.h>

#include "EMULSION/Error.h"
#include "Rows.h"
#include "Validation.h"

namespace EMULSION::Private
{

/// The distance of a pixel's centre from a place on the same axis. Exact for coordinates below
/// 2^52.
inline double fromPlace(int64_t pixel, double place)
{
    return static_cast<double>(pixel) - place + 0.5;
}

/// Exact at both ends, which hold beyond them.
inline Imath::Color4f lerp(const Imath::Color4f& a, const Imath::Color4f& b, float t)
{
    if (!(t > 0.0f))
        return a;
    if (t >= 1.0f)
        return b;
    return Imath::Color4f(a.r + (b.r - a.r) * t, a.g + (b.g - a.g) * t, a.b + (b.b - a.b) * t,
                          a.a + (b.a - a.a) * t);
}

inline Imath::Color4f lerp(const Imath::Color4f& a, const Imath::Color4f& b, double t)
{
    return lerp(a, b, static_cast<float>(t));
}

inline Imath::Color4f colorAt(const float* floats)
{
    return Imath::Color4f(floats[0], floats[1], floats[2], floats[3]);
}

/// Paints one row: colorOf(x) for each of its pixels.
template <class ColorOf>
void paintRow(const Image& image, int64_t y, ColorOf colorOf)
{
    float* to = rowOf(image, y);
    if (image.channels == 15)
    {
        for (int64_t x = image.bounds.x0; x < image.bounds.x1; ++x, to += 4)
        {
            const Imath::Color4f color = colorOf(x);
            to[0] = color.r;
            to[1] = color.g;
            to[2] = color.b;
            to[3] = color.a;
        }
        return;
    }
    for (int64_t x = image.bounds.x0; x < image.bounds.x1; ++x)
    {
        const Imath::Color4f color = colorOf(x);
        if (image.channels & ChannelRed)
            *to++ = color.r;
        if (image.channels & ChannelGreen)
            *to++ = color.g;
        if (image.channels & ChannelBlue)
            *to++ = color.b;
        if (image.channels & ChannelAlpha)
            *to++ = color.a;
    }
}

/// Paints all rows: rowAt(y) is asked once for each row, and gives what paintRow asks for. That
/// holds what it needs by value, so that no store to a pixel can change it.
template <class RowAt>
void paintRows(const Image& image, const RowAt& rowAt)
{
    for (int64_t y = image.bounds.y0; y < image.bounds.y1; ++y)
        paintRow(image, y, rowAt(y));
}

/// Makes row y what the row below it is.
inline void repeatRow(const Image& image, int64_t y)
{
    std::memcpy(rowOf(image, y), rowOf(image, y - 1),
                static_cast<size_t>(image.bounds.width()) * pixelBytes(image.channels));
}

/// Paints rows that are all alike.
template <class ColorOf>
void paintEqualRows(const Image& image, ColorOf colorOf)
{
    paintRow(image, image.bounds.y0, colorOf);
    for (int64_t y = image.bounds.y0 + 1; y < image.bounds.y1; ++y)
        repeatRow(image, y);
}

/// True when there is something to paint. Otherwise an error is set where one is due.
inline bool canPaint(const char* function, const Image* image)
{
    return checkOutput(function, image) && !isEmpty(*image);
}

/// Runs `work`, and turns a failed allocation into the pending error.
template <class Work>
void reportingExhaustion(const char* function, const Work& work)
{
    try
    {
        work();
    }
    catch (const std::bad_alloc&)
    {
        SetError(ERROR_OUT_OF_MEMORY, std::string(function) + ": there is not enough memory.");
    }
}

}
