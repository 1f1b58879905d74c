#include "files/OpenFile.h"

#include <cerrno>
#include <charconv>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace EMULSION::Private
{

namespace
{

// Does not wait for the other end of a pipe, which is refused later.
Descriptor openForReading(const std::string& path)
{
    return Descriptor(uninterrupted(
        [&] { return ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK); }));
}

// Takes "?part=name" or "|12" off the end of the path; false when there is neither.
bool splitPath(FoundFile& file)
{
    static constexpr std::string_view partMark = "?part=";
    if (const size_t at = file.path.rfind(partMark); at != std::string::npos)
    {
        file.part = file.path.substr(at + partMark.size());
        file.path.resize(at);
        return true;
    }
    const size_t bar = file.path.rfind('|');
    if (bar == std::string::npos)
        return false;
    int64_t frame = 0;
    const char* const end = file.path.data() + file.path.size();
    const auto [rest, fault] = std::from_chars(file.path.data() + bar + 1, end, frame);
    if (fault != std::errc() || rest != end)
        return false;
    file.frame = frame;
    file.path.resize(bar);
    return true;
}

FileStamp stampOf(const struct stat& status)
{
    FileStamp stamp;
    stamp.modified = status.st_mtim.tv_sec * int64_t{1000000000} + status.st_mtim.tv_nsec;
    stamp.size = static_cast<uint64_t>(status.st_size);
    stamp.inode = status.st_ino;
    return stamp;
}

void readHead(FoundFile& file)
{
    file.head.resize(4096);
    const ssize_t count = uninterrupted(
        [&] { return ::pread(file.descriptor.number(), file.head.data(), file.head.size(), 0); });
    if (count < 0)
        throw FileError(ERROR_FILE_READ, systemText(errno));
    file.head.resize(static_cast<size_t>(count));
}

}

void Descriptor::reset()
{
    if (m_number >= 0)
        ::close(m_number);
    m_number = -1;
}

std::string systemText(int error)
{
    return std::generic_category().message(error);
}

FoundFile findFile(const std::string& name)
{
    FoundFile file;
    file.path = name;
    file.descriptor = openForReading(file.path);
    const int error = errno;
    if (file.descriptor.number() < 0 && splitPath(file))
        file.descriptor = openForReading(file.path);
    if (file.descriptor.number() < 0)
        throw FileError(error == ENOENT ? ERROR_FILE_NOT_FOUND : ERROR_FILE_OPEN,
                        systemText(error));
    struct stat status = {};
    if (::fstat(file.descriptor.number(), &status) != 0)
        throw FileError(ERROR_FILE_OPEN, systemText(errno));
    if (!S_ISREG(status.st_mode))
        throw FileError(ERROR_FILE_OPEN,
                        S_ISDIR(status.st_mode) ? systemText(EISDIR) : "this is no regular file");
    file.stamp = stampOf(status);
    readHead(file);
    return file;
}

}
