#pragma once

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <ImathVec.h>
#include <UTIL/Rect.h>
#include <UTIL/Region.h>

#include "EMULSION/Export.h"
#include "EMULSION/Image.h"

// Reading image files.
//
// OpenEXR is read through its own library; other formats come from modules that are opened when
// the first file needs them. A file is known by its contents, whatever its name.
//
// The module of still formats reads TIFF, PNG, JPEG, DPX, Cineon, Radiance, TGA, BMP, PNM, SGI,
// WebP, PSD and JPEG 2000. It is sought in the folders of the environment variable
// EMULSION_MODULE_PATH, or without that in the folder "emulsion" beside this library. Integer
// samples become 0 to 1, correctly rounded, without colour conversion; alpha is associated on
// return; a picture is turned as its orientation tag says. A function that serves parts of a
// picture that can only be decoded from its start keeps the rows decoded so far, with the samples
// of the file, as long as it lives.
//
// Coordinates. The y axis points up. With an OpenEXR file's display window from (a, b) to (c, d),
// both included and y pointing down, row f of the file is row b + d - f here, and the display
// rectangle is [a, c+1) x [b, d+1). Formats without windows have their origin at the lower left.
//
// Names. "file.exr?part=name" is the part of that name of a file of several parts; without it the
// first part that holds an image is read. "file.avi|12" is frame 12 of a movie. A file whose name
// holds such a text itself is found first.
//
// Failures. Every message names the file, what was tried and why it failed. A missing file sets
// ERROR_FILE_NOT_FOUND, one that cannot be opened ERROR_FILE_OPEN, what the system refuses to read
// ERROR_FILE_READ, damaged and foreign contents ERROR_FILE_FORMAT, what we cannot read (the pixels
// of deep images, a format whose module is missing) ERROR_FILE_UNSUPPORTED, a header that claims
// more than SetReadLimits allows ERROR_IMAGE_TOO_LARGE: that is checked before memory is asked for.
//
// All functions may be called from any thread; a ReadImageFunction serves one call at a time.
namespace EMULSION
{

/// What tells one state of a file on the disk from another.
struct FileStamp
{
    int64_t modified = 0; ///< time of the last change, nanoseconds since the epoch
    uint64_t size = 0;    ///< bytes
    uint64_t inode = 0;

    friend bool operator==(const FileStamp&, const FileStamp&) = default;
};

/// One level of a picture that is stored in several sizes.
struct ImageLevel
{
    UTIL::Region dataRegion;
    UTIL::Rect displayRect;
};

/// What a file's header says.
struct ImageDescription
{
    /// R, G, B, A from the channels of those names in any case, or red, green, blue, alpha; Y is R,
    /// G and B, alone or with RY and BY. Names under a layer ("diffuse.R") count when there are no
    /// plain ones: the first layer in the file that has one. Without any such name the first four
    /// channels in the file. A picture with colour and without alpha reads as opaque: it has alpha,
    /// which is 1 inside the data region.
    uint64_t channels = 0;
    std::vector<std::string> channelNames; ///< every channel of the file, in file order
    UTIL::Region dataRegion;               ///< the data window
    UTIL::Rect displayRect;                ///< the display window
    bool isTiled = false;                  ///< an OpenEXR part with flat tiles
    bool isDeepShadow = false;             ///< an OpenEXR deep part with Z and A
    bool isVolumeShadow = false;           ///< one whose header has the attribute "volumeShadow"
    bool isScanlineReadable = false;       ///< rows can be had in any order for their own cost
    std::vector<ImageLevel> levels;        ///< of a tiled picture, the full one first
    std::vector<std::string> parts;        ///< the names of an OpenEXR file's parts, if it has any
    FileStamp stamp;                       ///< of the file when its header was read
};

/// What of a file becomes an image, and where it lies.
struct InputImageOptions
{
    /// True: the channels of ImageDescription. False: channel i of the image is the file's channel
    /// `channelNames[i]`, found exactly or else ignoring case.
    ///
    /// The short names "R", "G", "B", "A" also stand for what the description makes of them, and
    /// "0" and "1" are constants, unless the file has channels of these names. An empty name leaves
    /// the channel at 0. A name that the file lacks is ERROR_FILE_FORMAT, with the names it has.
    bool useFileChannels = true;
    std::string channelNames[4];

    /// True: rows and columns are placed as if the header had said `dataRegion`'s bounds and
    /// `displayRect`, counted from the top left corner. What the file does not have is 0.
    bool overrideWindows = false;
    UTIL::Region dataRegion;
    UTIL::Rect displayRect;
};

/// Writes every field, each followed by ",", strings with their length before them: two texts are
/// equal only for equal options. No locale plays a part.
EMULSION_API std::ostream& operator<<(std::ostream& stream, const InputImageOptions& options);

/// Fills `description` from the file's header. On failure it is left alone.
EMULSION_API void ReadImageDescription(ImageDescription* description, const char* filename);

/// An open file that fills images from any part of its picture. Not for two threads at once.
class EMULSION_API ReadImageFunction
{
public:
    virtual ~ReadImageFunction() = default;
    ReadImageFunction(const ReadImageFunction&) = delete;
    ReadImageFunction& operator=(const ReadImageFunction&) = delete;

    /// Fills the image's bounds and channels: zero outside the data region, and zero in rows that
    /// could not be read, which set the error state.
    virtual void operator()(const Image* image) = 0;

    /// The stamp of the file as it was opened. It differs from that of an ImageDescription when the
    /// file has changed in between.
    virtual FileStamp stamp() const = 0;

protected:
    ReadImageFunction() = default;
};

/// Opens the file, which stays open as long as the result lives. Null and an error on failure.
EMULSION_API std::unique_ptr<ReadImageFunction>
createReadImageFunction(const char* filename, const InputImageOptions& options);

/// The same for a tiled OpenEXR file; any other sets ERROR_FILE_UNSUPPORTED. Stores the size of the
/// file's tiles, in pixels. The function reads the tiles that an image touches, and no other.
EMULSION_API std::unique_ptr<ReadImageFunction>
createTiledReadExrFunction(const char* filename, const InputImageOptions& options, long& tileWidth,
                           long& tileHeight);

/// Appends the file tiles of level 0 that `rect` touches: their column and row in the file, and
/// their rectangle cut to `dataBounds`. The top row comes first, each from left to right.
///
/// Tiles are counted from the upper left corner of `dataBounds`. `displayRect` takes no part in
/// that, because both rectangles are in image coordinates already. Tile sizes below 1 set
/// ERROR_INVALID_ARGUMENT.
EMULSION_API void
convertRectToEXRTileIDs(const UTIL::Rect& rect, const UTIL::Rect& dataBounds,
                        const UTIL::Rect& displayRect, long tileWidth, long tileHeight,
                        std::vector<std::pair<Imath::Vec2<int>, UTIL::Rect>>& tiles);

/// Fills the image's bounds and channels from a file of any kind; zero outside the data region.
///
/// The one function of this library that throws: std::runtime_error with the text that would be the
/// error's message. No error is pending because of it then. `extra` is not used.
EMULSION_API void ReadImage(const Image* image, const char* path, const char* extra,
                            const InputImageOptions& options);

/// How large a picture a header may claim: `maxSide` pixels in each direction (2^20 at first) and
/// `maxBytes` for all of its pixels (2^36), counted as they are in the file or as RGBA floats,
/// whichever is more. Values below 1 set ERROR_INVALID_ARGUMENT. For the whole process.
EMULSION_API void SetReadLimits(int64_t maxSide, int64_t maxBytes);

/// How many threads of their own the file libraries use to decode and encode: 0 for none. Takes
/// effect when the next file is opened. At first all cores, or what the process has set in OpenEXR
/// before the first file. Negative numbers set ERROR_INVALID_ARGUMENT. For the whole process.
EMULSION_API void SetFileThreads(int count);

}
