#pragma once

#include <string>

#include "files/FileFormat.h"

namespace EMULSION::Private
{

/// A kind of still picture that is known by its contents.
struct PictureKind
{
    const char* name = nullptr;   ///< for texts: "PNG"; null for a file of no such kind
    const char* format = nullptr; ///< "png": what the module of still formats reads; null: refused
};

/// The kind of a file that is not an OpenEXR file.
PictureKind pictureKindOf(const FoundFile& file);

}
