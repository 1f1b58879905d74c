#include <EMULSION/Plumbing.h>

#include "private/FirstInputTask.h"
#include "private/Require.h"
#include "QUILT/CompositeTasks.h"

namespace QUILT
{

namespace
{

class CopyTask final : public Private::FirstInputTask
{
public:
    using FirstInputTask::FirstInputTask;

    std::string getType() const override { return "Copy"; }

    void renderRect(const EMULSION::Image* output,
                    const std::vector<const EMULSION::Image*>& inputs) override
    {
        EMULSION::Copy(output, inputs[0]);
    }
};

}

ref_ptr<RenderTask> createCopyTask(const std::string& name, float time, ref_ptr<RenderTask> input)
{
    ref_ptr<RenderTask> task(new CopyTask(name, time));
    Private::require(*task, bool(input), "Copy requires a connected input.");
    task->registerInputTask(input);
    return task;
}

}
