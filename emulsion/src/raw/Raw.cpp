#include "EMULSION/Raw.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <system_error>
#include <type_traits>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

// Compiled in: the state then stands on the stack, and no two versions of it can meet.
#define XXH_INLINE_ALL
#include <xxhash.h>

#include "EMULSION/Channels.h"
#include "EMULSION/Error.h"
#include "raw/PixelPieces.h"
#include "Rows.h"
#include "Validation.h"

namespace EMULSION
{

using namespace Private;

namespace
{

// One page, so that the pixels behind it begin at a page of the file: the system is measurably
// faster at whole pages. All of it is covered by the checksum, that field counting as 0.
struct Header
{
    static constexpr char s_magic[8] = {'E', 'M', 'U', 'L', 'R', 'A', 'W', '\n'};
    static constexpr uint32_t s_byteOrder = 0x01020304;
    static constexpr uint32_t s_version = 1;

    char magic[8];
    uint32_t byteOrder;
    uint32_t version;
    int64_t x0, y0, x1, y1;
    uint64_t channels;
    uint64_t rowBytes;     // without the gaps between rows, which are not written
    uint64_t payloadBytes; // behind the header
    uint64_t checksum;     // XXH3, 64 bits, over the header and the pixels
    char unused[4096 - 80];
};
static_assert(sizeof(Header) == 4096 && std::is_trivially_copyable_v<Header>);

// The checksum stays 0.
Header headerOf(const Image& image)
{
    Header header = {};
    std::memcpy(header.magic, Header::s_magic, sizeof(header.magic));
    header.byteOrder = Header::s_byteOrder;
    header.version = Header::s_version;
    header.x0 = image.bounds.x0;
    header.y0 = image.bounds.y0;
    header.x1 = image.bounds.x1;
    header.y1 = image.bounds.y1;
    header.channels = image.channels;
    if (!isEmpty(image))
        header.rowBytes = static_cast<uint64_t>(image.bounds.width()) * pixelBytes(image.channels);
    header.payloadBytes = header.rowBytes * static_cast<uint64_t>(image.bounds.height());
    return header;
}

class Checksum
{
public:
    Checksum() { XXH3_64bits_reset(&m_state); }

    void add(const void* bytes, size_t count) { XXH3_64bits_update(&m_state, bytes, count); }
    void add(const Piece& piece)
    {
        for (int i = 0; i < piece.count(); ++i)
            add(piece.parts()[i].iov_base, piece.parts()[i].iov_len);
    }
    uint64_t value() const { return XXH3_64bits_digest(&m_state); }

private:
    XXH3_state_t m_state;
};

// Repeats what a signal has interrupted.
auto uninterrupted(const auto& call)
{
    auto result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return result;
}

// An open file and the name of the function that works on it, for error texts.
class File
{
public:
    File(const char* function, const char* path) : m_function(function), m_path(path) {}
    ~File()
    {
        if (m_descriptor >= 0)
            ::close(m_descriptor);
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    int descriptor() const { return m_descriptor; }

    bool open(int flags)
    {
        m_descriptor =
            uninterrupted([&] { return ::open(m_path, flags | O_CLOEXEC, S_IRUSR | S_IWUSR); });
        if (m_descriptor >= 0)
            return true;
        const bool missing = errno == ENOENT && !(flags & O_CREAT);
        return fail(missing ? ERROR_FILE_NOT_FOUND : ERROR_FILE_OPEN,
                    flags & O_CREAT ? "creating it" : "opening it", errno);
    }

    bool close()
    {
        // What close reports may be the failure of an earlier write. It is not repeated: the
        // descriptor is gone whatever it says.
        const int result = ::close(m_descriptor);
        m_descriptor = -1;
        return result == 0 || fail(ERROR_FILE_WRITE, "closing it", errno);
    }

    bool write(const Piece& piece, uint64_t offset)
    {
        return transfer(::pwritev, piece, offset, {"writing", ERROR_FILE_WRITE, ERROR_FILE_WRITE});
    }
    bool read(const Piece& piece, uint64_t offset)
    {
        return transfer(::preadv, piece, offset, {"reading", ERROR_FILE_READ, ERROR_FILE_FORMAT});
    }

    bool fail(Error code, const std::string& step, int error) const
    {
        return refuse(code, step + " failed: " + std::generic_category().message(error));
    }

    bool refuse(Error code, const std::string& what) const
    {
        SetError(code, std::string(m_function) + ": \"" + m_path + "\": " + what + ".");
        return false;
    }

private:
    struct Direction
    {
        const char* name;
        Error failure; // when the system refuses
        Error end;     // when it moves nothing: the end of the file
    };

    bool transfer(auto call, Piece piece, uint64_t offset, const Direction& direction)
    {
        while (piece.count() > 0)
        {
            const auto moved = uninterrupted([&] {
                return call(m_descriptor, piece.parts(), piece.count(), static_cast<off_t>(offset));
            });
            if (moved <= 0)
            {
                const int error = errno;
                const std::string step = direction.name + (" at byte " + std::to_string(offset));
                return moved < 0 ? fail(direction.failure, step, error)
                                 : refuse(direction.end, step + " met the end of the file");
            }
            piece.skip(static_cast<size_t>(moved));
            offset += static_cast<uint64_t>(moved);
        }
        return true;
    }

    const char* const m_function;
    const char* const m_path;
    int m_descriptor = -1;
};

// Has the file system set the space aside, so that a full disk is met before a pixel is copied.
// This is posix_fallocate without its emulation, which writes to every block where the file system
// cannot reserve.
bool reserve(File& file, uint64_t size)
{
    if (uninterrupted(
            [&] { return ::fallocate(file.descriptor(), 0, 0, static_cast<off_t>(size)); }) == 0)
        return true;
    const int error = errno;
    if (error == EOPNOTSUPP || error == ENOSYS || error == EINVAL)
        return true;
    return file.fail(ERROR_FILE_WRITE, "reserving " + std::to_string(size) + " bytes", error);
}

bool writeContents(File& file, const Image& image)
{
    Header header = headerOf(image);
    if (!reserve(file, sizeof(header) + header.payloadBytes))
        return false;
    Checksum checksum;
    checksum.add(&header, sizeof(header));
    uint64_t offset = sizeof(header);
    const bool written = forEachPiece(image, [&](const Piece& piece) {
        checksum.add(piece); // brings the piece into the cache, from where it is written
        const uint64_t start = offset;
        offset += piece.bytes();
        return file.write(piece, start);
    });
    header.checksum = checksum.value();
    // Last, so that a file without all of its pixels never looks like a swap file.
    return written && file.write(Piece(&header, sizeof(header)), 0);
}

bool checkSize(File& file, const Header& expected)
{
    struct stat status = {};
    if (::fstat(file.descriptor(), &status) != 0)
        return file.fail(ERROR_FILE_READ, "asking for its size", errno);
    if (!S_ISREG(status.st_mode))
        return file.refuse(ERROR_FILE_FORMAT, "this is no regular file");
    const uint64_t size = sizeof(Header) + expected.payloadBytes;
    if (static_cast<uint64_t>(status.st_size) == size)
        return true;
    return file.refuse(ERROR_FILE_FORMAT, "it has " + std::to_string(status.st_size) +
                                              " bytes where the image needs " +
                                              std::to_string(size));
}

// Compares all but the checksum with what WriteRAW would have written for the image.
bool checkHeader(File& file, Header found, const Header& expected)
{
    found.checksum = 0;
    if (std::memcmp(found.magic, expected.magic, sizeof(found.magic)) != 0 ||
        found.byteOrder != expected.byteOrder || found.version != expected.version)
        return file.refuse(ERROR_FILE_FORMAT, "this is no swap file of this program");
    if (std::memcmp(&found, &expected, sizeof(found)) == 0)
        return true;
    return file.refuse(
        ERROR_FILE_FORMAT,
        "it holds the bounds " + textOf(UTIL::Rect(found.x0, found.y0, found.x1, found.y1)) +
            " with the channel mask " + std::to_string(found.channels) + ", the image has " +
            textOf(UTIL::Rect(expected.x0, expected.y0, expected.x1, expected.y1)) + " with " +
            std::to_string(expected.channels));
}

bool readContents(File& file, const Image& image)
{
    const Header expected = headerOf(image);
    Header found = {};
    if (!checkSize(file, expected) || !file.read(Piece(&found, sizeof(found)), 0) ||
        !checkHeader(file, found, expected))
        return false;
    Checksum checksum;
    checksum.add(&expected, sizeof(expected));
    uint64_t offset = sizeof(found);
    const bool read = forEachPiece(image, [&](const Piece& piece) {
        const bool moved = file.read(piece, offset);
        offset += piece.bytes();
        checksum.add(piece);
        return moved;
    });
    return read && (checksum.value() == found.checksum ||
                    file.refuse(ERROR_FILE_FORMAT, "its checksum does not match its contents"));
}

}

void WriteRAW(const char* path, const Image* image)
{
    if (!checkImage("WriteRAW", "image", image))
        return;
    if (!path)
    {
        invalidArgument("WriteRAW", "the path is null.");
        return;
    }
    File file("WriteRAW", path);
    if (!file.open(O_WRONLY | O_CREAT | O_EXCL))
        return;
    const bool written = writeContents(file, *image);
    const bool closed = file.close();
    if (!written || !closed)
        ::unlink(path);
}

void ReadRAW(const Image* image, const char* path)
{
    if (!checkImage("ReadRAW", "image", image))
        return;
    if (!path)
    {
        invalidArgument("ReadRAW", "the path is null.");
        return;
    }
    File file("ReadRAW", path);
    if (file.open(O_RDONLY))
        readContents(file, *image);
}

}
