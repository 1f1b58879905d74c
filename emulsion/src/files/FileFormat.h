#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "EMULSION/Error.h"
#include "EMULSION/ImageFile.h"
#include "EMULSION/WriteImage.h"

// What a file format gives to the file functions, and what it may leave to them.
//
// A format opens files, says what is in them, and moves pixels. Choosing the format, mapping
// channels, placing windows, clearing what is outside, limits, temporary files and the error state
// are done once for all formats, around it.
namespace EMULSION::Private
{

/// Thrown by formats; what() is the reason alone. The functions around them add the file's name and
/// what was tried, and make it the pending error.
class FileError : public std::runtime_error
{
public:
    FileError(Error code, const std::string& why) : std::runtime_error(why), m_code(code) {}
    Error code() const { return m_code; }

private:
    Error m_code;
};

/// An open descriptor of the system, closed at the end of its life.
class Descriptor
{
public:
    explicit Descriptor(int number = -1) : m_number(number) {}
    ~Descriptor() { reset(); }
    Descriptor(Descriptor&& other) noexcept : m_number(other.m_number) { other.m_number = -1; }
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        std::swap(m_number, other.m_number);
        return *this;
    }

    int number() const { return m_number; }
    void reset();

private:
    int m_number;
};

/// A file opened for reading, whose format is to be found.
struct FoundFile
{
    std::string path;             ///< in the file system
    std::string part;             ///< of "?part=name"; empty without
    std::optional<int64_t> frame; ///< of "|12"
    Descriptor descriptor;        ///< close-on-exec, at the start of the file
    FileStamp stamp;
    std::string head; ///< the first bytes, 4096 at most
};

/// Where one channel of an image comes from.
struct ChannelSource
{
    enum class Kind
    {
        Zero,
        One,
        File,           ///< channel `index` of the description's channelNames
        LuminanceChroma ///< red, green, blue for `index` 0, 1, 2, made of Y, RY and BY
    };
    Kind kind = Kind::Zero;
    size_t index = 0;
};

/// Of R, G, B, A. What stands for a channel that the image does not have is not looked at.
using ChannelSources = std::array<ChannelSource, 4>;

/// What a reader has found in its file.
struct FilePicture
{
    ImageDescription description; ///< all but `channels` and `stamp`; dataRegion one rectangle
    bool luminanceChroma = false; ///< the reader makes colours of findLuminanceChroma's channels
    int64_t tileWidth = 0, tileHeight = 0; ///< when isTiled
    std::string unreadable;                ///< why no pixels can be had; empty when they can
};

/// An open file. One call at a time.
class FileReader
{
public:
    virtual ~FileReader() = default;

    virtual const FilePicture& picture() const = 0;

    /// Fills all of the image, which has pixels, channels, and bounds inside the data region. Rows
    /// that cannot be read are zeroed, and the first failure thrown behind them.
    virtual void read(const Image& image, const ChannelSources& sources) = 0;
};

/// What a writer is to make. For a format without windows `bounds` is what the file holds: the
/// display window, or the image's bounds when the file is cropped.
struct NewFile
{
    std::string path;   ///< of the temporary file, which exists and is empty
    int descriptor;     ///< of it, open for reading and writing; the caller's
    std::string format; ///< "exr" ...
    UTIL::Rect bounds;
    OutputImageOptions options; ///< `channels` and `displayWindow` always set
};

/// A picture on its way into a file. Destroyed without finish() it leaves the file as it is.
class FileWriter
{
public:
    virtual ~FileWriter() = default;

    /// The next rows from the top down: an image that spans the bounds in x, or more. Its channels
    /// may be others than those to write.
    virtual void write(const Image& band) = 0;

    /// All rows have come. Flushing to the disk and renaming are the caller's.
    virtual void finish() = 0;
};

/// One of the formats that this library knows; an object that lives as long as the process.
class FileFormat
{
public:
    virtual ~FileFormat() = default;

    /// Whether the file is of this format. Asked in a fixed order: the first that says yes reads
    /// it.
    virtual bool recognises(const FoundFile& file) const = 0;

    /// Reads the header. Takes the descriptor out of `file` when it needs it.
    virtual std::unique_ptr<FileReader> open(FoundFile& file) const = 0;

    /// Whether this format writes files of that name, one of those in WriteImage.h.
    virtual bool writes(std::string_view format) const = 0;

    /// Whether files hold a data window and a display window.
    virtual bool hasWindows() const = 0;

    virtual std::unique_ptr<FileWriter> create(const NewFile& file) const = 0;
};

/// The formats: OpenEXR, and the other stills, which a module reads and writes.
const FileFormat& openExrFormat();
const FileFormat& moduleFormat();

/// Throws ERROR_IMAGE_TOO_LARGE, with the claimed size in the text, for a picture beyond
/// SetReadLimits. Every format calls it with its header's claims before it asks for memory.
/// `pixelBytes` is what one pixel takes in the file, all channels together.
void checkReadLimits(int64_t width, int64_t height, uint64_t pixelBytes);

/// The number of threads that a file library may use, 0 for none.
int fileThreads();

}
