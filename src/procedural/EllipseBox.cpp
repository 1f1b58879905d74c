#include "EllipseBox.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace QUILT::Private
{

namespace
{

// Far enough for every picture, and near enough that sides and padded boxes do not overflow.
int64_t toPixel(float coordinate)
{
    constexpr float farthest = 0x1p61f;
    return static_cast<int64_t>(std::clamp(coordinate, -farthest, farthest));
}

}

UTIL::Region ellipseBox(float centerX, float centerY, float radius, float aspect)
{
    const float radiusX = aspect < 1.0f ? radius : radius / aspect;
    const float radiusY = aspect < 1.0f ? aspect * radius : radius;
    const std::array<float, 4> edges{std::floor(centerX - radiusX), std::floor(centerY - radiusY),
                                     std::ceil(centerX + radiusX), std::ceil(centerY + radiusY)};
    if (std::any_of(edges.begin(), edges.end(), [](float edge) { return std::isnan(edge); }))
        return UTIL::Region();
    return UTIL::Rect(toPixel(edges[0]), toPixel(edges[1]), toPixel(edges[2]), toPixel(edges[3]));
}

}
