#include "paint/Ellipse.h"

#include <algorithm>

namespace EMULSION::Private
{

namespace
{

// Between an arc of at most half a circle and its chord. Where the angle is small, its sine is
// subtracted by hand: in large circles nothing would be left of the difference.
double segmentArea(double radius, double chord)
{
    const double angle = 2.0 * std::asin(std::min(1.0, chord / (2.0 * radius)));
    const double squared = angle * angle;
    const double difference =
        angle > 0.05 ? angle - std::sin(angle)
                     : angle * squared / 6.0 * (1.0 - squared / 20.0 * (1.0 - squared / 42.0));
    return 0.5 * radius * radius * difference;
}

double halfChord(double radius, double distance)
{
    return std::sqrt(std::max(0.0, (radius - distance) * (radius + distance)));
}

// What lies in the circle, above the line at `bottom` >= 0, and between `left` and `right`: a
// trapezium below the chord and the segment above it.
double capArea(double radius, double bottom, double left, double right)
{
    const double reach = halfChord(radius, bottom);
    const double from = std::max(left, -reach), to = std::min(right, reach);
    if (!(bottom < radius && from < to))
        return 0.0;
    const double heightLeft = std::max(0.0, halfChord(radius, from) - bottom);
    const double heightRight = std::max(0.0, halfChord(radius, to) - bottom);
    return 0.5 * (to - from) * (heightLeft + heightRight) +
           segmentArea(radius, std::hypot(to - from, heightRight - heightLeft));
}

}

double Ellipse::rimCoverage(int64_t pixelX, int64_t pixelY, double radius) const
{
    const double left = (static_cast<double>(pixelX) - m_centerX) * m_scaleX;
    const double right = (static_cast<double>(pixelX) + 1.0 - m_centerX) * m_scaleX;
    const double bottom = (static_cast<double>(pixelY) - m_centerY) / m_divisorY;
    const double top = (static_cast<double>(pixelY) + 1.0 - m_centerY) / m_divisorY;
    // Of each half of the circle, what is above one side of the pixel and not above the other.
    double area = 0.0;
    if (top > 0.0)
        area +=
            capArea(radius, std::max(bottom, 0.0), left, right) - capArea(radius, top, left, right);
    if (bottom < 0.0)
        area += capArea(radius, std::max(-top, 0.0), left, right) -
                capArea(radius, -bottom, left, right);
    return std::clamp(area / ((right - left) * (top - bottom)), 0.0, 1.0);
}

}
