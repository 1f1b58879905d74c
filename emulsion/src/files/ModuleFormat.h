#pragma once

#include <memory>
#include <string_view>

#include "files/FileFormat.h"
#include "files/ImageModuleInterface.h"
#include "files/PictureKinds.h"

// The still formats beside OpenEXR, which a module reads and writes.
namespace EMULSION::Private
{

/// The module, opened by the first call. Throws FileError when it cannot be had.
const Module::ImageModule& imageModule();

/// Throws a failure of the module as what formats throw.
[[noreturn]] void raise(const Module::Fault& fault);

/// `file` is of the kind, and one that the module reads.
std::unique_ptr<FileReader> openInModule(FoundFile& file, const PictureKind& kind);

/// Whether the module writes files of that name.
bool isWrittenInModule(std::string_view format);

std::unique_ptr<FileWriter> createInModule(const NewFile& file);

}
