#include <EMULSION/Color.h>

#include "private/CacheItems.h"
#include "private/KernelOp.h"
#include "QUILT/ColorTasks.h"

namespace QUILT
{

namespace
{

class NContrastBoostOp final : public Private::KernelOp
{
public:
    NContrastBoostOp(float amount, bool boostAlpha)
        : KernelOp(EMULSION::makeNContrastBoostOperation(amount, boostAlpha)), m_amount(amount),
          m_boostAlpha(boostAlpha)
    {}

    std::string getName() const override { return "NContrastBoost"; }

    void computeCacheID(CacheIDStream& stream) override
    {
        Private::writeItems(stream, m_amount, m_boostAlpha);
    }

private:
    const float m_amount;
    const bool m_boostAlpha;
};

}

ref_ptr<RenderTask> createNContrastBoostTask(const std::string& name, float time, float amount,
                                             bool boostAlpha, ref_ptr<RenderTask> input)
{
    return Private::createInPlaceTask(new NContrastBoostOp(amount, boostAlpha), name, input, time);
}

}
