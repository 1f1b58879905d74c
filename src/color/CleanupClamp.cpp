#include <EMULSION/Color.h>

#include "private/CacheItems.h"
#include "private/KernelOp.h"
#include "QUILT/ColorTasks.h"

namespace QUILT
{

namespace
{

class CleanupClampOp final : public Private::KernelOp
{
public:
    explicit CleanupClampOp(bool keepNegative)
        : KernelOp(EMULSION::makeCleanupClampOperation(keepNegative)), m_flag(keepNegative)
    {}

    std::string getName() const override { return "CleanUpClamp"; }
    void computeCacheID(CacheIDStream& stream) override { Private::writeItems(stream, m_flag); }

private:
    const bool m_flag;
};

}

ref_ptr<RenderTask> createCleanupClampTask(const std::string& name, float time, bool keepNegative,
                                           ref_ptr<RenderTask> input)
{
    return Private::createInPlaceTask(new CleanupClampOp(keepNegative), name, input, time);
}

}
