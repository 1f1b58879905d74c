#include <algorithm>
#include <cmath>

#include "EMULSION/Painters.h"
#include "paint/Paint.h"
#include "paint/ScatteredPoints.h"

namespace EMULSION
{

using Imath::Color4f;
using Private::ScatteredPoint;
using Private::ScatteredPoints;

namespace
{

constexpr const char* s_name = "SuperGradient";

ScatteredPoints finitePoints(size_t count, const float* positions, const float* colors)
{
    ScatteredPoints points;
    points.reserve(count);
    for (size_t i = 0; i < count; ++i)
    {
        const double x = positions[2 * i], y = positions[2 * i + 1];
        const float* const c = colors + 4 * i;
        if (std::isfinite(x) && std::isfinite(y))
            points.push_back({x, y, {c[0], c[1], c[2], c[3]}});
    }
    return points;
}

// Points at one place become one with their mean colour.
ScatteredPoints distinctPoints(ScatteredPoints points)
{
    std::stable_sort(points.begin(), points.end(),
                     [](const ScatteredPoint& a, const ScatteredPoint& b) {
                         return a.x != b.x ? a.x < b.x : a.y < b.y;
                     });
    ScatteredPoints distinct;
    distinct.reserve(points.size());
    for (size_t first = 0, end = 0; first < points.size(); first = end)
    {
        ScatteredPoint mean = points[first];
        for (end = first + 1;
             end < points.size() && points[end].x == mean.x && points[end].y == mean.y; ++end)
        {
            for (size_t channel = 0; channel < 4; ++channel)
                mean.color[channel] += points[end].color[channel];
        }
        for (double& value : mean.color)
            value /= static_cast<double>(end - first);
        distinct.push_back(mean);
    }
    return distinct;
}

template <class Sum>
void paintSum(const Image& image, const Sum& sum)
{
    Private::ScatterStrip strip = {};
    Image part = image;
    for (int64_t x = image.bounds.x0; x < image.bounds.x1; x = part.bounds.x1)
    {
        part.bounds.x0 = x;
        part.bounds.x1 = x + std::min<int64_t>(image.bounds.x1 - x, Private::scatterStrip);
        part.pixelPtr = Private::pixelOf(image, x, image.bounds.y0);
        strip.count = static_cast<size_t>(part.bounds.width());
        for (size_t i = 0; i < strip.count; ++i)
            strip.x[i] = Private::fromPlace(x + static_cast<int64_t>(i), 0.0);
        for (int64_t y = image.bounds.y0; y < image.bounds.y1; ++y)
        {
            strip.y = Private::fromPlace(y, 0.0);
            sum.paint(strip);
            Private::paintRow(part, y, [&strip, x](int64_t pixel) {
                const size_t i = static_cast<size_t>(pixel - x);
                return Color4f(
                    static_cast<float>(strip.color[0][i]), static_cast<float>(strip.color[1][i]),
                    static_cast<float>(strip.color[2][i]), static_cast<float>(strip.color[3][i]));
            });
        }
    }
}

void paintPoints(const Image& image, const ScatteredPoints& points, bool useRbf, UTIL::RBFType type,
                 float parameter)
{
    const ScatteredPoints distinct = distinctPoints(points);
    if (distinct.size() < 2)
    {
        const std::array<double, 4> c =
            distinct.empty() ? std::array<double, 4>() : distinct.front().color;
        const Color4f color(static_cast<float>(c[0]), static_cast<float>(c[1]),
                            static_cast<float>(c[2]), static_cast<float>(c[3]));
        return Private::paintEqualRows(image, [=](int64_t) { return color; });
    }
    if (useRbf)
    {
        Private::RbfSum sum(distinct, type, (parameter > 0.0f ? parameter : 64.0) / 64.0);
        if (sum.solve())
            return paintSum(image, sum);
    }
    // The parameter is an exponent only where it was meant as one.
    const double power = !useRbf && parameter > 0.0f ? parameter : 2.0;
    paintSum(image, Private::ShepardSum(points, power));
}

}

void SuperGradient(const Image* image, size_t count, const float* positions, const float* colors,
                   bool useRbf, UTIL::RBFType type, float parameter)
{
    if (!Private::canPaint(s_name, image))
        return;
    if (useRbf && (type < UTIL::RBF_LINEAR || type > UTIL::RBF_INVERSE_MULTIQUADRIC))
    {
        Private::invalidArgument(s_name, "there is no radial basis function of the number " +
                                             std::to_string(type) + ".");
        return;
    }
    Private::reportingExhaustion(s_name, [&] {
        paintPoints(*image, finitePoints(count, positions, colors), useRbf, type, parameter);
    });
}

}
