#include <cmath>

#include <QUILT/ColorTasks.h>
#include <QUILT/CompositeTasks.h>

#include "GraphTasks.h"
#include "OperationTable.h"
#include "support/Tasks.h"

namespace QUILT::Test
{

namespace
{

// Only finite values, and no negative zeros among them.
class TameOperation final : public EMULSION::PixelOperation
{
public:
    const char* getName() const override { return "Tame"; }
    uint64_t getRequiredChannels(uint64_t wanted) const override { return wanted; }

    void transform(float* const planes[4], size_t count, uint64_t wanted) const override
    {
        for (size_t channel = 0; channel < 4; ++channel)
            for (size_t i = 0; (wanted >> channel & 1) && i < count; ++i)
                planes[channel][i] =
                    std::isfinite(planes[channel][i]) ? planes[channel][i] + 0.0f : 0.0f;
    }
};

ref_ptr<RenderTask> tame(const ref_ptr<RenderTask>& input)
{
    static const auto s_operation = std::make_shared<const TameOperation>();
    return Private::createInPlaceTask(new KernelOp(s_operation, "", true), "tame", input, 0);
}

// Sums and products of a few such values are finite, too.
ref_ptr<RenderTask> bounded(const ref_ptr<RenderTask>& input)
{
    return createClampTask("bounded", 0, {-8, -8, -8, -8}, {8, 8, 8, 8}, true, true, tame(input));
}

template <CompositeOp Op>
ref_ptr<RenderTask> makeComposite(Random& random, const Inputs& inputs)
{
    const bool flagA = random.oneIn(2), flagB = random.oneIn(2), cleanup = random.oneIn(4);
    const float mix = random.oneIn(3) ? 0.25f : 1.0f;
    return createCompositeTask("composite", 0, Op, flagA, flagB, cleanup, mix, inputs[0],
                               inputs[1]);
}

// An operator that copies or clears where an input has no data does in that tile what its kernel
// does, but for values that are not finite and the sign of zero.
template <CompositeOp Op>
ref_ptr<RenderTask> makeShortComposite(Random& random, const Inputs& inputs)
{
    return tame(makeComposite<Op>(random, {tame(inputs[0]), tame(inputs[1])}));
}

// The backgrounds are zero; that of the matte is lifted to every kind there is. Its NaN would make
// NaN of nothing where the others have no data.
ref_ptr<RenderTask> makeMatteMix(Random& random, const Inputs& inputs)
{
    float lift[20] = {1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 1};
    lift[19] = static_cast<float>(random.between(0, 8)) / 4;
    const auto mix = static_cast<float>(random.between(-4, 4)) / 4;
    return createMatteMixTask("mattemix", 0, mix, inputs[0], inputs[1],
                              createColorTransformTask("matte", 0, lift, tame(inputs[2])));
}

ref_ptr<RenderTask> makeAddMix(Random& random, const Inputs& inputs)
{
    std::vector<float> points[2];
    for (std::vector<float>& curve : points)
    {
        const int64_t count = random.between(0, 3);
        for (int64_t i = 0; i < count; ++i)
            curve.insert(curve.end(), {static_cast<float>(i) / 2, randomValue(random)});
    }
    return createAddMixTask("addmix", 0, points[0], points[1], inputs[0], inputs[1],
                            random.oneIn(2));
}

// Not so large that operators one behind the other make infinities on the way.
ref_ptr<RenderTask> mild(const ref_ptr<RenderTask>& input)
{
    const Imath::Color4f most(1e4f, 1e4f, 1e4f, 1e4f);
    return createClampTask("mild", 0, most * -1.0f, most, true, true, tame(input));
}

// Of all its inputs, without some of them, or with some of them several times.
ref_ptr<RenderTask> makeMultiComposite(Random& random, const Inputs& inputs)
{
    constexpr CompositeOp operators[] = {COMPOSITEOP_Over, COMPOSITEOP_Screen, COMPOSITEOP_Max,
                                         COMPOSITEOP_In};
    const CompositeOp op = random.pick(operators);
    const bool flagA = random.oneIn(2), flagB = random.oneIn(2), cleanup = random.oneIn(4);
    Inputs list;
    for (int64_t count = random.between(0, 9); count > 0; --count)
        list.push_back(mild(inputs[static_cast<size_t>(random.between(0, 2))]));
    return tame(createMultiCompositeTask("multi", 0, op, flagA, flagB, cleanup, list));
}

ref_ptr<RenderTask> makeMatteCombiner(Random& random, const Inputs& inputs)
{
    const auto op = static_cast<MatteCombinerOp>(random.between(0, 2));
    return tame(createMatteCombinerTask("mattes", 0, op,
                                        {mild(inputs[0]), mild(inputs[1]), mild(inputs[2])}));
}

}

void addCompOperations(std::vector<Operation>& table)
{
    table.push_back({"Copy", 1, [](Random&, const Inputs& inputs) {
                         return createCopyTask("copy", 0, inputs[0]);
                     }});
    table.push_back({"Mix", 2, [](Random& random, const Inputs& inputs) {
                         const auto amount = static_cast<float>(random.between(0, 8)) / 8;
                         return createMixTask("mix", 0, amount, inputs[0], inputs[1]);
                     }});
    table.push_back({"PremultiplyOwnAlpha", 1, [](Random&, const Inputs& inputs) {
                         return createPremultiplyTask("own", 0, inputs[0], nullptr);
                     }});
    table.push_back({"UnpremultiplyOwnAlpha", 1, [](Random&, const Inputs& inputs) {
                         return createUnpremultiplyTask("own", 0, inputs[0], inputs[0]);
                     }});
    // There is no pixel where only the other image has data.
    table.push_back({"PremultiplyOtherAlpha", 2,
                     [](Random&, const Inputs& inputs) {
                         return createPremultiplyTask("other", 0, inputs[0], inputs[1]);
                     },
                     false, true});
    table.push_back({"UnpremultiplyOtherAlpha", 2,
                     [](Random&, const Inputs& inputs) {
                         return createUnpremultiplyTask("other", 0, inputs[0], inputs[1]);
                     },
                     false, true});
    table.push_back({"MatteMix", 3, makeMatteMix, true});
    table.push_back({"AddMix", 2, makeAddMix, true});
    table.push_back({"ClearNansAndInfs", 1,
                     [](Random& random, const Inputs& inputs) {
                         return createClearNansAndInfsTask("clear", 0, inputs[0], random.oneIn(2));
                     },
                     false, true});
    table.push_back({"MultiComposite", 3, makeMultiComposite});
    table.push_back({"MatteCombiner", 3, makeMatteCombiner});
    table.insert(table.end(), {
                                  {"Add", 2, makeShortComposite<COMPOSITEOP_Add>},
                                  {"Atop", 2, makeShortComposite<COMPOSITEOP_Atop>},
                                  {"Average", 2, makeComposite<COMPOSITEOP_Average>},
                                  {"Difference", 2, makeComposite<COMPOSITEOP_Difference>},
                                  {"Divide", 2, makeShortComposite<COMPOSITEOP_Divide>},
                                  {"Exclusion", 2, makeShortComposite<COMPOSITEOP_Exclusion>},
                                  {"SubtractAB", 2, makeComposite<COMPOSITEOP_SubtractAB>},
                                  {"Geometric", 2, makeComposite<COMPOSITEOP_Geometric>},
                                  {"Hypotenuse", 2, makeComposite<COMPOSITEOP_Hypotenuse>},
                                  {"Max", 2, makeComposite<COMPOSITEOP_Max>},
                                  {"OverPlain", 2, makeShortComposite<COMPOSITEOP_OverPlain>},
                                  {"Min", 2, makeComposite<COMPOSITEOP_Min>},
                                  {"Multiply", 2, makeShortComposite<COMPOSITEOP_Multiply>},
                                  {"In", 2, makeShortComposite<COMPOSITEOP_In>},
                                  {"Out", 2, makeShortComposite<COMPOSITEOP_Out>},
                                  {"Over", 2, makeShortComposite<COMPOSITEOP_Over>},
                                  {"Under", 2, makeShortComposite<COMPOSITEOP_Under>},
                                  {"Screen", 2, makeComposite<COMPOSITEOP_Screen>},
                                  {"SubtractBA", 2, makeComposite<COMPOSITEOP_SubtractBA>},
                              });
    table.push_back(
        {"ZComposite", 6,
         [](Random& random, const Inputs& inputs) {
             const auto depthChannel = static_cast<unsigned long>(random.between(0, 15));
             return tame(createZCompositeTask(
                 "depths", 0, {bounded(inputs[0]), bounded(inputs[2]), bounded(inputs[4])},
                 {inputs[1], inputs[3], inputs[5]}, depthChannel));
         },
         true});
}

}
