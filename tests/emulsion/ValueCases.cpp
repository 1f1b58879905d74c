#include <EMULSION/Color.h>
#include <EMULSION/ColorMatrix.h>
#include <EMULSION/Premultiply.h>

#include <algorithm>

#include "emulsion/OperationCases.h"

using namespace EMULSION;
using Imath::Color4f;

namespace EmulsionTest
{

namespace
{

const Color4f s_quarters(0.25f, -0.5f, 0.75f, 1.0f), s_slopes(1.7f, 0.0f, -2.0f, 1.0f);
const Color4f s_lowest(-1.0f, 0.0f, 0.25f, 0.0f), s_highest(1.0f, 0.5f, 0.75f, 1.0f);
constexpr float s_fullMatrix[20] = {0.3f, 0.6f, 0.1f, 0.25f, 0.5f, 1,    2, -3, 4, 0, //
                                    0.1f, 0.2f, 0.3f, 0.4f,  -1,   0.5f, 1, 2,  3, 7};
constexpr float s_sparseMatrix[20] = {2, 0, 0, 0, 0, 0, 0, 1, 0, 0.5f, 0, 1, 0, 3, 0};

Pixel matrixTimes(const float* m, const Pixel& pixel)
{
    return perChannel(pixel, [&](double, int row) {
        const float* const c = m + ptrdiff_t(5) * row;
        return pixel[0] * c[0] + pixel[1] * c[1] + pixel[2] * c[2] + pixel[3] * c[3] + c[4];
    });
}

}

void addValueCases(std::vector<OperationCase>& cases)
{
    cases.insert(
        cases.end(),
        {
            {"Contrast", [] { return makeContrastOperation(s_slopes, s_quarters); },
             [](const Pixel& p) {
                 return perChannel(p, [](double v, int i) {
                     return (v - s_quarters[i]) * s_slopes[i] + s_quarters[i];
                 });
             }},
            {"ClearInfsAndNans", [] { return makeClearInfsAndNansOperation(true); },
             [](const Pixel& p) { return p; }},
            {"Clamp", [] { return makeClampOperation(s_lowest, s_highest, true, true); },
             [](const Pixel& p) {
                 return perChannel(p, [](double v, int i) {
                     return std::clamp(v, double(s_lowest[i]), double(s_highest[i]));
                 });
             }},
            {"ClampBelow", [] { return makeClampOperation(s_lowest, s_highest, true, false); },
             [](const Pixel& p) {
                 return perChannel(
                     p, [](double v, int i) { return std::max(v, double(s_lowest[i])); });
             }},
            {"Threshold",
             [] { return makeThresholdOperation(s_quarters, true, s_lowest, true, s_highest); },
             [](const Pixel& p) {
                 return perChannel(p, [](double v, int i) {
                     return v >= s_quarters[i] ? s_highest[i] : s_lowest[i];
                 });
             }},
            {"ThresholdAbove",
             [] { return makeThresholdOperation(s_quarters, false, s_lowest, true, s_highest); },
             [](const Pixel& p) {
                 return perChannel(
                     p, [](double v, int i) { return v >= s_quarters[i] ? s_highest[i] : v; });
             }},
            {"CleanupClamp", [] { return makeCleanupClampOperation(false); },
             [](const Pixel& p) {
                 return perChannel(
                     p, [](double v, int i) { return std::clamp(v, 0.0, i == 3 ? 1 : 1e9); });
             }},
            {"CleanupClampNegative", [] { return makeCleanupClampOperation(true); },
             [](const Pixel& p) {
                 return Pixel{p[0], p[1], p[2], std::clamp(p[3], 0.0, 1.0)};
             }},
            {"MultInverse", [] { return makeMultInverseOperation(); },
             [](const Pixel& p) {
                 return perChannel(p, [](double v, int) { return v == 0 ? 0 : 1 / v; });
             }},
            {"FullMatrix", [] { return makeColorMatrixOperation(s_fullMatrix); },
             [](const Pixel& p) { return matrixTimes(s_fullMatrix, p); }},
            {"SparseMatrix", [] { return makeColorMatrixOperation(s_sparseMatrix); },
             [](const Pixel& p) { return matrixTimes(s_sparseMatrix, p); }},
            {"Premultiply", [] { return makePremultiplyOperation(); },
             [](const Pixel& p) {
                 return Pixel{p[0] * p[3], p[1] * p[3], p[2] * p[3], p[3]};
             }},
            {"Unpremultiply", [] { return makeUnpremultiplyOperation(); },
             [](const Pixel& p) {
                 return p[3] == 0 ? Pixel{} : Pixel{p[0] / p[3], p[1] / p[3], p[2] / p[3], p[3]};
             }},
        });
}

}
