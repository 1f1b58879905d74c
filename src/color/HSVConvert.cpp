#include <EMULSION/Color.h>

#include "private/CacheItems.h"
#include "private/Channels.h"
#include "private/KernelOp.h"
#include "QUILT/ColorTasks.h"

namespace QUILT
{

namespace
{

class HSVConvertOp final : public Private::KernelOp
{
public:
    explicit HSVConvertOp(bool toHSV)
        : KernelOp(EMULSION::makeHSVConvertOperation(toHSV)), m_toHSV(toHSV)
    {}

    std::string getName() const override { return "HSVConvert"; }
    void computeCacheID(CacheIDStream& stream) override { Private::writeItems(stream, m_toHSV); }

    unsigned long computeOutputChannels(unsigned long definedAtInput) override
    {
        return Channels::withRGB(definedAtInput);
    }

    unsigned long computeInputChannels(unsigned long wantedAtOutput) override
    {
        return Channels::withRGB(wantedAtOutput);
    }

private:
    const bool m_toHSV;
};

}

ref_ptr<RenderTask> createHSVConvertTask(const std::string& name, float time, bool toHSV,
                                         ref_ptr<RenderTask> input)
{
    return Private::createInPlaceTask(new HSVConvertOp(toHSV), name, input, time);
}

}
