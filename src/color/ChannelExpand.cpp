#include <bit>

#include <EMULSION/Plumbing.h>

#include "private/CacheItems.h"
#include "private/Channels.h"
#include "private/FirstInputTask.h"
#include "QUILT/ChannelTasks.h"

namespace QUILT
{

namespace
{

class ChannelExpandTask final : public Private::FirstInputTask
{
public:
    ChannelExpandTask(const std::string& name, float time, unsigned long channel)
        : FirstInputTask(name, time), m_channel(channel)
    {}

    std::string getType() const override { return "ChannelExpand"; }
    void computeCacheID(CacheIDStream& stream) override { Private::writeItems(stream, m_channel); }
    unsigned long computeOutputChannels() override { return Channels::RGBA; }

    Imath::Color4<float> computeBackgroundColor() override
    {
        const unsigned long channel = firstChannel();
        const float value =
            channel != 0 ? getInputBackgroundColor(0)[std::countr_zero(channel)] : 0.0f;
        return {value, value, value, value};
    }

    void makeInputFormatRequests() override
    {
        addInputRequest(0, m_channel & getDefinedInputChannels(0));
    }

    void renderRect(const EMULSION::Image* output,
                    const std::vector<const EMULSION::Image*>& inputs) override
    {
        if (inputs[0] && inputs[0]->channels & firstChannel())
            EMULSION::ChannelCopy(output, inputs[0], output->channels, firstChannel());
        else
            EMULSION::Fill(output, getBackgroundColor().getValue());
    }

private:
    // Of several channels one alone: otherwise as many as the output happens to have would be
    // copied each to another.
    unsigned long firstChannel() const { return m_channel & -m_channel & Channels::RGBA; }

    const unsigned long m_channel;
};

}

ref_ptr<RenderTask> createChannelExpandTask(const std::string& name, float time,
                                            unsigned long channel, ref_ptr<RenderTask> input)
{
    ref_ptr<RenderTask> task(new ChannelExpandTask(name, time, channel));
    task->registerInputTask(input);
    return task;
}

}
