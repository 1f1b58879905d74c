#include <EMULSION/Color.h>

#include "private/CacheItems.h"
#include "private/Channels.h"
#include "private/KernelOp.h"
#include "QUILT/ColorTasks.h"

namespace QUILT
{

namespace
{

// Makes alpha of red, green and blue: reads them whatever is asked of it, and always has an alpha
// to give.
class RGBToAlphaOp : public Private::KernelOp
{
public:
    RGBToAlphaOp(const char* name, EMULSION::PixelOperationPtr operation)
        : KernelOp(std::move(operation)), m_name(name)
    {}

    std::string getName() const override { return m_name; }
    void computeCacheID(CacheIDStream&) override {}

    unsigned long computeOutputChannels(unsigned long definedAtInput) override
    {
        return Channels::withAlpha(definedAtInput);
    }

    unsigned long computeInputChannels(unsigned long wantedAtOutput) override
    {
        return Channels::withRGB(wantedAtOutput);
    }

private:
    const char* const m_name;
};

class MinRGBToAlphaOp final : public RGBToAlphaOp
{
public:
    MinRGBToAlphaOp() : RGBToAlphaOp("MinRGBToAlpha", EMULSION::makeMinRGBToAlphaOperation()) {}
};

class MaxRGBToAlphaOp final : public RGBToAlphaOp
{
public:
    MaxRGBToAlphaOp() : RGBToAlphaOp("MaxRGBToAlpha", EMULSION::makeMaxRGBToAlphaOperation()) {}
};

class ScreenRGBToAlphaOp final : public RGBToAlphaOp
{
public:
    explicit ScreenRGBToAlphaOp(unsigned long channel)
        : RGBToAlphaOp("ScreenRGBToAlpha", EMULSION::makeScreenRGBToAlphaOperation(channel)),
          m_channel(channel)
    {}

    void computeCacheID(CacheIDStream& stream) override { Private::writeItems(stream, m_channel); }

private:
    const unsigned long m_channel;
};

EMULSION::PixelOperationPtr componentToAlpha(HSVComponent component)
{
    switch (component)
    {
    case HSVComponentHue:
        return EMULSION::makeHueToAlphaOperation();
    case HSVComponentSaturation:
        return EMULSION::makeSaturationToAlphaOperation();
    case HSVComponentValue:
        return EMULSION::makeValueToAlphaOperation();
    }
    return EMULSION::makeCopyOperation();
}

class HSVComponentToAlphaOp final : public RGBToAlphaOp
{
public:
    explicit HSVComponentToAlphaOp(HSVComponent component)
        : RGBToAlphaOp("HSVComponentToAlpha", componentToAlpha(component)), m_component(component)
    {}

    void computeCacheID(CacheIDStream& stream) override
    {
        Private::writeItems(stream, m_component);
    }

private:
    const HSVComponent m_component;
};

}

ref_ptr<RenderTask> createMinRGBToAlphaTask(const std::string& name, float time,
                                            ref_ptr<RenderTask> input)
{
    return Private::createInPlaceTask(new MinRGBToAlphaOp, name, input, time);
}

ref_ptr<RenderTask> createMaxRGBToAlphaTask(const std::string& name, float time,
                                            ref_ptr<RenderTask> input)
{
    return Private::createInPlaceTask(new MaxRGBToAlphaOp, name, input, time);
}

ref_ptr<RenderTask> createScreenRGBToAlphaTask(const std::string& name, float time,
                                               unsigned long channel, ref_ptr<RenderTask> input)
{
    return Private::createInPlaceTask(new ScreenRGBToAlphaOp(channel), name, input, time);
}

ref_ptr<RenderTask> createHSVComponentToAlphaTask(const std::string& name, float time,
                                                  HSVComponent component, ref_ptr<RenderTask> input)
{
    return Private::createInPlaceTask(new HSVComponentToAlphaOp(component), name, input, time);
}

}
