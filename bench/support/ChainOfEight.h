#pragma once

#include <vector>

#include <EMULSION/Color.h>
#include <EMULSION/ColorMatrix.h>
#include <EMULSION/Premultiply.h>

namespace QUILT::Bench
{

/// A grade of eight pixel operations: adds, multiplies, compares, two divisions.
inline std::vector<EMULSION::PixelOperationPtr> chainOfEight()
{
    const Imath::Color4f contrast(1.1f, 1.2f, 1.3f, 1.0f), pivot(0.18f, 0.18f, 0.18f, 0.0f);
    const Imath::Color4f low(0, 0, 0, 0), high(2, 2, 2, 1);
    const float gain[20] = {1.1f, 0, 0, 0, 0, 0, 0.9f, 0, 0, 0, 0, 0, 1.2f, 0, 0, 0, 0, 0, 1, 0};
    const float mix[20] = {0.8f, 0.1f, 0.1f, 0, 0, 0.1f, 0.8f, 0.1f, 0, 0,
                           0.1f, 0.1f, 0.8f, 0, 0, 0,    0,    0,    1, 0};
    return {EMULSION::makeUnpremultiplyOperation(),
            EMULSION::makeContrastOperation(contrast, pivot),
            EMULSION::makeColorMatrixOperation(gain),
            EMULSION::makeClampOperation(low, high, true, true),
            EMULSION::makeColorMatrixOperation(mix),
            EMULSION::makeContrastOperation(pivot, contrast),
            EMULSION::makeThresholdOperation(low, true, high, false, high),
            EMULSION::makePremultiplyOperation()};
}

}
