#pragma once

#include <string>
#include <utility>
#include <vector>

#include <ImfFrameBuffer.h>

#include "files/exr/ExrPart.h"

namespace EMULSION::Private
{

/// How the channels of an image are had from a part: which of the file's channels go straight into
/// its rows, and what is left to do when they are there.
class ExrChannelPlan
{
public:
    ExrChannelPlan(const ExrPart& part, uint64_t imageChannels, const ChannelSources& sources);

    /// A channel of the file that has fewer samples than pixels, and the channel that it fills.
    struct Subsampled
    {
        std::string name;
        int xSampling, ySampling;
        uint64_t channel;
    };
    const std::vector<Subsampled>& subsampled() const { return m_subsampled; }

    /// The channels of the image that are made of luminance and chroma, and which colours they are:
    /// pairs of the channel's bit and 0, 1, 2.
    const std::vector<std::pair<uint64_t, size_t>>& colours() const { return m_colours; }

    bool needsSlices() const { return !m_direct.empty(); }
    bool needsMoreThanSlices() const { return !m_subsampled.empty() || !m_colours.empty(); }

    /// Places for what goes straight into the image's rows. Row f of the file is row `flip - f`.
    Imf::FrameBuffer frameBuffer(const Image& image, int64_t flip) const;

    /// Fills the channels that have the same source as another one.
    void copyRepeated(const Image& image) const;

private:
    struct Direct
    {
        std::string name; // one that the file lacks for a constant
        uint64_t channel;
        double fill;
    };

    void plan(const ExrPart& part, uint64_t channel, const ChannelSource& source);
    void planFile(const ExrPart& part, uint64_t channel, const std::string& name);

    std::vector<Direct> m_direct;
    std::vector<std::pair<uint64_t, uint64_t>> m_repeated; // from, to
    std::vector<Subsampled> m_subsampled;
    std::vector<std::pair<uint64_t, size_t>> m_colours;
};

}
