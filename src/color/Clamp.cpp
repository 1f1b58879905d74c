#include <EMULSION/Color.h>

#include "private/CacheItems.h"
#include "private/KernelOp.h"
#include "QUILT/ColorTasks.h"

namespace QUILT
{

namespace
{

using Color = Imath::Color4<float>;

class ClampOp final : public Private::KernelOp
{
public:
    ClampOp(const Color& min, const Color& max, bool clampMin, bool clampMax)
        : KernelOp(EMULSION::makeClampOperation(min, max, clampMin, clampMax)), m_min(min),
          m_max(max), m_clampMin(clampMin), m_clampMax(clampMax)
    {}

    std::string getName() const override { return "Clamp"; }

    void computeCacheID(CacheIDStream& stream) override
    {
        Private::writeItems(stream, m_clampMin, m_clampMax);
        if (m_clampMin)
            Private::writeItems(stream, m_min);
        if (m_clampMax)
            Private::writeItems(stream, m_max);
    }

private:
    const Color m_min, m_max;
    const bool m_clampMin, m_clampMax;
};

}

ref_ptr<RenderTask> createClampTask(const std::string& name, float time, const Color& min,
                                    const Color& max, bool clampMin, bool clampMax,
                                    ref_ptr<RenderTask> input)
{
    if (!clampMin && !clampMax)
        return input;
    return Private::createInPlaceTask(new ClampOp(min, max, clampMin, clampMax), name, input, time);
}

}
