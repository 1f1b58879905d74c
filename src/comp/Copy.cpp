#include <EMULSION/Plumbing.h>

#include "private/Require.h"
#include "QUILT/CompositeTasks.h"

namespace QUILT
{

namespace
{

class CopyTask final : public RenderTask
{
public:
    using RenderTask::RenderTask;

    std::string getType() const override { return "Copy"; }
    void computeCacheID(CacheIDStream&) override {}
    unsigned long computeOutputChannels() override { return getDefinedInputChannels(0); }
    UTIL::Region computeOutputDataRegion() override { return getDefinedInputDataRegion(0); }
    void makeInputFormatRequests() override { addInputRequest(0, getRequiredOutputChannels()); }

    void computeRequiredInputRectangles(const UTIL::Rect& outputRect,
                                        std::vector<UTIL::Rect>& inputRects) override
    {
        inputRects[0] = outputRect;
    }

    using RenderTask::renderRect;

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
