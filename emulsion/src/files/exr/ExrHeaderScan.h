#pragma once

#include "files/exr/ExrStream.h"

namespace EMULSION::Private
{

/// Walks through the headers of the file before OpenEXR does, which asks for memory as it reads
/// them: the claims of all parts are held against the read limits and the size of the file.
///
/// Layout: "OpenEXR File Layout", Academy Software Foundation, and "Technical Introduction to
/// OpenEXR". Throws ERROR_IMAGE_TOO_LARGE or ERROR_FILE_FORMAT; leaves the stream at its start.
void scanExrHeaders(ExrInputStream& stream);

/// How many rows are compressed together, by OpenEXR's number of the compression.
int64_t rowsOfChunk(int compression);

}
