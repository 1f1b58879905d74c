#include "Stream.h"

#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Failure.h"

namespace EMULSION::Module
{

namespace
{

FILE* open(int descriptor, OIIO::Filesystem::IOProxy::Mode mode)
{
    const int copy = ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
    const bool writes = mode == OIIO::Filesystem::IOProxy::Write;
    FILE* const file = copy < 0 ? nullptr : ::fdopen(copy, writes ? "w+b" : "rb");
    if (file)
    {
        std::rewind(file); // the copy shares its place with the caller's
        return file;
    }
    const int error = errno;
    if (copy >= 0)
        ::close(copy);
    throw Failure(ERROR_FILE_OPEN, std::generic_category().message(error));
}

}

Stream::Stream(int descriptor, Mode mode) : IOProxy("", mode), m_file(open(descriptor, mode)) {}

Stream::~Stream()
{
    std::fclose(m_file);
}

bool Stream::seek(int64_t offset)
{
    // Seeking where one is already costs the buffer.
    if (offset != m_pos && ::fseeko(m_file, offset, SEEK_SET) != 0)
        return false;
    m_pos = offset;
    return true;
}

// Of nothing the bytes may be null, which the C library does not take.
size_t Stream::read(void* bytes, size_t count)
{
    if (count == 0)
        return 0;
    const size_t done = std::fread(bytes, 1, count, m_file);
    m_pos += static_cast<int64_t>(done);
    if (done < count && std::ferror(m_file))
        noteFailure();
    m_ended = m_ended || done < count;
    if (!m_hidesEnd)
        return done;
    std::memset(static_cast<char*>(bytes) + done, 0, count - done);
    return count;
}

size_t Stream::write(const void* bytes, size_t count)
{
    if (count > 0 && !hasFailed() && std::fwrite(bytes, 1, count, m_file) < count)
        noteFailure();
    m_pos += static_cast<int64_t>(count);
    return count;
}

size_t Stream::pread(void* bytes, size_t count, int64_t offset)
{
    const std::lock_guard lock(m_mutex);
    const int64_t before = m_pos;
    const size_t done = seek(offset) ? read(bytes, count) : 0;
    seek(before);
    return done;
}

size_t Stream::pwrite(const void* bytes, size_t count, int64_t offset)
{
    const std::lock_guard lock(m_mutex);
    const int64_t before = m_pos;
    if (seek(offset))
        write(bytes, count);
    else
        noteFailure();
    seek(before);
    return count;
}

size_t Stream::size() const
{
    struct stat status = {};
    flush();
    return ::fstat(::fileno(m_file), &status) == 0 ? static_cast<size_t>(status.st_size) : 0;
}

void Stream::flush() const
{
    if (mode() == Write && std::fflush(m_file) != 0)
        noteFailure();
}

void Stream::noteFailure() const
{
    if (m_error == 0)
        m_error = errno != 0 ? errno : EIO;
}

std::string Stream::failure() const
{
    return std::generic_category().message(m_error);
}

bool Stream::hasEnded()
{
    return std::exchange(m_ended, false);
}

}
