#include <array>

#include <OpenColorIO/OpenColorIO.h>
#include <QUILT/ColorTasks.h>

#include "OperationTable.h"

namespace QUILT::Test
{

namespace
{

namespace OCIO = OCIO_NAMESPACE;

OCIO::ConstProcessorRcPtr logProcessor()
{
    const auto transform = OCIO::LogAffineTransform::Create();
    const double slope[3] = {0.25, 0.3, 0.25}, offset[3] = {0.6, 0.6, 0.5},
                 linOffset[3] = {0.01, 0.01, 0.02};
    transform->setLogSideSlopeValue(slope);
    transform->setLogSideOffsetValue(offset);
    transform->setLinSideOffsetValue(linOffset);
    return OCIO::Config::CreateRaw()->getProcessor(transform);
}

// Many zeros, for channels that take no part.
std::array<float, 20> randomMatrix(Random& random)
{
    std::array<float, 20> matrix{};
    for (float& value : matrix)
    {
        if (random.oneIn(2))
            value = randomValue(random);
    }
    return matrix;
}

// An operation without parameters.
template <auto Create>
ref_ptr<RenderTask> makePlain(Random&, const Inputs& inputs)
{
    return Create("plain", 0, inputs[0]);
}

ref_ptr<RenderTask> makeBloom(Random& random, const Inputs& inputs)
{
    BloomControlSettings settings;
    settings.enabled = !random.oneIn(8);
    settings.threshold = randomValue(random);
    settings.amount = static_cast<float>(random.between(0, 4)) * 25 - 25;
    settings.useLuminance = random.oneIn(2);
    return createBloomTask("bloom", 0, settings, inputs[0]);
}

ref_ptr<RenderTask> makePosterize(Random& random, const Inputs& inputs)
{
    const auto levels = [&] { return static_cast<float>(random.real(0, 9)); };
    const float red = levels(), green = levels(), blue = levels();
    const bool clampRange = random.oneIn(2);
    return createPosterizeTask("steps", 0, red, green, blue, clampRange, random.oneIn(2),
                               inputs[0]);
}

ref_ptr<RenderTask> makeNContrastBoost(Random& random, const Inputs& inputs)
{
    const float amount = randomValue(random);
    return createNContrastBoostTask("boost", 0, amount, random.oneIn(2), inputs[0]);
}

ref_ptr<RenderTask> makeHSVComponentToAlpha(Random& random, const Inputs& inputs)
{
    const auto component = static_cast<HSVComponent>(random.between(0, 3));
    return createHSVComponentToAlphaTask("component", 0, component, inputs[0]);
}

}

void addColorOperations(std::vector<Operation>& table)
{
    table.push_back({"BackgroundColor", 1,
                     [](Random& random, const Inputs& inputs) {
                         return createBackgroundColorTask("bg", 0, randomColor(random), inputs[0]);
                     },
                     false, true});
    table.push_back({"OCIOProcessor", 1, [](Random&, const Inputs& inputs) {
                         return createOCIOProcessorTask("ocio", 0, logProcessor(), inputs[0]);
                     }});
    table.push_back({"Clamp", 1, [](Random& random, const Inputs& inputs) {
                         return createClampTask("clamp", 0, awkwardColor(random),
                                                awkwardColor(random), random.oneIn(2),
                                                random.oneIn(2), inputs[0]);
                     }});
    table.push_back({"Threshold", 1, [](Random& random, const Inputs& inputs) {
                         return createThresholdTask("threshold", 0, awkwardColor(random),
                                                    random.oneIn(2), awkwardColor(random),
                                                    random.oneIn(2), awkwardColor(random),
                                                    inputs[0]);
                     }});
    table.push_back({"Contrast", 1, [](Random& random, const Inputs& inputs) {
                         return createContrastTask("contrast", 0, awkwardColor(random),
                                                   awkwardColor(random), inputs[0]);
                     }});
    table.push_back({"CleanupClamp", 1, [](Random& random, const Inputs& inputs) {
                         return createCleanupClampTask("clean", 0, random.oneIn(2), inputs[0]);
                     }});
    table.push_back({"ColorTransform", 1, [](Random& random, const Inputs& inputs) {
                         return createColorTransformTask("matrix", 0, randomMatrix(random).data(),
                                                         inputs[0]);
                     }});
    table.push_back({"Gain", 1, [](Random& random, const Inputs& inputs) {
                         return createGainTask("gain", 0, awkwardColor(random), inputs[0]);
                     }});
    table.push_back({"Luminance", 1, [](Random&, const Inputs& inputs) {
                         return createLuminanceTask("luminance", 0, inputs[0]);
                     }});
    table.push_back({"MultInverse", 1, [](Random&, const Inputs& inputs) {
                         return createMultInverseTask("inverse", 0, inputs[0]);
                     }});
    table.insert(table.end(),
                 {
                     {"Bloom", 1, makeBloom},
                     {"Fringe", 1, makePlain<createFringeTask>},
                     {"HSVComponentToAlpha", 1, makeHSVComponentToAlpha},
                     {"HSVConvert", 1,
                      [](Random& random, const Inputs& inputs) {
                          return createHSVConvertTask("hsv", 0, random.oneIn(2), inputs[0]);
                      }},
                     {"InPlaceCopy", 1, makePlain<createInPlaceCopyTask>},
                     {"MaxRGBToAlpha", 1, makePlain<createMaxRGBToAlphaTask>},
                     {"MinRGBToAlpha", 1, makePlain<createMinRGBToAlphaTask>},
                     {"NContrastBoost", 1, makeNContrastBoost},
                     {"Posterize", 1, makePosterize},
                     {"ScreenRGBToAlpha", 1,
                      [](Random& random, const Inputs& inputs) {
                          const auto channel = static_cast<unsigned long>(random.between(0, 4));
                          return createScreenRGBToAlphaTask("screen", 0, channel, inputs[0]);
                      }},
                 });
}

}
