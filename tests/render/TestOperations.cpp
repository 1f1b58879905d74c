#include <sstream>

#include <EMULSION/ColorMatrix.h>

#include "GraphTasks.h"
#include "OperationTable.h"
#include "support/Tasks.h"

// The rows of the tests' own tasks.

namespace QUILT::Test
{

namespace
{

EMULSION::ExtendMethod randomExtend(Random& random)
{
    return random.oneIn(2) ? EMULSION::ExtendMirror : EMULSION::ExtendClamp;
}

ref_ptr<RenderTask> makePattern(Random& random, const Inputs&)
{
    PatternParams params;
    params.region = randomRegion(random);
    params.channels = randomChannels(random);
    params.background = awkwardColor(random);
    params.seed = static_cast<int>(random.between(0, 1000));
    params.awkward = random.oneIn(3);
    return new PatternTask("pattern", params);
}

ref_ptr<RenderTask> makeZeroPattern(Random& random, const Inputs&)
{
    PatternParams params;
    params.region = randomRegion(random);
    params.channels = randomChannels(random);
    params.seed = static_cast<int>(random.between(0, 1000));
    params.awkward = random.oneIn(3);
    return new PatternTask("zeropattern", params);
}

// An image of one pixel, which is all edge.
ref_ptr<RenderTask> makePixel(Random& random, const Inputs&)
{
    const UTIL::Rect rect = randomRect(random);
    return new PatternTask("pixel", {UTIL::Rect(rect.x0, rect.y0, rect.x0 + 1, rect.y0 + 1),
                                     randomChannels(random), randomColor(random), 3});
}

int64_t randomReach(Random& random)
{
    return random.oneIn(8) ? random.between(30, 150) : random.between(0, 12);
}

ref_ptr<RenderTask> makeReach(Random& random, const Inputs& inputs)
{
    return new ReachTask("reach", {randomReach(random)}, inputs[0]);
}

ref_ptr<RenderTask> makeExtendedReach(Random& random, const Inputs& inputs)
{
    ReachParams params;
    params.reach = randomReach(random);
    params.extend = randomExtend(random);
    params.withOverscan = random.oneIn(2);
    // Beside the data, upon a part of it, or around it.
    params.displayRect = randomRect(random);
    return new ReachTask("reach", params, inputs[0]);
}

ShiftParams randomShift(Random& random)
{
    ShiftParams params;
    params.region = randomRegion(random);
    params.channels = randomChannels(random);
    params.background = awkwardColor(random);
    const int64_t farthest = random.oneIn(3) ? int64_t(1) << random.between(8, 40) : 16;
    params.dx = random.between(0, 2 * farthest) - farthest;
    params.dy = random.between(0, 2 * farthest) - farthest;
    return params;
}

ref_ptr<RenderTask> makeShift(Random& random, const Inputs& inputs)
{
    return new ShiftTask("shift", randomShift(random), inputs[0]);
}

ref_ptr<RenderTask> makeExtendedShift(Random& random, const Inputs& inputs)
{
    ShiftParams params = randomShift(random);
    params.extend = randomExtend(random);
    params.withOverscan = random.oneIn(2);
    params.displayRect = randomRect(random);
    return new ShiftTask("shift", params, inputs[0]);
}

ref_ptr<RenderTask> makeSum(Random& random, const Inputs& inputs)
{
    const int64_t dx = random.between(0, 20);
    return new SumTask("sum", dx, random.between(0, 20) - 10, inputs[0], inputs[1]);
}

ref_ptr<RenderTask> makeOpposite(Random& random, const Inputs& inputs)
{
    OppositeParams params;
    params.region = randomRegion(random);
    params.frame = randomRect(random);
    params.wrap = random.oneIn(2);
    params.background = awkwardColor(random);
    return new OppositeTask("opposite", params, inputs[0]);
}

ref_ptr<RenderTask> makeLateLocking(Random&, const Inputs& inputs)
{
    return new LateLockingTask("latelocking", inputs[0]);
}

ref_ptr<RenderTask> makeAffine(Random& random, const Inputs& inputs)
{
    const float factor = randomValue(random);
    return affine("affine", factor, randomValue(random), inputs[0]);
}

std::string textOf(const auto&... items)
{
    std::ostringstream text;
    text.precision(9);
    ((text << items << ' '), ...);
    return text.str();
}

// A row of zeros loses its channel, any other makes it. As a step of a program more often than not.
ref_ptr<RenderTask> makeColorMatrix(Random& random, const Inputs& inputs)
{
    float matrix[20] = {};
    std::string text;
    unsigned long made = 0, lost = 0;
    for (unsigned long row = 0; row < 4; ++row)
    {
        (random.oneIn(5) ? lost : made) |= 1ul << row;
        for (unsigned long column = 0; column < 5; ++column)
        {
            if ((made >> row & 1) != 0 && random.oneIn(2))
                matrix[row * 5 + column] = randomValue(random);
            text += textOf(matrix[row * 5 + column]);
        }
    }
    const ref_ptr<Private::InPlaceOp> op(new KernelOp(EMULSION::makeColorMatrixOperation(matrix),
                                                      textOf(text, lost), !random.oneIn(4), made,
                                                      lost));
    return Private::createInPlaceTask(op, "matrix", inputs[0], 0);
}

}

void addTestOperations(std::vector<Operation>& table)
{
    table.insert(table.end(), {
                                  {"Pattern", 0, makePattern},
                                  {"ZeroPattern", 0, makeZeroPattern},
                                  {"Pixel", 0, makePixel},
                                  {"Reach", 1, makeReach},
                                  {"ExtendedReach", 1, makeExtendedReach, false, true},
                                  {"Shift", 1, makeShift},
                                  {"ExtendedShift", 1, makeExtendedShift, false, true},
                                  {"Sum", 2, makeSum},
                                  {"Opposite", 1, makeOpposite},
                                  {"LateLocking", 1, makeLateLocking},
                                  {"Affine", 1, makeAffine},
                                  {"ColorMatrix", 1, makeColorMatrix},
                              });
}

}
