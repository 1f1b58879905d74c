#include "BaseCompositeTask.h"
#include "private/InnerTask.h"
#include "QUILT/ColorTasks.h"
#include "QUILT/CompositeTasks.h"
#include "QUILT/Exceptions.h"

namespace QUILT
{

namespace
{

ref_ptr<RenderTask> makeOperator(const Private::Composite& composite)
{
    for (const auto make : {Private::makeAlphaComposite, Private::makeArithmeticComposite,
                            Private::makeExtremeComposite})
    {
        if (ref_ptr<RenderTask> task = make(composite))
            return task;
    }
    throw RenderTaskRenderingException(composite.name, "createCompositeTask",
                                       "Couldn't create a composite task of the requested type.",
                                       -1);
}

}

ref_ptr<RenderTask> createCompositeTask(const std::string& name, float time, CompositeOp op,
                                        bool flagA, bool flagB, bool cleanupClamp, float mix,
                                        ref_ptr<RenderTask> a, ref_ptr<RenderTask> b)
{
    ref_ptr<RenderTask> task = makeOperator({name, time, op, flagA, flagB, a, b});
    if (cleanupClamp)
        task = createCleanupClampTask(name + ".clamp", time, true, Private::inner(task));
    if (mix >= 1.0f)
        return task;
    return createMixTask(name + ".Mix", time, mix, b, Private::inner(task));
}

}
