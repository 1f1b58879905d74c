#include <EMULSION/Plumbing.h>

#include "private/KernelOp.h"
#include "QUILT/ColorTasks.h"

namespace QUILT
{

namespace
{

class CopyOp final : public Private::KernelOp
{
public:
    CopyOp() : KernelOp(EMULSION::makeCopyOperation()) {}

    std::string getName() const override { return "Copy"; }
    void computeCacheID(CacheIDStream&) override {}

    // Outside of a chain nothing has to be taken apart into channels.
    void apply(const EMULSION::Image* output, const EMULSION::Image* input) override
    {
        EMULSION::Copy(output, input);
    }
};

}

ref_ptr<RenderTask> createInPlaceCopyTask(const std::string& name, float time,
                                          ref_ptr<RenderTask> input)
{
    return Private::createInPlaceTask(new CopyOp, name, input, time);
}

}
