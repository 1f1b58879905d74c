#include <EMULSION/Channels.h>
#include <EMULSION/Composite.h>

#include "private/CacheItems.h"
#include "private/InputBackground.h"
#include "QUILT/CompositeTasks.h"

namespace QUILT
{

namespace
{

class MixTask final : public RenderTask
{
public:
    MixTask(const std::string& name, float time, float mix, const ref_ptr<RenderTask>& first,
            const ref_ptr<RenderTask>& second)
        : RenderTask(name, time), m_mix(mix), m_first(registerInputTask(first)),
          m_second(registerInputTask(second))
    {}

    std::string getType() const override { return "Mix"; }
    void computeCacheID(CacheIDStream& stream) override { Private::writeItems(stream, m_mix); }

    unsigned long computeOutputChannels() override
    {
        return EMULSION::ValidateChannelMask(getDefinedInputChannels(m_first) |
                                             getDefinedInputChannels(m_second));
    }

    UTIL::Region computeOutputDataRegion() override
    {
        UTIL::Region region = getDefinedInputDataRegion(m_first);
        region.add(getDefinedInputDataRegion(m_second));
        return region;
    }

    Imath::Color4<float> computeBackgroundColor() override
    {
        return EMULSION::Mix(Private::definedBackground(*this, m_first),
                             Private::definedBackground(*this, m_second), m_mix);
    }

    void makeInputFormatRequests() override
    {
        const unsigned long wanted = getRequiredOutputChannels();
        addInputRequest(m_first, wanted & getDefinedInputChannels(m_first));
        addInputRequest(m_second, wanted & getDefinedInputChannels(m_second));
    }

    void computeRequiredInputRectangles(const UTIL::Rect& outputRect,
                                        std::vector<UTIL::Rect>& inputRects) override
    {
        inputRects[m_first] = outputRect;
        inputRects[m_second] = outputRect;
    }

    using RenderTask::renderRect;

    void renderRect(const EMULSION::Image* output,
                    const std::vector<const EMULSION::Image*>& inputs) override
    {
        EMULSION::Mix(output, inputs[m_first], inputs[m_second], m_mix,
                      Private::definedBackground(*this, m_first),
                      Private::definedBackground(*this, m_second));
    }

private:
    const float m_mix;
    const size_t m_first, m_second;
};

}

ref_ptr<RenderTask> createMixTask(const std::string& name, float time, float mix,
                                  ref_ptr<RenderTask> first, ref_ptr<RenderTask> second)
{
    if (!(mix > 0.0f)) // NaN, too
        return first;
    if (mix >= 1.0f)
        return second;
    return new MixTask(name, time, mix, first, second);
}

}
