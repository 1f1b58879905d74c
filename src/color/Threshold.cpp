#include <EMULSION/Color.h>

#include "private/CacheItems.h"
#include "private/KernelOp.h"
#include "QUILT/ColorTasks.h"

namespace QUILT
{

namespace
{

using Color = Imath::Color4<float>;

class ThresholdOp final : public Private::KernelOp
{
public:
    ThresholdOp(const Color& threshold, bool replaceLow, const Color& low, bool replaceHigh,
                const Color& high)
        : KernelOp(EMULSION::makeThresholdOperation(threshold, replaceLow, low, replaceHigh, high)),
          m_threshold(threshold), m_replaceLow(replaceLow), m_low(low), m_replaceHigh(replaceHigh),
          m_high(high)
    {}

    std::string getName() const override { return "Threshold"; }

    void computeCacheID(CacheIDStream& stream) override
    {
        Private::writeItems(stream, m_threshold, m_replaceLow, m_replaceHigh);
        if (m_replaceLow)
            Private::writeItems(stream, m_low);
        if (m_replaceHigh)
            Private::writeItems(stream, m_high);
    }

private:
    const Color m_threshold;
    const bool m_replaceLow;
    const Color m_low;
    const bool m_replaceHigh;
    const Color m_high;
};

}

ref_ptr<RenderTask> createThresholdTask(const std::string& name, float time, const Color& threshold,
                                        bool replaceLow, const Color& low, bool replaceHigh,
                                        const Color& high, ref_ptr<RenderTask> input)
{
    return Private::createInPlaceTask(
        new ThresholdOp(threshold, replaceLow, low, replaceHigh, high), name, input, time);
}

}
