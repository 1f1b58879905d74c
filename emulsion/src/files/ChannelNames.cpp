#include "files/ChannelNames.h"

#include <algorithm>
#include <cctype>

namespace EMULSION::Private
{

namespace
{

using Names = std::vector<std::string>;

bool equalIgnoringCase(std::string_view a, std::string_view b)
{
    const auto lower = [](char c) { return std::tolower(static_cast<unsigned char>(c)); };
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [&](char x, char y) { return lower(x) == lower(y); });
}

// The place of a name, found exactly or else ignoring case.
std::optional<size_t> find(const Names& names, std::string_view name)
{
    auto found = std::find(names.begin(), names.end(), name);
    if (found == names.end())
        found = std::find_if(names.begin(), names.end(), [&](const std::string& candidate) {
            return equalIgnoringCase(candidate, name);
        });
    if (found == names.end())
        return std::nullopt;
    return static_cast<size_t>(found - names.begin());
}

// The channels of one layer that have a meaning for us.
struct Layer
{
    std::array<std::optional<size_t>, 4> rgba;
    std::optional<size_t> luminance, redChroma, blueChroma;

    // `prefix` is empty for plain names, "diffuse." for a layer.
    Layer(const Names& names, const std::string& prefix)
    {
        static constexpr const char* words[4][2] = {
            {"R", "red"}, {"G", "green"}, {"B", "blue"}, {"A", "alpha"}};
        for (size_t channel = 0; channel < 4; ++channel)
            for (const char* word : words[channel])
                if (!rgba[channel])
                    rgba[channel] = find(names, prefix + word);
        luminance = find(names, prefix + "Y");
        redChroma = find(names, prefix + "RY");
        blueChroma = find(names, prefix + "BY");
    }

    bool hasRGB() const { return rgba[0] || rgba[1] || rgba[2]; }
    bool isColour() const { return hasRGB() || luminance; }
    bool isKnown() const { return isColour() || rgba[3]; }
    bool hasChroma() const { return !hasRGB() && luminance && redChroma && blueChroma; }
};

// The plain names if any of them means something, else the first layer in which one does.
std::optional<Layer> chooseLayer(const Names& names)
{
    if (const Layer plain(names, ""); plain.isKnown())
        return plain;
    for (const std::string& name : names)
    {
        const size_t dot = name.rfind('.');
        // Looked at alone first: a hostile file has very many names.
        if (dot != std::string::npos && Layer({name.substr(dot + 1)}, "").isKnown())
            return Layer(names, name.substr(0, dot + 1));
    }
    return std::nullopt;
}

ChannelSource sourceInLayer(const Layer& layer, size_t channel, bool luminanceChroma)
{
    if (layer.rgba[channel])
        return {ChannelSource::Kind::File, *layer.rgba[channel]};
    if (channel == 3)
        return {layer.isColour() ? ChannelSource::Kind::One : ChannelSource::Kind::Zero, 0};
    if (layer.hasRGB() || !layer.luminance)
        return {};
    if (luminanceChroma && layer.hasChroma())
        return {ChannelSource::Kind::LuminanceChroma, channel};
    return {ChannelSource::Kind::File, *layer.luminance};
}

std::string listOf(const Names& names)
{
    static constexpr size_t most = 40;
    std::string text;
    for (size_t i = 0; i < std::min(names.size(), most); ++i)
        text.append(i ? ", " : "").append(names[i]);
    return names.size() > most ? text + ", ..." : text;
}

// What an option names that is no channel of the file: a short name or a constant.
std::optional<ChannelSource> sourceByMeaning(const ChannelMapping& mapping, const std::string& name)
{
    static constexpr std::string_view shortNames[4] = {"R", "G", "B", "A"};
    for (size_t channel = 0; channel < 4; ++channel)
        if (equalIgnoringCase(name, shortNames[channel]) && (mapping.channels >> channel & 1))
            return mapping.sources[channel];
    if (name == "0" || name == "1")
        return ChannelSource{name == "0" ? ChannelSource::Kind::Zero : ChannelSource::Kind::One, 0};
    return std::nullopt;
}

}

ChannelMapping mapFileChannels(const FilePicture& picture)
{
    const Names& names = picture.description.channelNames;
    ChannelMapping mapping;
    if (const std::optional<Layer> layer = chooseLayer(names))
        for (size_t channel = 0; channel < 4; ++channel)
            mapping.sources[channel] = sourceInLayer(*layer, channel, picture.luminanceChroma);
    else
        for (size_t channel = 0; channel < std::min<size_t>(names.size(), 4); ++channel)
            mapping.sources[channel] = {ChannelSource::Kind::File, channel};
    for (size_t channel = 0; channel < 4; ++channel)
        if (mapping.sources[channel].kind != ChannelSource::Kind::Zero)
            mapping.channels |= uint64_t{1} << channel;
    return mapping;
}

ChannelSources mapChannels(const FilePicture& picture, const InputImageOptions& options)
{
    const ChannelMapping mapping = mapFileChannels(picture);
    if (options.useFileChannels)
        return mapping.sources;
    ChannelSources sources;
    const Names& names = picture.description.channelNames;
    for (size_t channel = 0; channel < 4; ++channel)
    {
        const std::string& name = options.channelNames[channel];
        if (name.empty())
            continue;
        if (const std::optional<size_t> index = find(names, name))
            sources[channel] = {ChannelSource::Kind::File, *index};
        else if (const std::optional<ChannelSource> source = sourceByMeaning(mapping, name))
            sources[channel] = *source;
        else
            throw FileError(ERROR_FILE_FORMAT, "it has no channel \"" + name +
                                                   "\"; its channels are " + listOf(names));
    }
    return sources;
}

std::optional<std::array<size_t, 3>> findLuminanceChroma(const Names& channelNames)
{
    const std::optional<Layer> layer = chooseLayer(channelNames);
    if (!layer || !layer->hasChroma())
        return std::nullopt;
    return std::array<size_t, 3>{*layer->luminance, *layer->redChroma, *layer->blueChroma};
}

}
