#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "EMULSION/Painters.h"

namespace EMULSION::Private
{

/// Pixels of a row that are worked on together, so that loops over them are loops over vectors.
constexpr size_t scatterStrip = 64;

/// Some pixels of a row: where their centres lie, and their colours to be.
struct ScatterStrip
{
    size_t count;
    double y;
    double x[scatterStrip];
    double color[4][scatterStrip];
};

struct ScatteredPoint
{
    double x, y;
    std::array<double, 4> color;
};

using ScatteredPoints = std::vector<ScatteredPoint>;

/// Weights 1 / distance^power (Shepard, A two-dimensional interpolation function for
/// irregularly-spaced data, 1968).
class ShepardSum
{
public:
    ShepardSum(ScatteredPoints points, double power);

    void paint(ScatterStrip& strip) const;

private:
    double weightOf(double squaredRatio) const;

    const ScatteredPoints m_points;
    const double m_power;
    unsigned m_wholePower = 0; // of the ratio of distances, or of its square when that will do
    bool m_ofSquare = false;
};

/// A sum of radial basis functions around the points, and a linear polynomial for the thin plate.
///
/// Positions are moved and scaled first, so that the system is as good-natured as the points allow;
/// no function changes its shape by that.
class RbfSum
{
public:
    /// The points must be distinct.
    RbfSum(ScatteredPoints points, UTIL::RBFType type, double scaleToNearest);

    /// False when the points determine no such sum.
    bool solve();

    void paint(ScatterStrip& strip) const;

private:
    template <class Work>
    auto withFunction(const Work& work) const;
    bool hasPolynomial() const { return m_type == UTIL::RBF_THIN_PLATE; }
    double meanDistanceToNearest() const;

    ScatteredPoints m_points; // moved and scaled; the colours become the weights
    const UTIL::RBFType m_type;
    double m_centerX = 0.0, m_centerY = 0.0, m_factor = 1.0; // how they were moved and scaled
    double m_squaredScale = 1.0;
    std::array<std::array<double, 4>, 3> m_polynomial = {}; // constant, x, y
};

}
