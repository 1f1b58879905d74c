#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "files/FileFormat.h"

// Which of a file's channels are the red, green, blue and alpha of an image.
namespace EMULSION::Private
{

/// The mask of an image that holds all the picture has, and where its channels come from: the rules
/// of ImageDescription::channels.
struct ChannelMapping
{
    uint64_t channels = 0;
    ChannelSources sources;
};
ChannelMapping mapFileChannels(const FilePicture& picture);

/// The sources that the options ask for. Throws ERROR_FILE_FORMAT, with the names that the file
/// has, for a name that it lacks.
ChannelSources mapChannels(const FilePicture& picture, const InputImageOptions& options);

/// The places of the plain Y, RY and BY, or of the first layer that has a Y, when all three are
/// there.
std::optional<std::array<size_t, 3>>
findLuminanceChroma(const std::vector<std::string>& channelNames);

}
