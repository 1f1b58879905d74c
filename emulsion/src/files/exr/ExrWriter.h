#pragma once

#include <memory>

#include "files/FileFormat.h"

namespace EMULSION::Private
{

/// Writes scanlines or tiles, by the options. Throws as FileFormat::create.
std::unique_ptr<FileWriter> createExrWriter(const NewFile& file);

}
