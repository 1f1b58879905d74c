#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "paint/ScatteredPoints.h"

namespace EMULSION::Private
{

namespace
{

// Rows of coefficients with four right-hand sides behind them.
class LinearSystem
{
public:
    explicit LinearSystem(size_t size)
        : m_size(size), m_columns(size + 4), m_values(size * m_columns, 0.0)
    {}

    double& at(size_t row, size_t column) { return m_values[row * m_columns + column]; }
    double& rightSide(size_t row, size_t which) { return at(row, m_size + which); }

    // Gaussian elimination with row pivoting: the solutions stand in the right-hand sides then.
    // False when the system is singular, as far as double precision can tell.
    bool solve()
    {
        double largest = 0.0;
        for (size_t row = 0; row < m_size; ++row)
            for (size_t column = 0; column < m_size; ++column)
                largest = std::max(largest, std::abs(at(row, column)));
        const double least =
            largest * static_cast<double>(m_size) * std::numeric_limits<double>::epsilon();
        for (size_t step = 0; step < m_size; ++step)
        {
            const size_t pivot = pivotRow(step);
            if (!(std::abs(at(pivot, step)) > least))
                return false;
            if (pivot != step)
                std::swap_ranges(&at(pivot, 0), &at(pivot, 0) + m_columns, &at(step, 0));
            for (size_t row = step + 1; row < m_size; ++row)
                subtract(row, step, at(row, step) / at(step, step));
        }
        for (size_t row = m_size; row-- > 0;)
            substitute(row);
        return true;
    }

private:
    size_t pivotRow(size_t step)
    {
        size_t best = step;
        for (size_t row = step + 1; row < m_size; ++row)
        {
            if (std::abs(at(row, step)) > std::abs(at(best, step)))
                best = row;
        }
        return best;
    }

    void subtract(size_t row, size_t other, double factor)
    {
        for (size_t column = other; column < m_columns; ++column)
            at(row, column) -= factor * at(other, column);
    }

    void substitute(size_t row)
    {
        for (size_t which = 0; which < 4; ++which)
        {
            double sum = rightSide(row, which);
            for (size_t column = row + 1; column < m_size; ++column)
                sum -= at(row, column) * rightSide(column, which);
            rightSide(row, which) = sum / at(row, row);
        }
    }

    const size_t m_size, m_columns;
    std::vector<double> m_values;
};

double squaredDistance(const ScatteredPoint& a, const ScatteredPoint& b)
{
    const double dx = a.x - b.x, dy = a.y - b.y;
    return dx * dx + dy * dy;
}

}

RbfSum::RbfSum(ScatteredPoints points, UTIL::RBFType type, double scaleToNearest)
    : m_points(std::move(points)), m_type(type)
{
    for (const ScatteredPoint& point : m_points)
    {
        m_centerX += point.x / static_cast<double>(m_points.size());
        m_centerY += point.y / static_cast<double>(m_points.size());
    }
    double extent = 0.0;
    for (const ScatteredPoint& point : m_points)
        extent = std::max({extent, std::abs(point.x - m_centerX), std::abs(point.y - m_centerY)});
    m_factor = 1.0 / extent;
    for (ScatteredPoint& point : m_points)
    {
        point.x = (point.x - m_centerX) * m_factor;
        point.y = (point.y - m_centerY) * m_factor;
    }
    const double scale = scaleToNearest * meanDistanceToNearest();
    m_squaredScale = scale * scale;
}

double RbfSum::meanDistanceToNearest() const
{
    double sum = 0.0;
    for (const ScatteredPoint& point : m_points)
    {
        double nearest = std::numeric_limits<double>::infinity();
        for (const ScatteredPoint& other : m_points)
        {
            if (&other != &point)
                nearest = std::min(nearest, squaredDistance(point, other));
        }
        sum += std::sqrt(nearest);
    }
    return sum / static_cast<double>(m_points.size());
}

// Calls work(phi) with the function of the squared distance.
template <class Work>
auto RbfSum::withFunction(const Work& work) const
{
    const double s = m_squaredScale;
    switch (m_type)
    {
    case UTIL::RBF_LINEAR:
        return work([](double squared) { return std::sqrt(squared); });
    case UTIL::RBF_CUBIC:
        return work([](double squared) { return squared * std::sqrt(squared); });
    case UTIL::RBF_THIN_PLATE:
        return work(
            [](double squared) { return squared > 0.0 ? 0.5 * squared * std::log(squared) : 0.0; });
    case UTIL::RBF_GAUSSIAN:
        return work([s](double squared) { return std::exp(-squared / s); });
    case UTIL::RBF_MULTIQUADRIC:
        return work([s](double squared) { return std::sqrt(squared + s); });
    case UTIL::RBF_INVERSE_MULTIQUADRIC:
        break;
    }
    return work([s](double squared) { return 1.0 / std::sqrt(squared + s); });
}

bool RbfSum::solve()
{
    const size_t count = m_points.size();
    LinearSystem system(count + (hasPolynomial() ? 3 : 0));
    withFunction([&](const auto& phi) {
        for (size_t row = 0; row < count; ++row)
            for (size_t column = 0; column < count; ++column)
                system.at(row, column) = phi(squaredDistance(m_points[row], m_points[column]));
    });
    for (size_t row = 0; row < count; ++row)
    {
        if (hasPolynomial())
        {
            const double terms[3] = {1.0, m_points[row].x, m_points[row].y};
            for (size_t term = 0; term < 3; ++term)
                system.at(row, count + term) = system.at(count + term, row) = terms[term];
        }
        for (size_t channel = 0; channel < 4; ++channel)
            system.rightSide(row, channel) = m_points[row].color[channel];
    }
    if (!system.solve())
        return false;
    for (size_t channel = 0; channel < 4; ++channel)
    {
        for (size_t row = 0; row < count; ++row)
            m_points[row].color[channel] = system.rightSide(row, channel);
        for (size_t term = 0; hasPolynomial() && term < 3; ++term)
            m_polynomial[term][channel] = system.rightSide(count + term, channel);
    }
    return true;
}

void RbfSum::paint(ScatterStrip& strip) const
{
    double u[scatterStrip];
    const double v = (strip.y - m_centerY) * m_factor;
    for (size_t i = 0; i < strip.count; ++i)
        u[i] = (strip.x[i] - m_centerX) * m_factor;
    for (size_t channel = 0; channel < 4; ++channel)
    {
        const double start = m_polynomial[0][channel] + m_polynomial[2][channel] * v;
        for (size_t i = 0; i < strip.count; ++i)
            strip.color[channel][i] = start + m_polynomial[1][channel] * u[i];
    }
    withFunction([&](const auto& phi) {
        for (const ScatteredPoint& point : m_points)
        {
            double value[scatterStrip];
            const double dy = v - point.y;
            for (size_t i = 0; i < strip.count; ++i)
            {
                const double dx = u[i] - point.x;
                value[i] = phi(dx * dx + dy * dy);
            }
            for (size_t channel = 0; channel < 4; ++channel)
            {
                for (size_t i = 0; i < strip.count; ++i)
                    strip.color[channel][i] += point.color[channel] * value[i];
            }
        }
    });
}

}
