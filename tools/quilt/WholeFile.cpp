#include "WholeFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <random>
#include <string_view>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Problems.h"

namespace QuiltTool
{

namespace
{

namespace fs = std::filesystem;

// Numbers of processes would not do: in containers that share a folder they are the same.
std::string temporaryName(const std::string& target)
{
    std::random_device random;
    char number[2 * 8 + 1];
    std::snprintf(number, sizeof number, "%08x%08x", random(), random());
    return (fs::path(target).parent_path() / (std::string(".quilt-") + number)).string();
}

// Gives an errno, 0 when all is well.
int writeAndClose(int descriptor, std::string_view text)
{
    if (descriptor < 0)
        return errno;
    int error = 0;
    while (error == 0 && !text.empty())
    {
        const ssize_t written = ::write(descriptor, text.data(), text.size());
        if (written >= 0)
            text.remove_prefix(static_cast<size_t>(written));
        else if (errno != EINTR)
            error = errno;
    }
    if (::close(descriptor) != 0 && error == 0)
        error = errno;
    return error;
}

}

WholeFile::WholeFile(const std::string& option, const std::string& file) : m_option(option)
{
    std::error_code ignored;
    m_target = fs::weakly_canonical(file, ignored).string();
    if (m_target.empty())
        m_target = file;
    if (const int error = tryToWrite("", false))
        throw UsageError(option + ": " + file + " cannot be written: " + std::strerror(error));
}

void WholeFile::write(const std::string& text) const
{
    if (const int error = tryToWrite(text, true))
        throw Failed(m_option + ": " + m_target + " cannot be written: " + std::strerror(error));
}

int WholeFile::tryToWrite(const std::string& text, bool keep) const
{
    struct stat status = {};
    const bool exists = ::stat(m_target.c_str(), &status) == 0;
    if (exists ? S_ISDIR(status.st_mode) : fs::path(m_target).filename().empty())
        return EISDIR;
    if (exists && ::access(m_target.c_str(), W_OK) != 0)
        return errno;
    if (exists && !S_ISREG(status.st_mode))
        return keep ? writeAndClose(::open(m_target.c_str(), O_WRONLY | O_CLOEXEC), text) : 0;

    const std::string temporary = temporaryName(m_target);
    const int descriptor = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor < 0)
        return errno;
    if (exists)
        ::fchmod(descriptor, status.st_mode & 0777);
    int error = writeAndClose(descriptor, text);
    if (error == 0 && keep && ::rename(temporary.c_str(), m_target.c_str()) == 0)
        return 0;
    if (error == 0 && keep)
        error = errno;
    ::unlink(temporary.c_str());
    return error;
}

}
