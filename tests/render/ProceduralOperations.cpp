#include <QUILT/ProceduralTasks.h>

#include "OperationTable.h"

// The rows of the images without inputs. Gradients have colours that are linear already.

namespace QUILT::Test
{

namespace
{

using Imath::V2f;

V2f randomPoint(Random& random)
{
    const auto x = static_cast<float>(random.between(-40, 80)) / 2;
    return V2f(x, static_cast<float>(random.between(-40, 80)) / 2);
}

ref_ptr<RenderTask> makeColor(Random& random, const Inputs&)
{
    const UTIL::Rect rect = randomRect(random);
    return createColorTask("color", 0, rect, randomColor(random));
}

ref_ptr<RenderTask> makeGradient(Random& random, const Inputs&)
{
    const UTIL::Rect rect = randomRect(random);
    Imath::Color4f colors[4];
    for (Imath::Color4f& color : colors)
        color = awkwardColor(random);
    return createGradientTask("gradient", 0, rect, "", colors);
}

ref_ptr<RenderTask> makeRamp(Random& random, const Inputs&)
{
    const UTIL::Rect rect = randomRect(random);
    RampParams params;
    params.type = static_cast<int>(random.between(0, 3));
    params.color0 = awkwardColor(random);
    params.color1 = randomColor(random);
    return createRampTask("ramp", 0, rect, "", params);
}

ref_ptr<RenderTask> makeRadialGradient(Random& random, const Inputs&)
{
    const UTIL::Rect rect = randomRect(random);
    const V2f center = randomPoint(random);
    RadialGradientParams params;
    params.centerX = center.x;
    params.centerY = center.y;
    params.innerRadius = static_cast<float>(random.between(0, 20));
    params.outerRadius = static_cast<float>(random.between(0, 30));
    params.gradientParam = static_cast<float>(random.between(0, 4)) / 4;
    params.aspect = random.oneIn(2) ? 1 : static_cast<float>(random.between(0, 12)) / 4;
    params.color0 = awkwardColor(random);
    params.color1 = randomColor(random);
    params.limitToEllipse = random.oneIn(2);
    return createRadialGradientTask("radialgradient", 0, rect, "", params);
}

ref_ptr<RenderTask> makeDirectionalGradient(Random& random, const Inputs&)
{
    const UTIL::Rect rect = randomRect(random);
    DirectionalGradientParams params;
    params.point0 = randomPoint(random);
    params.point1 = randomPoint(random);
    params.color0 = awkwardColor(random);
    params.color1 = randomColor(random);
    for (int64_t i = random.between(0, 5); i > 0; --i)
        params.stops.push_back(
            {static_cast<float>(random.between(-1, 9)) / 8, randomColor(random)});
    return createDirectionalGradientTask("directionalgradient", 0, rect, "", params);
}

ref_ptr<RenderTask> makeSuperGradient(Random& random, const Inputs&)
{
    const UTIL::Rect rect = randomRect(random);
    SuperGradientParams params;
    params.rbfFlag = random.oneIn(2);
    params.rbfType = static_cast<UTIL::RBFType>(random.between(0, 5));
    params.rbfParameter = static_cast<uint8_t>(random.between(0, 255));
    for (int64_t i = random.between(0, 5); i > 0; --i)
    {
        const V2f place = randomPoint(random);
        params.points.push_back({place.x, place.y, randomColor(random)});
    }
    return createSuperGradientTask("supergradient", 0, rect, "", params);
}

ref_ptr<RenderTask> makeCheckerboard(Random& random, const Inputs&)
{
    const UTIL::Rect rect = randomRect(random);
    const Imath::Color4f color0 = awkwardColor(random);
    const Imath::Color4f color1 = randomColor(random);
    const V2f size = random.oneIn(2) ? V2f(4, 4) : randomPoint(random);
    return createCheckerboardTask("checkerboard", 0, rect, color0, color1, size);
}

ref_ptr<RenderTask> makeBars(Random& random, const Inputs&)
{
    const UTIL::Rect rect = randomRect(random);
    return createBarsTask("bars", 0, rect, random.oneIn(2));
}

ref_ptr<RenderTask> makeHueWheel(Random& random, const Inputs&)
{
    const UTIL::Rect rect = randomRect(random);
    const V2f center = randomPoint(random);
    HueWheelParams params;
    params.centerX = center.x;
    params.centerY = center.y;
    params.radius = static_cast<float>(random.between(0, 30));
    params.aspect = random.oneIn(2) ? 1 : static_cast<float>(random.between(0, 12)) / 4;
    params.value4 = randomValue(random);
    params.value5 = randomValue(random);
    params.value6 = randomValue(random);
    params.value7 = static_cast<float>(random.between(0, 500));
    return createHueWheelTask("huewheel", 0, rect, params);
}

}

void addProceduralOperations(std::vector<Operation>& table)
{
    table.push_back({"Empty", 0, [](Random& random, const Inputs&) {
                         return createEmptyTask("empty", 0, awkwardColor(random));
                     }});
    table.push_back({"Color", 0, makeColor});
    table.push_back({"Gradient", 0, makeGradient});
    table.push_back({"Ramp", 0, makeRamp});
    table.push_back({"RadialGradient", 0, makeRadialGradient});
    table.push_back({"DirectionalGradient", 0, makeDirectionalGradient});
    table.push_back({"SuperGradient", 0, makeSuperGradient});
    table.push_back({"Checkerboard", 0, makeCheckerboard});
    table.push_back({"Bars", 0, makeBars});
    table.push_back({"HueWheel", 0, makeHueWheel});
}

}
