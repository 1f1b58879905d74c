#pragma once

#include <cmath>
#include <limits>

#include "paint/Paint.h"

namespace EMULSION::Private
{

/// An ellipse about a centre, as the circle that it is when one of the axes is stretched.
///
/// `aspect` is height over width. Below 1, radii are measured along x and distances in y are
/// divided by it; otherwise they are measured along y and distances in x are multiplied by it. An
/// aspect of 0 or less, or NaN, puts every pixel at an infinite distance.
class Ellipse
{
public:
    Ellipse(double centerX, double centerY, double aspect)
        : m_centerX(aspect > 0.0 ? centerX : -std::numeric_limits<double>::infinity()),
          m_centerY(centerY), m_scaleX(aspect < 1.0 ? 1.0 : aspect),
          m_divisorY(aspect < 1.0 ? aspect : 1.0),
          m_halfDiagonal(0.5 * std::hypot(m_scaleX, 1.0 / m_divisorY))
    {
        if (!(aspect > 0.0))
            m_scaleX = m_divisorY = 1.0;
    }

    /// The pixel's centre, seen from the centre of the circle.
    double x(int64_t pixel) const { return fromPlace(pixel, m_centerX) * m_scaleX; }
    double y(int64_t pixel) const { return fromPlace(pixel, m_centerY) / m_divisorY; }

    /// How much of a pixel's area lies in the ellipse of the given radius, 0 to 1. `distance` is
    /// that of the pixel's centre on the circle.
    double coverage(int64_t pixelX, int64_t pixelY, double distance, double radius) const
    {
        if (distance + m_halfDiagonal <= radius)
            return 1.0;
        if (!(distance - m_halfDiagonal < radius))
            return 0.0;
        return rimCoverage(pixelX, pixelY, radius);
    }

private:
    double rimCoverage(int64_t pixelX, int64_t pixelY, double radius) const;

    double m_centerX, m_centerY, m_scaleX, m_divisorY;
    double m_halfDiagonal; // of a pixel on the circle
};
}
