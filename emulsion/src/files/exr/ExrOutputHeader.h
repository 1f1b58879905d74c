#pragma once

#include <string>
#include <vector>

#include <ImfHeader.h>

#include "files/FileFormat.h"

namespace EMULSION::Private
{

/// The header of the file to write. Throws ERROR_INVALID_ARGUMENT for options that cannot be, and
/// ERROR_IMAGE_TOO_LARGE for windows beyond the range of OpenEXR's coordinates.
Imf::Header exrHeaderFor(const NewFile& file);

/// The names in the file of the channels to write, in the order R, G, B, A of those there are.
std::vector<std::string> exrChannelNames(const OutputImageOptions& options);

}
