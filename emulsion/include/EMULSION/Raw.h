#pragma once

#include "EMULSION/Export.h"
#include "EMULSION/Image.h"

// Swap files: the pixels of one image, to be read back by the same program. The format is private
// to the version that wrote it. Both functions may be called from any thread at once; a path
// belongs to one call at a time. Errors name the path, what was tried and what the system said.
namespace EMULSION
{

/// Writes the image to a new file with mode 0600.
///
/// An image that is not sound sets the errors of Plumbing.h. A path that exists already or cannot
/// be created sets ERROR_FILE_OPEN and is left alone. Anything behind that, such as a full disk,
/// sets ERROR_FILE_WRITE, and the file is removed again. Space is reserved before the first pixel
/// is written, on file systems that can. The file is not forced to the disk: a swap file does not
/// outlive its program.
EMULSION_API void WriteRAW(const char* path, const Image* image);

/// Fills the image from a file that WriteRAW wrote for the same bounds and channels; the distance
/// of rows may be another.
///
/// A missing file sets ERROR_FILE_NOT_FOUND, one that cannot be opened ERROR_FILE_OPEN, one that
/// cannot be read ERROR_FILE_READ; a foreign file, another version, an image of another size or
/// other channels, a file cut short or any changed bit set ERROR_FILE_FORMAT. Whether a bit of the
/// pixels has changed is known only behind the last of them: on an error the pixels are undefined.
EMULSION_API void ReadRAW(const Image* image, const char* path);

}
