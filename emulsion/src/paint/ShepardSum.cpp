#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "paint/ScatteredPoints.h"

namespace EMULSION::Private
{

namespace
{

double wholePower(double base, unsigned exponent)
{
    double result = 1.0;
    for (; exponent != 0; exponent >>= 1)
    {
        if (exponent & 1)
            result *= base;
        base *= base;
    }
    return result;
}

}

ShepardSum::ShepardSum(ScatteredPoints points, double power)
    : m_points(std::move(points)), m_power(power)
{
    constexpr double most = 1024.0;
    if (power > most || power != std::floor(power))
        return;
    m_wholePower = static_cast<unsigned>(power);
    m_ofSquare = m_wholePower % 2 == 0;
    if (m_ofSquare)
        m_wholePower /= 2;
}

double ShepardSum::weightOf(double squaredRatio) const
{
    if (m_wholePower == 0)
        return std::pow(squaredRatio, 0.5 * m_power);
    return wholePower(m_ofSquare ? squaredRatio : std::sqrt(squaredRatio), m_wholePower);
}

void ShepardSum::paint(ScatterStrip& strip) const
{
    double nearest[scatterStrip];
    std::fill_n(nearest, strip.count, std::numeric_limits<double>::infinity());
    const auto squaredDistance = [&strip](const ScatteredPoint& point, size_t i) {
        const double dx = strip.x[i] - point.x, dy = strip.y - point.y;
        return dx * dx + dy * dy;
    };
    for (const ScatteredPoint& point : m_points)
    {
        for (size_t i = 0; i < strip.count; ++i)
            nearest[i] = std::min(nearest[i], squaredDistance(point, i));
    }

    // Relative to that of the nearest point, so that no weight of any power overflows, and where a
    // centre is a point nothing but it has a weight.
    double total[scatterStrip] = {};
    std::fill_n(&strip.color[0][0], 4 * scatterStrip, 0.0);
    const bool simple = m_ofSquare && m_wholePower == 1;
    for (const ScatteredPoint& point : m_points)
    {
        double weight[scatterStrip];
        for (size_t i = 0; i < strip.count; ++i)
        {
            const double squared = squaredDistance(point, i);
            weight[i] = squared == nearest[i] ? 1.0 : nearest[i] / squared;
        }
        if (!simple)
            std::transform(weight, weight + strip.count, weight,
                           [this](double ratio) { return weightOf(ratio); });
        for (size_t i = 0; i < strip.count; ++i)
            total[i] += weight[i];
        for (size_t channel = 0; channel < 4; ++channel)
        {
            for (size_t i = 0; i < strip.count; ++i)
                strip.color[channel][i] += weight[i] * point.color[channel];
        }
    }
    for (auto& values : strip.color)
    {
        for (size_t i = 0; i < strip.count; ++i)
            values[i] /= total[i];
    }
}

}
