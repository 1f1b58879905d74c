#include <EMULSION/Curves.h>

#include <algorithm>
#include <vector>

#include "emulsion/OperationCases.h"

using namespace EMULSION;

namespace EmulsionTest
{

namespace
{

// Evenly spaced; uneven, with a step; crowded, so that a search is left; one point.
const std::vector<float> s_even{-1, 0.5f, 0, 0, 1, 0.25f, 2, 3};
const std::vector<float> s_uneven{-2, -1, 0.125f, 0.25f, 1, 1, 1, -3, 3.5f, 0.75f};
const std::vector<float> s_crowded{-1000, -2,      0,    0,    0.001f, 1,    0.001001f,
                                   -1,    0.0011f, 0.5f, 3.9f, 2.0f,   1e6f, -7};
const std::vector<float> s_constant{0.5f, 0.75f};
const Imath::C3f s_coefficients(0.25f, 0.5f, 0.25f);

CurvePoints pointsOf(const std::vector<float>& curve)
{
    return {curve.data(), curve.size() / 2};
}

double valueOf(const std::vector<float>& curve, double x)
{
    const size_t count = curve.size() / 2;
    size_t above = 0; // the first point to the right
    while (above < count && curve[2 * above] <= x)
        ++above;
    if (above == 0)
        return curve[1];
    const double x0 = curve[2 * above - 2], y0 = curve[2 * above - 1];
    if (above == count)
        return y0;
    return y0 + (x - x0) * (curve[2 * above + 1] - y0) / (curve[2 * above] - x0);
}

Pixel lumaCurve(const Pixel& p)
{
    const double luma = p[0] * s_coefficients.x + p[1] * s_coefficients.y + p[2] * s_coefficients.z;
    const double wanted = valueOf(s_even, luma);
    return perChannel(p, [&](double v, int i) {
        return i == 3 ? v : luma > 0 ? v * wanted / luma : v + wanted - luma;
    });
}

}

void addCurveCases(std::vector<OperationCase>& cases)
{
    cases.insert(
        cases.end(),
        {
            {"RGBACurves",
             [] {
                 return makeRGBACurvesOperation(pointsOf(s_even), pointsOf(s_uneven),
                                                pointsOf(s_crowded), pointsOf(s_constant));
             },
             [](const Pixel& p) {
                 return Pixel{valueOf(s_even, p[0]), valueOf(s_uneven, p[1]),
                              valueOf(s_crowded, p[2]), valueOf(s_constant, p[3])};
             }},
            {"AlphaCurve", [] { return makeRGBACurvesOperation({}, {}, {}, pointsOf(s_uneven)); },
             [](const Pixel& p) {
                 return Pixel{p[0], p[1], p[2], valueOf(s_uneven, p[3])};
             }},
            {"LumaCurve", [] { return makeLumaCurveOperation(s_coefficients, pointsOf(s_even)); },
             lumaCurve},
            {"LumaNoCurve", [] { return makeLumaCurveOperation(s_coefficients, {}); },
             [](const Pixel& p) { return p; }},
        });
}

}
