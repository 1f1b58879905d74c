#include <EMULSION/Color.h>

#include "private/KernelOp.h"
#include "QUILT/ColorTasks.h"

namespace QUILT
{

namespace
{

class FringeOp final : public Private::KernelOp
{
public:
    FringeOp() : KernelOp(EMULSION::makeFringeOperation()) {}

    std::string getName() const override { return "Fringe"; }
    void computeCacheID(CacheIDStream&) override {}
};

}

ref_ptr<RenderTask> createFringeTask(const std::string& name, float time, ref_ptr<RenderTask> input)
{
    return Private::createInPlaceTask(new FringeOp, name, input, time);
}

}
