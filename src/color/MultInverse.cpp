#include <EMULSION/Color.h>

#include "private/KernelOp.h"
#include "QUILT/ColorTasks.h"

namespace QUILT
{

namespace
{

class MultInverseOp final : public Private::KernelOp
{
public:
    MultInverseOp() : KernelOp(EMULSION::makeMultInverseOperation()) {}

    std::string getName() const override { return "MultInverseOp"; }
    void computeCacheID(CacheIDStream&) override {}
};

}

ref_ptr<RenderTask> createMultInverseTask(const std::string& name, float time,
                                          ref_ptr<RenderTask> input)
{
    return Private::createInPlaceTask(new MultInverseOp, name, input, time);
}

}
