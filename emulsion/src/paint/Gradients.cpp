#include <algorithm>
#include <cmath>
#include <vector>

#include "EMULSION/Painters.h"
#include "paint/Paint.h"

namespace EMULSION
{

using Imath::Color4f;
using Private::fromPlace;
using Private::lerp;

namespace
{

bool canPaint(const char* function, const Image* image, const UTIL::Rect& rect)
{
    if (rect.x0 > rect.x1 || rect.y0 > rect.y1)
        return Private::invalidArgument(function,
                                        "the rectangle " + Private::textOf(rect) + " is inverted.");
    return Private::canPaint(function, image);
}

// Where a pixel's centre lies between two edges: 0 at the first, 1 at the second. Without a
// distance between them it is an infinity, so that the one or the other end holds.
class Span
{
public:
    Span(int64_t from, int64_t to)
        : m_from(static_cast<double>(from)), m_length(static_cast<double>(to) - m_from)
    {}

    double at(int64_t pixel) const { return fromPlace(pixel, m_from) / m_length; }

private:
    double m_from, m_length;
};

struct Stop
{
    double position;
    Color4f color;
};

std::vector<Stop> sortedStops(const Color4f& first, const Color4f& last, size_t count,
                              const float* positions, const float* colors)
{
    std::vector<Stop> stops;
    stops.reserve(count + 2);
    stops.push_back({0.0, first});
    for (size_t i = 0; i < count; ++i)
    {
        if (!std::isnan(positions[i]))
            stops.push_back({positions[i], Private::colorAt(colors + 4 * i)});
    }
    stops.push_back({1.0, last});
    std::stable_sort(stops.begin(), stops.end(),
                     [](const Stop& a, const Stop& b) { return a.position < b.position; });
    return stops;
}

// The colour at places that mostly come in order.
class StopReader
{
public:
    explicit StopReader(const std::vector<Stop>& stops) : m_stops(stops) {}

    Color4f at(double t)
    {
        // m_next becomes the first stop beyond t, whatever it was.
        while (m_next < m_stops.size() && m_stops[m_next].position <= t)
            ++m_next;
        while (m_next > 0 && m_stops[m_next - 1].position > t)
            --m_next;
        if (m_next == 0)
            return m_stops.front().color;
        const Stop& before = m_stops[m_next - 1];
        if (m_next == m_stops.size())
            return before.color;
        const Stop& after = m_stops[m_next];
        return lerp(before.color, after.color,
                    (t - before.position) / (after.position - before.position));
    }

private:
    const std::vector<Stop>& m_stops;
    size_t m_next = 0;
};

}

void Gradient(const Image* image, const UTIL::Rect& rect, const float* c0, const float* c1,
              const float* c2, const float* c3)
{
    if (!canPaint("Gradient", image, rect))
        return;
    const Span across(rect.x0, rect.x1), up(rect.y0, rect.y1);
    Private::paintRows(*image, [&, bottomLeft = Private::colorAt(c0),
                                bottomRight = Private::colorAt(c1), topLeft = Private::colorAt(c2),
                                topRight = Private::colorAt(c3)](int64_t y) {
        const double v = up.at(y);
        return [across, left = lerp(bottomLeft, topLeft, v),
                right = lerp(bottomRight, topRight, v)](int64_t x) {
            return lerp(left, right, across.at(x));
        };
    });
}

void HorizontalRamp(const Image* image, const UTIL::Rect& rect, const Color4f& color0,
                    const Color4f& color1)
{
    if (!canPaint("HorizontalRamp", image, rect))
        return;
    const Span across(rect.x0, rect.x1);
    Private::paintEqualRows(*image, [=](int64_t x) { return lerp(color0, color1, across.at(x)); });
}

void VerticalRamp(const Image* image, const UTIL::Rect& rect, const Color4f& color0,
                  const Color4f& color1)
{
    if (!canPaint("VerticalRamp", image, rect))
        return;
    const Span up(rect.y0, rect.y1);
    Private::paintRows(*image, [=](int64_t y) {
        return [color = lerp(color0, color1, up.at(y))](int64_t) { return color; };
    });
}

void DirectionalGradient(const Image* image, const Imath::V2f& point0, const Color4f& color0,
                         const Imath::V2f& point1, const Color4f& color1, size_t count,
                         const float* positions, const float* colors)
{
    constexpr const char* name = "DirectionalGradient";
    if (!Private::canPaint(name, image))
        return;
    const Imath::V2d from(point0), direction = Imath::V2d(point1) - from;
    const double squaredLength = direction.length2();
    if (!(squaredLength > 0.0 && std::isfinite(squaredLength)))
        return Private::paintEqualRows(*image, [=](int64_t) { return color1; });
    Private::reportingExhaustion(name, [&] {
        const std::vector<Stop> stops = sortedStops(color0, color1, count, positions, colors);
        Private::paintRows(*image, [&](int64_t y) {
            const double rowPart = fromPlace(y, from.y) * direction.y;
            return [=, reader = StopReader(stops)](int64_t x) mutable {
                return reader.at((fromPlace(x, from.x) * direction.x + rowPart) / squaredLength);
            };
        });
    });
}

}
