#include <QUILT/ColorTasks.h>

#include "OperationTable.h"

namespace QUILT::Test
{

namespace
{

Imath::Color4f randomPower(Random& random)
{
    static constexpr float s_usual[] = {1, 0.45f, 2.2f, 0, -1, 40};
    Imath::Color4f color(1, 1, 1, 1);
    for (int channel = 0; channel < 4; ++channel)
        color[channel] = random.oneIn(3) ? randomValue(random) : random.pick(s_usual);
    return color;
}

}

void addToneOperations(std::vector<Operation>& table)
{
    table.push_back({"CompressRange", 1, [](Random& random, const Inputs& inputs) {
                         const float knee = randomValue(random);
                         const float to = knee + static_cast<float>(random.real(0.1, 2));
                         const float from = to + static_cast<float>(random.real(-0.1, 9));
                         return createCompressRangeTask("range", 0, knee, from, to, random.oneIn(2),
                                                        inputs[0]);
                     }});
    table.push_back({"StandardCompressRange", 1, [](Random&, const Inputs& inputs) {
                         return createStandardCompressRangeTask("compress", 0, inputs[0]);
                     }});
    table.push_back({"StandardExpandRange", 1, [](Random&, const Inputs& inputs) {
                         return createStandardExpandRangeTask("expand", 0, inputs[0]);
                     }});
    table.push_back({"Exponential", 1, [](Random& random, const Inputs& inputs) {
                         return createExponentialTask("power", 0, randomPower(random),
                                                      awkwardColor(random), inputs[0]);
                     }});
    table.push_back({"Gamma", 1, [](Random& random, const Inputs& inputs) {
                         return createGammaTask("gamma", 0, randomPower(random),
                                                awkwardColor(random), inputs[0]);
                     }});
    table.push_back({"Lab", 1, [](Random& random, const Inputs& inputs) {
                         return createLabTask("lab", 0, !random.oneIn(2), inputs[0]);
                     }});
    table.push_back({"AnalyticalLogConvert", 1, [](Random& random, const Inputs& inputs) {
                         const bool tenBit = random.oneIn(2);
                         const float codes = tenBit ? 1023.0f : 1.0f;
                         const auto usualOr = [&](float usual) {
                             return random.oneIn(4) ? awkwardColor(random)
                                                    : Imath::Color4f(usual, usual, usual / 2, 0);
                         };
                         return createAnalyticalLogConvertTask("log", 0, usualOr(0.1f) * codes,
                                                               usualOr(0.7f) * codes, usualOr(0.6f),
                                                               random.oneIn(2), tenBit, inputs[0]);
                     }});
}

}
