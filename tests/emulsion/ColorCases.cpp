#include <EMULSION/Color.h>

#include <algorithm>
#include <cmath>

#include "emulsion/OperationCases.h"

using namespace EMULSION;

namespace EmulsionTest
{

namespace
{

double clamped(double v)
{
    return std::clamp(v, 0.0, 1.0);
}

double bloomed(double v)
{
    return v > 0.75f ? 0.75f + (v - 0.75f) * 3 : v;
}

Pixel bloomedByLuminance(const Pixel& p, bool keepAlpha)
{
    const double luma = 0.2126 * p[0] + 0.7152 * p[1] + 0.0722 * p[2];
    const double factor = luma > 0.75 ? bloomed(luma) / luma : 1;
    return {p[0] * factor, p[1] * factor, p[2] * factor, keepAlpha ? p[3] : p[3] * factor};
}

double contrasted(double v)
{
    const double s = 6 * std::pow(v, 5) - 15 * std::pow(v, 4) + 10 * std::pow(v, 3);
    return (s - v) * 0.25 + v;
}

// Hue, saturation and value as they are defined, with loops: in floats, and to the last bit.

Pixel toHsv(const Pixel& pixel)
{
    const float r = float(pixel[0]), g = float(pixel[1]), b = float(pixel[2]);
    const float max = std::max({r, g, b}), d = max - std::min({r, g, b});
    if (d == 0)
        return {0, 0, max, pixel[3]};
    float h = r == max   ? (g - b) / (6 * d)
              : g == max ? (b - r) / (6 * d) + 0.33333334f
                         : (r - g) / (6 * d) + 0.6666667f;
    while (h < 0)
        h += 1;
    return {h, d / max, max, pixel[3]};
}

Pixel toRgb(const Pixel& pixel)
{
    float h = float(pixel[0]);
    const float s = float(pixel[1]), v = float(pixel[2]), alpha = float(pixel[3]);
    if (s == 0)
        return {v, v, v, alpha};
    while (h < 0)
        h += 1;
    while (h >= 1)
        h -= 1;
    const float x = 6 * h, f = x - std::floor(x);
    const float p = (1 - s) * v, q = (1 - s * f) * v, t = (1 - s * (1 - f)) * v;
    const Pixel sectors[] = {{v, t, p, alpha}, {q, v, p, alpha}, {p, v, t, alpha},
                             {p, q, v, alpha}, {t, p, v, alpha}, {v, p, q, alpha}};
    return sectors[int(x)];
}

Pixel withAlpha(const Pixel& p, double alpha)
{
    return {p[0], p[1], p[2], alpha};
}

Pixel screened(const Pixel& p, size_t channel)
{
    const float other = float(std::max(p[(channel + 1) % 3], p[(channel + 2) % 3]));
    return withAlpha(p, clamped(1 - float(p[channel]) + other));
}

// The place of a value among the steps is that of the float that the definition gives: where it
// meets a step's edge, the double beside it may not.
double posterized(double v, int channel, bool clampRange, bool nearest)
{
    static constexpr float s_levels[] = {4, 7, 1};
    if (channel > 1)
        return v;
    const float n = s_levels[channel];
    const float x = float(clampRange ? clamped(v) : v);
    const float level = nearest  ? std::floor(x * (n - 1) + 0.5f)
                        : x == 1 ? n - 1
                                 : std::floor(x * n);
    return level / (n - 1);
}

OperationCase posterizeCase(const char* name, bool clampRange, bool nearest)
{
    return {name, [=] { return makePosterizeOperation(4.5f, 7, 1.9f, clampRange, nearest); },
            [=](const Pixel& p) {
                return perChannel(
                    p, [=](double v, int i) { return posterized(v, i, clampRange, nearest); });
            }};
}

}

void addColorCases(std::vector<OperationCase>& cases)
{
    cases.insert(
        cases.end(),
        {
            {"RGBBloom", [] { return makeRGBBloomOperation(0.75f, 3, true); },
             [](const Pixel& p) {
                 return perChannel(p, [](double v, int i) { return i == 3 ? v : bloomed(v); });
             }},
            {"RGBABloom", [] { return makeRGBBloomOperation(0.75f, 3, false); },
             [](const Pixel& p) {
                 return perChannel(p, [](double v, int) { return bloomed(v); });
             }},
            {"LuminanceBloom", [] { return makeLuminanceBloomOperation(0.75f, 3, true); },
             [](const Pixel& p) { return bloomedByLuminance(p, true); }},
            {"LuminanceBloomWithAlpha", [] { return makeLuminanceBloomOperation(0.75f, 3, false); },
             [](const Pixel& p) { return bloomedByLuminance(p, false); }},
            {"NContrastBoost", [] { return makeNContrastBoostOperation(0.25f, true); },
             [](const Pixel& p) {
                 return perChannel(p, [](double v, int) { return contrasted(v); });
             }},
            {"NContrastBoostOpaque", [] { return makeNContrastBoostOperation(0.25f, false); },
             [](const Pixel& p) {
                 return perChannel(p, [](double v, int i) { return i == 3 ? 1 : contrasted(v); });
             }},
            {"Fringe", [] { return makeFringeOperation(); },
             [](const Pixel& p) {
                 return perChannel(p,
                                   [](double v, int) { return 1 - std::abs(2 * clamped(v) - 1); });
             }},
            posterizeCase("Posterize", false, false),
            posterizeCase("PosterizeClamped", true, false),
            posterizeCase("PosterizeNearest", false, true),
            posterizeCase("PosterizeNearestClamped", true, true),
            {"ToHSV", [] { return makeHSVConvertOperation(true); }, toHsv, 0},
            {"ToRGB", [] { return makeHSVConvertOperation(false); }, toRgb, 0},
            {"HueToAlpha", [] { return makeHueToAlphaOperation(); },
             [](const Pixel& p) { return withAlpha(p, toHsv(p)[0]); }, 0},
            {"SaturationToAlpha", [] { return makeSaturationToAlphaOperation(); },
             [](const Pixel& p) { return withAlpha(p, toHsv(p)[1]); }, 0},
            {"ValueToAlpha", [] { return makeValueToAlphaOperation(); },
             [](const Pixel& p) { return withAlpha(p, toHsv(p)[2]); }, 0},
            {"MinRGBToAlpha", [] { return makeMinRGBToAlphaOperation(); },
             [](const Pixel& p) {
                 return withAlpha(p, std::min({p[0], p[1], p[2]}));
             },
             0},
            {"MaxRGBToAlpha", [] { return makeMaxRGBToAlphaOperation(); },
             [](const Pixel& p) {
                 return withAlpha(p, std::max({p[0], p[1], p[2]}));
             },
             0},
            {"RedScreenToAlpha", [] { return makeScreenRGBToAlphaOperation(ChannelRed); },
             [](const Pixel& p) { return screened(p, 0); }, 0},
            {"GreenScreenToAlpha", [] { return makeScreenRGBToAlphaOperation(ChannelGreen); },
             [](const Pixel& p) { return screened(p, 1); }, 0},
            {"BlueScreenToAlpha", [] { return makeScreenRGBToAlphaOperation(ChannelBlue); },
             [](const Pixel& p) { return screened(p, 2); }, 0},
            {"NoScreenToAlpha", [] { return makeScreenRGBToAlphaOperation(5); },
             [](const Pixel& p) { return withAlpha(p, 0); }},
        });
}

}
