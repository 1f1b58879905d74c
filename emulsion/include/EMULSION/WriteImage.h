#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <UTIL/Rect.h>

#include "EMULSION/Export.h"
#include "EMULSION/Image.h"

// Writing image files.
//
// A picture goes to a temporary file beside its target (".name.XXXXXX"), is flushed to the disk,
// and takes the target's name when it is whole. A failure removes the temporary file and leaves an
// older file of that name as it was. Permissions of an older file are kept, symbolic links are
// followed.
//
// A format is one of "exr", "tiff", "png", "jpeg", "dpx", "hdr", "tga", "bmp", "pnm", "avi"; an
// empty name means the path's extension. Any other sets ERROR_FILE_UNSUPPORTED.
//
// Samples. Integers hold 0 to 1: what is outside is clamped, the rest rounded to the nearest and at
// ties to the even one, and NaN is 0; there is no colour conversion. PNG and TGA hold alpha apart
// from the colours, which are divided by it; TIFF holds it associated; jpeg, dpx, hdr, bmp and pnm
// files have none, and drop it. A single channel, whichever it is, makes a grey picture in all
// formats but exr. Formats other than exr need their module (see ImageFile.h).
//
// Failures. Every message names the file, what was tried and why it failed: ERROR_INVALID_ARGUMENT
// for an option or an image that cannot be, ERROR_FILE_OPEN where no file can be made,
// ERROR_FILE_WRITE for what fails later, such as a full disk, ERROR_IMAGE_TOO_LARGE for what the
// format cannot hold.
namespace EMULSION
{

/// Settings of all formats. Each format reads its own. What a field says of file type n is about:
/// 0 jpeg, 1 hdr, 2 tiff, 3 exr, 4 dpx, 5 png, 6 tga, 7 bmp, 8 pnm, 10 avi.
struct OutputImageOptions
{
    int64_t tileWidth = 0, tileHeight = 0;       ///< pixels, read when `tiled` is set
    std::map<std::string, std::string> metadata; ///< attributes of the header, by name
    std::vector<std::string> keywords;           ///< exr: the attribute "keywords", unless empty

    /// exr: compression by OpenEXR's numbers: 0 none, 1 RLE, 2 ZIPS, 3 ZIP, 4 PIZ, 5 PXR24, 6 B44,
    /// 7 B44A, 8 DWAA, 9 DWAB
    int32_t type3OptionA = 0;
    int32_t type3OptionB = 0;  ///< exr: 0 half, 1 float
    bool cropped = false;      ///< formats without windows write the image's bounds alone
    bool tiled = false;        ///< exr: tiles in place of scanlines
    bool tileFlag = false;     ///< exr: mip-map levels too
    int32_t type2Option = 0;   ///< tiff: 0 8-bit, 1 16-bit, 2 32-bit float, 3 half
    int32_t type5OptionA = 0;  ///< png: bits, 8 or 16; 0 means 16
    int32_t type5OptionB = 0;  ///< png: zlib level 0 to 9
    int32_t type5OptionC = 0;  ///< png: 1 dithers to 8 bits by a fixed pattern
    int32_t type0Option = 0;   ///< jpeg: quality 1 to 100; 0 means 95
    int32_t type4Option = 0;   ///< dpx: bits 8, 10, 12 or 16; 0 means 10
    int64_t type10OptionA = 0; ///< avi: bits per second; 0 by size
    int64_t type10OptionB = 0; ///< avi: frames per 1000 seconds; 0 means 24000
    UTIL::Rect displayWindow;  ///< null: the image's bounds
    uint64_t channels = 0;     ///< mask of the channels to write; 0: those of the image

    /// exr: the file's names for the channels to write, in the order R, G, B, A; without it "R",
    /// "G", "B", "A"
    std::vector<std::string> channelNames;
    std::string comment; ///< of exr, tiff and png files
};

/// Writes the image. Its bounds become the data window; formats without windows write the display
/// window, zero where the image has nothing. A channel that the image lacks is written as 0.
EMULSION_API void WriteImage(const char* path, const Image* image, const char* format,
                             OutputImageOptions options);

/// Writes a picture band by band. Not for two threads at once. Destroyed before finish(), it
/// removes what it has written. After a failure it does nothing more.
class EMULSION_API WriteImageFunction
{
public:
    virtual ~WriteImageFunction() = default;
    WriteImageFunction(const WriteImageFunction&) = delete;
    WriteImageFunction& operator=(const WriteImageFunction&) = delete;

    /// Takes the next rows from the top down: the first band ends at the top of the picture's
    /// bounds, each further one where the one before began. A band spans the bounds in x, or more.
    virtual void operator()(const Image* band) = 0;

    /// Completes the file and gives it its name. All rows must have come.
    virtual void finish() = 0;

protected:
    WriteImageFunction() = default;
};

/// Begins a picture of these bounds and of the channels of `options`, of which there must be some.
/// Null and an error on failure.
EMULSION_API std::unique_ptr<WriteImageFunction>
createWriteImageFunction(const char* path, const char* format, const OutputImageOptions& options,
                         const UTIL::Rect& bounds);

/// 0, or the errno that writing to the path would meet: a missing folder, no permission, a folder
/// of that name, a read-only file system. Creates nothing and touches nothing.
EMULSION_API int IsWriteableFile(const char* path);

}
