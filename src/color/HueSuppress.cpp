#include <EMULSION/Curves.h>

#include "private/CacheItems.h"
#include "private/Channels.h"
#include "private/KernelOp.h"
#include "QUILT/CurveTasks.h"

namespace QUILT
{

namespace
{

class HueSuppressTask final : public Private::KernelOp
{
public:
    HueSuppressTask(const Imath::Color3<float>& color, float amount, float width)
        : KernelOp(EMULSION::makeHueSuppressOperation(color, amount, width)), m_color(color),
          m_amount(amount), m_width(width)
    {}

    std::string getName() const override { return "HueSuppress"; }

    void computeCacheID(CacheIDStream& stream) override
    {
        Private::writeItems(stream, m_width, m_amount);
        Private::writeComponents(stream, m_color);
    }

    unsigned long computeOutputChannels(unsigned long definedAtInput) override
    {
        return Channels::withWholeRGB(definedAtInput);
    }

    unsigned long computeInputChannels(unsigned long wantedAtOutput) override
    {
        return Channels::withWholeRGB(wantedAtOutput);
    }

private:
    const Imath::Color3<float> m_color;
    const float m_amount, m_width;
};

}

ref_ptr<RenderTask> createHueSuppressTask(const std::string& name, float time,
                                          const Imath::Color3<float>& color, float amount,
                                          float width, ref_ptr<RenderTask> input)
{
    return Private::createInPlaceTask(new HueSuppressTask(color, amount, width), name, input, time);
}

}
