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
}

}
