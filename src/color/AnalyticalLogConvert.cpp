#include <EMULSION/Tone.h>

#include "private/CacheItems.h"
#include "private/KernelOp.h"
#include "QUILT/ColorTasks.h"

namespace QUILT
{

namespace
{

using Color = Imath::Color4<float>;

class AnalyticalLogConvertOp final : public Private::KernelOp
{
public:
    AnalyticalLogConvertOp(const Color& black, const Color& white, const Color& gamma, bool toLog,
                           bool tenBit)
        : KernelOp(EMULSION::makeLogConvertOperation(black, white, gamma, toLog, tenBit)),
          m_paramA(black), m_paramB(white), m_paramC(gamma), m_flagA(toLog), m_flagB(tenBit)
    {}

    std::string getName() const override { return "LogConvert"; }

    void computeCacheID(CacheIDStream& stream) override
    {
        Private::writeItems(stream, m_paramA, m_paramB, m_paramC, m_flagA, m_flagB);
    }

private:
    const Color m_paramA, m_paramB, m_paramC; // black, white, gamma
    const bool m_flagA, m_flagB;              // to the logarithm, codes of ten bits
};

}

ref_ptr<RenderTask> createAnalyticalLogConvertTask(const std::string& name, float time,
                                                   const Color& black, const Color& white,
                                                   const Color& gamma, bool toLog, bool tenBit,
                                                   ref_ptr<RenderTask> input)
{
    return Private::createInPlaceTask(
        new AnalyticalLogConvertOp(black, white, gamma, toLog, tenBit), name, input, time);
}

}
