#include "files/exr/ExrSlices.h"

#include <algorithm>

#include <ImfChannelList.h>

#include "EMULSION/Plumbing.h"
#include "files/exr/SliceBase.h"
#include "Rows.h"

namespace EMULSION::Private
{

namespace
{

// OpenEXR fills a channel that the file lacks with the slice's value.
std::string nameThatIsNotIn(const Imf::ChannelList& channels, const std::string& wish)
{
    std::string name = wish;
    while (channels.findChannel(name))
        name += '*';
    return name;
}

}

ExrChannelPlan::ExrChannelPlan(const ExrPart& part, uint64_t imageChannels,
                               const ChannelSources& sources)
{
    for (size_t index = 0; index < 4; ++index)
        if (const uint64_t channel = uint64_t{1} << index; imageChannels & channel)
            plan(part, channel, sources[index]);
}

void ExrChannelPlan::plan(const ExrPart& part, uint64_t channel, const ChannelSource& source)
{
    const Imf::ChannelList& channels = part.header().channels();
    const bool isOne = source.kind == ChannelSource::Kind::One;
    switch (source.kind)
    {
    case ChannelSource::Kind::Zero:
    case ChannelSource::Kind::One:
        m_direct.push_back(
            {nameThatIsNotIn(channels, "*" + std::to_string(channel)), channel, isOne ? 1.0 : 0.0});
        break;
    case ChannelSource::Kind::File:
        planFile(part, channel, part.picture().description.channelNames.at(source.index));
        break;
    case ChannelSource::Kind::LuminanceChroma:
        m_colours.emplace_back(channel, source.index);
        break;
    }
}

void ExrChannelPlan::planFile(const ExrPart& part, uint64_t channel, const std::string& name)
{
    const Imf::Channel* const found = part.header().channels().findChannel(name);
    const auto same = std::find_if(m_direct.begin(), m_direct.end(),
                                   [&](const Direct& direct) { return direct.name == name; });
    if (!found)
        throw FileError(ERROR_FILE_FORMAT, "it has no channel \"" + name + "\"");
    if (found->xSampling != 1 || found->ySampling != 1)
        m_subsampled.push_back({name, found->xSampling, found->ySampling, channel});
    else if (same != m_direct.end())
        m_repeated.emplace_back(same->channel, channel);
    else
        m_direct.push_back({name, channel, 0.0});
}

Imf::FrameBuffer ExrChannelPlan::frameBuffer(const Image& image, int64_t flip) const
{
    const int64_t top = flip - (image.bounds.y1 - 1);
    Imf::FrameBuffer buffer;
    for (const Direct& direct : m_direct)
    {
        const float* const corner = pixelOf(image, image.bounds.x0, image.bounds.y1 - 1) +
                                    channelIndex(image.channels, direct.channel);
        const uint64_t xStride = pixelBytes(image.channels), yStride = 0 - image.rowBytes;
        char* const base = sliceBase(corner, image.bounds.x0, xStride, top, yStride);
        buffer.insert(direct.name,
                      Imf::Slice(Imf::FLOAT, base, xStride, yStride, 1, 1, direct.fill));
    }
    return buffer;
}

void ExrChannelPlan::copyRepeated(const Image& image) const
{
    for (const auto& [from, to] : m_repeated)
        ChannelCopy(&image, &image, to, from);
}

}
