#include <algorithm>
#include <array>
#include <cmath>

#include "EMULSION/Painters.h"
#include "paint/Paint.h"

namespace EMULSION
{

using Imath::Color4f;

namespace
{

// Cells along one axis, even and odd in turn.
class Cells
{
public:
    Cells(double origin, double size) : m_origin(origin), m_size(size) {}

    // How much of a pixel's width lies in odd cells, 0 to 1.
    double oddPart(int64_t pixel) const
    {
        const double from = (static_cast<double>(pixel) - m_origin) / m_size;
        const double to = (static_cast<double>(pixel) + 1.0 - m_origin) / m_size;
        if (std::floor(from) == std::floor(to) || !(from < to))
            return isOdd(from) ? 1.0 : 0.0;
        return std::clamp((oddLengthUpTo(to) - oddLengthUpTo(from)) / (to - from), 0.0, 1.0);
    }

private:
    static bool isOdd(double cell) { return cell - 2.0 * std::floor(cell / 2.0) >= 1.0; }

    // The length of the odd cells between 0 and a place; negative places count down.
    static double oddLengthUpTo(double place)
    {
        const double pairs = std::floor(place / 2.0);
        return pairs + std::max(0.0, place - 2.0 * pairs - 1.0);
    }

    double m_origin, m_size;
};

struct Bar
{
    float red, green, blue;
};

constexpr std::array<Bar, 8> s_bars = {
    {{1, 1, 1}, {1, 1, 0}, {0, 1, 1}, {0, 1, 0}, {1, 0, 1}, {1, 0, 0}, {0, 0, 1}, {0, 0, 0}}};

// The mean of the bars over the pixel's width.
class BarRow
{
public:
    BarRow(double left, double right, float amplitude) : m_amplitude(amplitude)
    {
        for (int edge = 0; edge < 7; ++edge)
            m_edges[static_cast<size_t>(edge)] = left + (right - left) * (edge + 1) / 8.0;
    }

    Color4f operator()(int64_t x) const
    {
        const double left = static_cast<double>(x), right = left + 1.0;
        Color4f color(0.0f, 0.0f, 0.0f, 1.0f);
        for (size_t bar = 0; bar < s_bars.size(); ++bar)
        {
            const double from = bar == 0 ? left : std::clamp(m_edges[bar - 1], left, right);
            const double to =
                bar + 1 == s_bars.size() ? right : std::clamp(m_edges[bar], left, right);
            const float share = static_cast<float>(std::max(to - from, 0.0)) * m_amplitude;
            color.r += share * s_bars[bar].red;
            color.g += share * s_bars[bar].green;
            color.b += share * s_bars[bar].blue;
        }
        return color;
    }

private:
    float m_amplitude;
    double m_edges[7]; // between the bars
};

}

void Checkerboard(const Image* image, const Color4f& color0, const Color4f& color1,
                  const Imath::V2f& size, const Imath::V2f& origin)
{
    if (!Private::canPaint("Checkerboard", image))
        return;
    if (!(size.x > 0.0f && size.y > 0.0f))
        return Private::paintEqualRows(*image, [=](int64_t) { return color0; });
    const Cells columns(origin.x, size.x), rows(origin.y, size.y);
    double oddBelow = -1.0;
    for (int64_t y = image->bounds.y0; y < image->bounds.y1; ++y)
    {
        const double odd = rows.oddPart(y);
        if (odd == oddBelow)
        {
            Private::repeatRow(*image, y);
            continue;
        }
        Private::paintRow(*image, y, [=](int64_t x) {
            const double column = columns.oddPart(x);
            return Private::lerp(color0, color1, column * (1.0 - odd) + odd * (1.0 - column));
        });
        oddBelow = odd;
    }
}

void Bars(const Image* image, const float* rect, bool full)
{
    constexpr const char* name = "Bars";
    if (!Private::canPaint(name, image))
        return;
    if (!(rect[0] <= rect[2] && rect[1] <= rect[3]))
        Private::invalidArgument(name, "the rectangle is inverted, or not a number.");
    else
        Private::paintEqualRows(*image, BarRow(rect[0], rect[2], full ? 1.0f : 0.75f));
}

}
