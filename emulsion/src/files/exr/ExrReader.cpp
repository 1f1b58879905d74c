#include "files/exr/ExrReader.h"

#include <ImfChannelList.h>

#include "EMULSION/Channels.h"
#include "EMULSION/Plumbing.h"
#include "files/ChannelNames.h"
#include "files/exr/ExrChroma.h"
#include "files/OwnedImage.h"

namespace EMULSION::Private
{

namespace
{

bool hasWholeChroma(const ExrPart& part)
{
    const auto& names = part.picture().description.channelNames;
    const auto found = findLuminanceChroma(names);
    return found && part.header().channels().findChannel(names[(*found)[1]])->xSampling == 1;
}

}

ExrReader::ExrReader(ExrPart part) : m_part(std::move(part)), m_wholeChroma(hasWholeChroma(m_part))
{}

void ExrReader::read(const Image& image, const ChannelSources& sources)
{
    const ExrChannelPlan plan(m_part, image.channels, sources);
    FirstFailure failure;
    failure.attempt([&] { readPlanned(image, plan); });
    if (!plan.colours().empty() && m_wholeChroma)
        failure.attempt([&] { readWholeChroma(image, plan); });
    failure.throwIfAny();
}

// Luminance and chroma come as the green, red and blue of an image, which become its colours.
void ExrReader::readWholeChroma(const Image& image, const ExrChannelPlan& plan)
{
    const auto found = findLuminanceChroma(picture().description.channelNames).value();
    using Kind = ChannelSource::Kind;
    const ChannelSources sources{
        {{Kind::File, found[1]}, {Kind::File, found[0]}, {Kind::File, found[2]}, {}}};
    const OwnedImage colours(ChannelsRGB, image.bounds);
    FirstFailure failure;
    failure.attempt([&] {
        readPlanned(colours.image, ExrChannelPlan(m_part, colours.image.channels, sources));
    });
    const Imath::V3f weights = luminanceWeights(m_part.header());
    for (int64_t y = image.bounds.y0; y < image.bounds.y1; ++y)
        for (int64_t x = image.bounds.x0; x < image.bounds.x1; ++x)
        {
            float* const pixel = pixelOf(colours.image, x, y);
            const float luminance = pixel[1];
            const float red = (pixel[0] + 1) * luminance, blue = (pixel[2] + 1) * luminance;
            pixel[0] = red;
            pixel[1] = (luminance - red * weights.x - blue * weights.z) / weights.y;
            pixel[2] = blue;
        }
    for (const auto& [channel, colour] : plan.colours())
        ChannelCopy(&image, &colours.image, channel, uint64_t{1} << colour);
    failure.throwIfAny();
}

void ExrDescribingReader::readPlanned(const Image&, const ExrChannelPlan&)
{
    throw FileError(ERROR_FILE_UNSUPPORTED, picture().unreadable);
}

}
