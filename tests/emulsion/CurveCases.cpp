#include <EMULSION/Curves.h>

#include <algorithm>
#include <cmath>
#include <utility>
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

double lumaOf(const Pixel& p)
{
    return p[0] * s_coefficients.x + p[1] * s_coefficients.y + p[2] * s_coefficients.z;
}

Pixel lumaCurve(const Pixel& p)
{
    const double luma = lumaOf(p);
    const double wanted = valueOf(s_even, luma);
    return perChannel(p, [&](double v, int i) {
        return i == 3 ? v : luma > 0 ? v * wanted / luma : v + wanted - luma;
    });
}

// Hue in turns, and saturation.
std::pair<double, double> hueAndSaturation(const Pixel& p)
{
    const double most = std::max({p[0], p[1], p[2]});
    const double range = most - std::min({p[0], p[1], p[2]});
    if (range == 0)
        return {0, 0};
    const double hue = p[0] == most   ? (p[1] - p[2]) / range
                       : p[1] == most ? (p[2] - p[0]) / range + 2
                                      : (p[0] - p[1]) / range + 4;
    return {(hue < 0 ? hue + 6 : hue) / 6, range / most};
}

Pixel scaledChroma(const Pixel& p, double luma, double factor)
{
    return perChannel(p, [&](double v, int i) { return i == 3 ? v : luma + (v - luma) * factor; });
}

const Imath::C3f s_sky(0.25f, 0.5f, 0.75f); // of hue 7 / 12

Pixel hueSuppress(const Pixel& p, double amount, double width)
{
    const auto [hue, saturation] = hueAndSaturation(p);
    const double difference = std::abs(hue - 7.0 / 12);
    const double t = std::min(std::min(difference, 1 - difference) / (width / 2), 1.0);
    const double weight = saturation == 0 ? 0 : 1 - t * t * (3 - 2 * t);
    return scaledChroma(p, 0.2126 * p[0] + 0.7152 * p[1] + 0.0722 * p[2], 1 - amount * weight);
}

// Saturation, suppression, red, green, blue.
constexpr size_t s_hues = 6;
constexpr float s_tables[5][s_hues] = {{1, 0, 0.5f, 2, 1, 1.5f},
                                       {0, 1, 0.5f, 0.25f, -1, 1},
                                       {1, 1.5f, 0, 0.5f, 1, -0.5f},
                                       {0.25f, 1, 1, 2, 0.5f, 1},
                                       {1, 0.5f, 0, 0, 1, 2}};
const Imath::C3f s_suppressed(0.5f, -1, 1);

PixelOperationPtr makeHueCurves(bool additive)
{
    return makeHueCurvesOperation(s_coefficients, s_hues, additive, s_suppressed, s_tables[0],
                                  s_tables[1], s_tables[2], s_tables[3], s_tables[4]);
}

Pixel hueCurves(const Pixel& p, bool additive)
{
    const auto [hue, saturation] = hueAndSaturation(p);
    const double weight = std::clamp(saturation, 0.0, 1.0);
    const auto at = [place = hue * s_hues](int table) {
        const auto entry = static_cast<size_t>(place);
        const double from = s_tables[table][entry % s_hues];
        return from + (s_tables[table][(entry + 1) % s_hues] - from) * (place - double(entry));
    };
    const Pixel even = scaledChroma(p, lumaOf(p), 1 + (at(0) - 1) * weight);
    return perChannel(even, [&](double v, int i) {
        if (i == 3)
            return v;
        const double others = std::max(even[static_cast<size_t>((i + 1) % 3)],
                                       even[static_cast<size_t>((i + 2) % 3)]);
        const double share = std::max(s_suppressed[i], 0.0f);
        const double left = v - at(1) * share * std::max(0.0, v - others);
        return additive ? left + at(2 + i) * weight : left * (1 + (at(2 + i) - 1) * weight);
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
            {"HueSuppress", [] { return makeHueSuppressOperation(s_sky, 0.75f, 0.5f); },
             [](const Pixel& p) { return hueSuppress(p, 0.75, 0.5); }},
            {"HueSuppressAll", [] { return makeHueSuppressOperation(s_sky, -2, 1); },
             [](const Pixel& p) { return hueSuppress(p, -2, 1); }},
            {"HueCurves", [] { return makeHueCurves(false); },
             [](const Pixel& p) { return hueCurves(p, false); }},
            {"HueCurvesAdded", [] { return makeHueCurves(true); },
             [](const Pixel& p) { return hueCurves(p, true); }},
            {"HueNoCurves",
             [] {
                 return makeHueCurvesOperation(s_coefficients, 0, true, s_suppressed, nullptr,
                                               nullptr, nullptr, nullptr, nullptr);
             },
             [](const Pixel& p) { return p; }},
        });
}

}
