#include <QUILT/CurveTasks.h>

#include "OperationTable.h"
#include "support/ColorConfig.h"

// The rows of operations by curves, by hue and by brightness.

namespace QUILT::Test
{

namespace
{

// Evenly spaced or not, with steps; now and then empty.
std::vector<float> randomCurve(Random& random)
{
    std::vector<float> curve;
    float x = randomValue(random);
    const bool isEven = random.oneIn(2);
    for (int64_t count = random.between(0, 6); count > 0; --count)
    {
        curve.insert(curve.end(), {x, randomValue(random)});
        x += isEven ? 0.5f : random.oneIn(4) ? 0 : static_cast<float>(random.real(0, 1));
    }
    return curve;
}

Imath::C3f randomRGB(Random& random)
{
    const Imath::Color4f color = awkwardColor(random);
    return {color.r, color.g, color.b};
}

ref_ptr<RenderTask> makeHueCurves(Random& random, const Inputs& inputs)
{
    const auto size = static_cast<size_t>(random.between(0, 5));
    const auto table = [&] {
        std::vector<float> values(size);
        for (float& value : values)
            value = randomValue(random);
        return values;
    };
    // In the order of the parameters, which the arguments of a call do not keep.
    const bool stops = random.oneIn(2);
    const Imath::C3f luma = randomRGB(random), color = randomRGB(random);
    const std::vector<float> lut0 = table(), lut1 = table(), lut2 = table(), lut3 = table(),
                             lut4 = table(), lut5 = table();
    return createHueCurvesTask("hue curves", 0, stops, luma, color, lut0, lut1, lut2, lut3, lut4,
                               lut5, inputs[0]);
}

ref_ptr<RenderTask> makeHueShift(Random& random, const Inputs& inputs)
{
    HueShiftParams params;
    params.mode = static_cast<int32_t>(random.between(0, 2));
    params.hue = 60 * randomValue(random);
    params.saturation = randomValue(random);
    params.lumaCoefficients = randomRGB(random);
    return createHueShiftTask("hue shift", 0, params, inputs[0]);
}

ref_ptr<RenderTask> makeRangeKey(Random& random, const Inputs& inputs)
{
    RangeKeyParams params;
    params.useLog = random.oneIn(2);
    params.low = randomValue(random);
    params.high = randomValue(random);
    params.shadowSlope = randomValue(random);
    params.highlightSlope = randomValue(random);
    const auto type = static_cast<RangeKeyType>(random.between(0, 3));
    return createRangeKeyTask("key", 0, params, type, inputs[0]);
}

}

void addCurveOperations(std::vector<Operation>& table)
{
    OCIO_NAMESPACE::SetCurrentConfig(colorConfig()); // for its space of logarithms
    table.push_back({"RGBACurves", 1, [](Random& random, const Inputs& inputs) {
                         const auto red = randomCurve(random), green = randomCurve(random),
                                    blue = randomCurve(random), alpha = randomCurve(random);
                         return createRGBACurvesTask("curves", 0, red, green, blue, alpha,
                                                     inputs[0]);
                     }});
    // The coefficients are not part of its identity.
    table.push_back({"LumaCurves", 1, [](Random& random, const Inputs& inputs) {
                         return createLumaCurvesTask("luma", 0, {0.25f, 0.5f, 0.25f},
                                                     randomCurve(random), inputs[0]);
                     }});
    table.push_back({"HueSuppress", 1, [](Random& random, const Inputs& inputs) {
                         const Imath::C3f color = randomRGB(random);
                         const float amount = randomValue(random), width = randomValue(random);
                         return createHueSuppressTask("suppress", 0, color, amount, width,
                                                      inputs[0]);
                     }});
    table.push_back({"HueCurves", 1, makeHueCurves});
    table.push_back({"HueShift", 1, makeHueShift});
    table.push_back({"RangeKey", 1, makeRangeKey});
}

}
