#pragma once

#include <cstdint>
#include <string>

#include "Stream.h"

namespace EMULSION::Module
{

/// Throws ERROR_FILE_FORMAT for a header whose claims cannot be true where OpenImageIO would
/// believe them: it asks for as much memory as is claimed, or ends the process.
void checkHeader(Stream& file, const std::string& format);

/// Where the samples of a Cineon file begin.
uint64_t cineonStart(Stream& file);

}
