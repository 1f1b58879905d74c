#include <algorithm>
#include <array>
#include <bit>

#include <EMULSION/Channels.h>
#include <EMULSION/Plumbing.h>

#include "private/CacheItems.h"
#include "private/Channels.h"
#include "QUILT/ChannelTasks.h"
#include "QUILT/Exceptions.h"

namespace QUILT
{

ChannelMergeTask::ChannelMergeTask(const char* name, float time) : RenderTask(name, time) {}

void ChannelMergeTask::addInput(ref_ptr<RenderTask> input, unsigned long channels)
{
    registerInputTask(std::move(input));
    m_channels.push_back(channels);
}

std::string ChannelMergeTask::getType() const
{
    return "ChannelMerge";
}

void ChannelMergeTask::computeCacheID(CacheIDStream& stream)
{
    for (const unsigned long channels : m_channels)
        Private::writeItem(stream, channels);
}

unsigned long ChannelMergeTask::computeOutputChannels()
{
    unsigned long channels = 0;
    for (const unsigned long mask : m_channels)
        channels |= mask;
    return EMULSION::ValidateChannelMask(channels);
}

UTIL::Region ChannelMergeTask::computeOutputDataRegion()
{
    UTIL::Region region;
    for (size_t i = 0; i < m_channels.size(); ++i)
        region.add(getDefinedInputDataRegion(i));
    return region;
}

Imath::Color4<float> ChannelMergeTask::computeBackgroundColor()
{
    Imath::Color4<float> color(0, 0, 0, 0);
    for (size_t i = 0; i < m_channels.size(); ++i)
    {
        for (int channel = 0; channel < 4; ++channel)
        {
            if (m_channels[i] >> channel & 1)
                color[channel] = getInputBackgroundColor(i)[channel];
        }
    }
    return color;
}

void ChannelMergeTask::makeInputFormatRequests()
{
    for (size_t i = 0; i < m_channels.size(); ++i)
        addInputRequest(i, m_channels[i] & getDefinedInputChannels(i));
}

void ChannelMergeTask::computeRequiredInputRectangles(const UTIL::Rect& outputRect,
                                                      std::vector<UTIL::Rect>& inputRects)
{
    std::ranges::fill(inputRects, outputRect);
}

void ChannelMergeTask::renderRect(const EMULSION::Image* output,
                                  const std::vector<const EMULSION::Image*>& inputs)
{
    for (size_t i = 0; i < m_channels.size(); ++i)
    {
        // What the image lacks, ChannelCopy would leave as it is in the new pixels.
        const unsigned long missing = m_channels[i] & ~(inputs[i] ? inputs[i]->channels : 0);
        if (missing != 0)
            EMULSION::FillChannels(output, missing, getInputBackgroundColor(i).getValue());
        EMULSION::ChannelCopy(output, inputs[i], m_channels[i], m_channels[i]);
    }
}

ref_ptr<RenderTask> createChannelMergeTask(const std::string& name, float time,
                                           ref_ptr<RenderTask> red, ref_ptr<RenderTask> green,
                                           ref_ptr<RenderTask> blue, ref_ptr<RenderTask> alpha)
{
    const std::array<ref_ptr<RenderTask>, 4> inputs{red, green, blue, alpha};
    if (std::ranges::count(inputs, nullptr) != 0)
        throw RenderTaskRenderingException(name, "createChannelMergeTask",
                                           "ChannelMerge requires four inputs.", -1);
    const auto channelsLike = [&](const ref_ptr<RenderTask>& input) {
        unsigned long channels = 0;
        for (size_t i = 0; i < inputs.size(); ++i)
            channels |= (inputs[i]->getCacheID() == input->getCacheID() ? 1ul : 0ul) << i;
        return channels;
    };
    if (channelsLike(red) == Channels::RGBA)
        return red;

    const ref_ptr<ChannelMergeTask> task(new ChannelMergeTask(name.c_str(), time));
    for (size_t i = 0; i < inputs.size(); ++i)
    {
        const unsigned long channels = channelsLike(inputs[i]);
        const bool isFirstOfItsIdentity = std::countr_zero(channels) == static_cast<int>(i);
        if (isFirstOfItsIdentity)
            task->addInput(inputs[i], channels);
    }
    return task;
}

}
