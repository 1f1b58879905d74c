#include "FoldInPairs.h"
#include "private/InnerTask.h"
#include "QUILT/ColorTasks.h"
#include "QUILT/CompositeTasks.h"
#include "QUILT/ProceduralTasks.h"

// Operators of any number of images, as trees of operators of two.

namespace QUILT
{

namespace
{

using Tasks = std::vector<ref_ptr<RenderTask>>;

ref_ptr<RenderTask> createInvertTask(const std::string& name, float time,
                                     const ref_ptr<RenderTask>& input)
{
    Imath::Matrix44<float> minus(0.0f);
    for (int channel = 0; channel < 4; ++channel)
        minus[channel][channel] = -1.0f;
    return createColorTransformTask(name, time, minus, Imath::Color4<float>(1, 1, 1, 1), input);
}

ref_ptr<RenderTask> createProductTask(const std::string& name, float time, const Tasks& inputs)
{
    return Private::foldInPairs(
        inputs, [&](const ref_ptr<RenderTask>& a, const ref_ptr<RenderTask>& b, int number) {
            return createCompositeTask(name + ".combiner." + std::to_string(number), time,
                                       COMPOSITEOP_Multiply, false, true, false, 1.0f, a, b);
        });
}

// One minus the product of what each lets through, of two inputs or more.
ref_ptr<RenderTask> createScreenTask(const std::string& name, float time, const Tasks& inputs)
{
    Tasks inverted;
    for (size_t i = 0; i < inputs.size(); ++i)
    {
        inverted.push_back(Private::inner(
            createInvertTask(name + ".preinvert." + std::to_string(i), time, inputs[i])));
    }
    return createInvertTask(name, time,
                            Private::inner(createProductTask(name + ".mult", time, inverted)));
}

}

ref_ptr<RenderTask> createMultiCompositeTask(const std::string& name, float time, CompositeOp op,
                                             bool flagA, bool flagB, bool cleanupClamp,
                                             const std::vector<ref_ptr<RenderTask>>& inputs)
{
    if (inputs.empty())
        return createEmptyTask(name + ".emptyTask", time, Imath::Color4<float>(0, 0, 0, 0));
    if (inputs.size() == 1)
        return inputs[0];
    ref_ptr<RenderTask> task = Private::foldInPairs(
        Tasks(inputs.rbegin(), inputs.rend()),
        [&](const ref_ptr<RenderTask>& a, const ref_ptr<RenderTask>& b, int number) {
            return createCompositeTask(name + ".composite." + std::to_string(number), time, op,
                                       flagA, flagB, cleanupClamp, 1.0f, a, b);
        });
    if (!cleanupClamp)
        return task;
    return createCleanupClampTask(name + ".clamp", time, true, Private::inner(task));
}

ref_ptr<RenderTask> createMatteCombinerTask(const std::string& name, float time,
                                            const MatteCombinerOp& op,
                                            const std::vector<ref_ptr<RenderTask>>& inputs)
{
    if (inputs.empty())
        return nullptr;
    if (inputs.size() == 1)
        return inputs[0];
    switch (op)
    {
    case MATTECOMBINER_First:
        return inputs[0];
    case MATTECOMBINER_Screen:
        return createScreenTask(name, time, inputs);
    case MATTECOMBINER_Multiply:
        return createProductTask(name, time, inputs);
    }
    return nullptr;
}

}
