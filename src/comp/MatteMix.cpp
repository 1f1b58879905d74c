#include <cmath>

#include <EMULSION/Channels.h>
#include <EMULSION/Composite.h>

#include "private/CacheItems.h"
#include "private/InputBackground.h"
#include "QUILT/CompositeTasks.h"

namespace QUILT
{

namespace
{

class MatteMixTask final : public RenderTask
{
public:
    MatteMixTask(const std::string& name, float time, float mix, const ref_ptr<RenderTask>& first,
                 const ref_ptr<RenderTask>& second, const ref_ptr<RenderTask>& matte)
        : RenderTask(name, time), m_mix(mix), m_first(registerInputTask(first)),
          m_second(registerInputTask(second)), m_matte(registerInputTask(matte))
    {}

    std::string getType() const override { return "MatteMix"; }
    void computeCacheID(CacheIDStream& stream) override { Private::writeItems(stream, m_mix); }

    unsigned long computeOutputChannels() override
    {
        return EMULSION::ValidateChannelMask(getDefinedInputChannels(m_first) |
                                             getDefinedInputChannels(m_second));
    }

    UTIL::Region computeOutputDataRegion() override
    {
        UTIL::Region first = getDefinedInputDataRegion(m_first);
        UTIL::Region second = getDefinedInputDataRegion(m_second);
        if (outsideMatte() == Outside::First)
            second = second.intersected(getDefinedInputDataRegion(m_matte));
        else if (outsideMatte() == Outside::Second)
            first = first.intersected(getDefinedInputDataRegion(m_matte));
        first.add(second);
        return first;
    }

    Imath::Color4<float> computeBackgroundColor() override
    {
        return EMULSION::MatteMix(Private::definedBackground(*this, m_first),
                                  Private::definedBackground(*this, m_second),
                                  getInputBackgroundColor(m_matte), m_mix);
    }

    void makeInputFormatRequests() override
    {
        const unsigned long wanted = getRequiredOutputChannels();
        addInputRequest(m_first, wanted & getDefinedInputChannels(m_first));
        addInputRequest(m_second, wanted & getDefinedInputChannels(m_second));
        addInputRequest(m_matte, EMULSION::ChannelAlpha);
    }

    // Of what has no weight outside the matte's data, nothing is asked for there.
    void computeRequiredInputRectangles(const UTIL::Rect& outputRect,
                                        std::vector<UTIL::Rect>& inputRects) override
    {
        const UTIL::Rect withinMatte =
            outputRect.intersect(getDefinedInputDataRegion(m_matte).getBounds());
        inputRects[m_first] = outsideMatte() == Outside::Second ? withinMatte : outputRect;
        inputRects[m_second] = outsideMatte() == Outside::First ? withinMatte : outputRect;
        inputRects[m_matte] = outputRect;
    }

    using RenderTask::renderRect;

    void renderRect(const EMULSION::Image* output,
                    const std::vector<const EMULSION::Image*>& inputs) override
    {
        EMULSION::MatteMix(output, inputs[m_first], inputs[m_second], inputs[m_matte], m_mix,
                           Private::definedBackground(*this, m_first),
                           Private::definedBackground(*this, m_second),
                           getInputBackgroundColor(m_matte));
    }

private:
    enum class Outside
    {
        First,
        Second,
        Both
    };

    // What there is to see where the matte is its background colour.
    Outside outsideMatte()
    {
        const float weight = getInputBackgroundColor(m_matte).a + m_mix;
        if (weight <= 0.0f)
            return Outside::First;
        return weight >= 1.0f ? Outside::Second : Outside::Both;
    }

    const float m_mix;
    const size_t m_first, m_second, m_matte;
};

}

ref_ptr<RenderTask> createMatteMixTask(const std::string& name, float time, float mix,
                                       ref_ptr<RenderTask> first, ref_ptr<RenderTask> second,
                                       ref_ptr<RenderTask> matte)
{
    if (first == second)
        return first;
    if (mix >= 1.0f)
        return second;
    if (mix <= -1.0f)
        return first;
    return new MatteMixTask(name, time, std::isnan(mix) ? 0.0f : mix, first, second, matte);
}

}
