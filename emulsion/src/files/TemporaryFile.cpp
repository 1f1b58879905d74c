#include "files/TemporaryFile.h"

#include <cerrno>
#include <climits>
#include <filesystem>
#include <random>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "files/OpenFile.h"

namespace EMULSION::Private
{

namespace
{

namespace fs = std::filesystem;

std::string folderOf(const std::string& path)
{
    const fs::path folder = fs::path(path).parent_path();
    return folder.empty() ? "." : folder.string();
}

std::string temporaryName(const std::string& target)
{
    static constexpr char letters[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    static constexpr size_t suffix = 7; // ".XXXXXX"
    std::random_device random;
    const fs::path path(target);
    std::string name = "." + path.filename().string();
    name.resize(std::min<size_t>(name.size(), NAME_MAX - suffix));
    name += '.';
    for (size_t i = 1; i < suffix; ++i)
        name += letters[random() % (sizeof(letters) - 1)];
    return (path.parent_path() / name).string();
}

int errorOf(int result)
{
    return result == 0 ? 0 : errno;
}

}

std::string targetOf(const std::string& path)
{
    static constexpr int mostLinks = 40; // as many as the system follows
    fs::path target(path);
    std::error_code ignored;
    for (int i = 0; i < mostLinks && fs::is_symlink(fs::symlink_status(target, ignored)); ++i)
    {
        const fs::path next = fs::read_symlink(target, ignored);
        target = next.is_absolute() ? next : target.parent_path() / next;
    }
    return target.string();
}

int writeability(const std::string& target)
{
    if (target.empty())
        return ENOENT;
    struct stat status = {};
    if (::stat(target.c_str(), &status) == 0)
    {
        if (S_ISDIR(status.st_mode))
            return EISDIR;
        if (!S_ISREG(status.st_mode)) // a device, a pipe: a picture must not take its place
            return EINVAL;
        if (const int error = errorOf(::faccessat(AT_FDCWD, target.c_str(), W_OK, AT_EACCESS)))
            return error;
    }
    else if (errno != ENOENT)
        return errno;
    if (target.back() == '/')
        return EISDIR;
    if (fs::path(target).filename().string().size() > NAME_MAX)
        return ENAMETOOLONG;
    const std::string folder = folderOf(target);
    if (::stat(folder.c_str(), &status) != 0)
        return errno;
    if (!S_ISDIR(status.st_mode))
        return ENOTDIR;
    return errorOf(::faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS));
}

TemporaryFile::TemporaryFile(const std::string& target) : m_target(target)
{
    if (const int error = writeability(target))
        throw FileError(ERROR_FILE_OPEN, systemText(error));
    create();
    struct stat status = {};
    if (::stat(target.c_str(), &status) != 0)
        return;
    // The owner is kept where the system lets us, before the permissions, which this may clear.
    [[maybe_unused]] const int owned = ::fchown(descriptor(), status.st_uid, status.st_gid);
    if (::fchmod(descriptor(), status.st_mode & 07777) != 0)
    {
        const int error = errno;
        ::unlink(m_path.c_str());
        throw FileError(ERROR_FILE_OPEN, systemText(error));
    }
}

void TemporaryFile::create()
{
    for (int attempt = 0; attempt < 100; ++attempt)
    {
        const std::string path = temporaryName(m_target);
        m_descriptor = Descriptor(uninterrupted(
            [&] { return ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666); }));
        if (descriptor() >= 0)
        {
            m_path = path;
            return;
        }
        if (errno != EEXIST)
            break;
    }
    throw FileError(ERROR_FILE_OPEN, systemText(errno));
}

TemporaryFile::~TemporaryFile()
{
    if (!m_path.empty())
        ::unlink(m_path.c_str());
}

void TemporaryFile::commit()
{
    if (::fsync(descriptor()) != 0 || ::rename(m_path.c_str(), m_target.c_str()) != 0)
        throw FileError(ERROR_FILE_WRITE, systemText(errno));
    m_path.clear();
    // The new name reaches the disk, too, where folders can be flushed.
    const Descriptor folder(::open(folderOf(m_target).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder.number() >= 0)
        ::fsync(folder.number());
}

}
