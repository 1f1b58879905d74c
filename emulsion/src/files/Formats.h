#pragma once

#include <memory>
#include <string_view>

#include "files/FileFormat.h"

namespace EMULSION::Private
{

/// The format of an opened file, known by its contents. Throws when no format knows it.
const FileFormat& formatOf(const FoundFile& file);

/// The format that writes files of that name. Throws ERROR_FILE_UNSUPPORTED when none does.
const FileFormat& formatNamed(std::string_view name);

}
