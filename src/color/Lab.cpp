#include <EMULSION/Tone.h>

#include "private/CacheItems.h"
#include "private/Channels.h"
#include "private/KernelOp.h"
#include "QUILT/ColorTasks.h"

namespace QUILT
{

namespace
{

class LabOp final : public Private::KernelOp
{
public:
    explicit LabOp(bool toLab) : KernelOp(EMULSION::makeLabConvertOperation(toLab)), m_flag(toLab)
    {}

    std::string getName() const override { return "LabConvert"; }
    void computeCacheID(CacheIDStream& stream) override { Private::writeItems(stream, m_flag); }

    unsigned long computeInputChannels(unsigned long wantedAtOutput) override
    {
        return Channels::withWholeRGB(wantedAtOutput);
    }

private:
    const bool m_flag;
};

}

ref_ptr<RenderTask> createLabTask(const std::string& name, float time, bool toLab,
                                  ref_ptr<RenderTask> input)
{
    return Private::createInPlaceTask(new LabOp(toLab), name, input, time);
}

}
