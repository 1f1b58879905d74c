#include "TempFolder.h"

#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <Bramble3/Configuration.h>

#include "Problems.h"
#include "Text.h"

namespace QuiltTool
{

namespace
{

namespace fs = std::filesystem;

constexpr const char* s_key = "LANTERN_TMPDIR";
constexpr std::string_view s_prefix = "quilt-";
constexpr const char* s_lockName = "lock"; // a file that is locked as long as the process lives

// The process of a folder of this name; 0 when the name is another.
pid_t processOf(const std::string& name)
{
    if (!name.starts_with(s_prefix))
        return 0;
    pid_t process = 0;
    const char* const end = name.data() + name.size();
    const auto [stop, error] = std::from_chars(name.data() + s_prefix.size(), end, process);
    return error == std::errc() && stop == end && process > 0 ? process : 0;
}

bool isOwnFolder(const fs::path& folder)
{
    struct stat status = {};
    return ::lstat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
           status.st_uid == ::geteuid();
}

// -1 when another process holds it. Process numbers alone tell too little: a process in another
// container that shares the folder has no number here.
int takeLock(const fs::path& folder)
{
    const int lock = ::open((folder / s_lockName).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (lock >= 0 && ::flock(lock, LOCK_EX | LOCK_NB) == 0)
        return lock;
    if (lock >= 0)
        ::close(lock);
    return -1;
}

bool isAlive(pid_t process)
{
    return ::kill(process, 0) == 0 || errno != ESRCH;
}

void removeIfAbandoned(const fs::path& folder)
{
    if (!isOwnFolder(folder))
        return;
    const int lock = takeLock(folder);
    if (lock < 0)
        return;
    std::error_code ignored;
    fs::remove_all(folder, ignored);
    ::close(lock);
}

void removeAbandonedFolders(const fs::path& parent)
{
    std::error_code error;
    for (fs::directory_iterator entry(parent, error), end; !error && entry != end;
         entry.increment(error))
        if (const pid_t process = processOf(entry->path().filename().string());
            process != 0 && !isAlive(process))
            removeIfAbandoned(entry->path());
}

}

TempFolder::TempFolder()
{
    const fs::path parent = Bramble3::BzConfiguration::v1::Config().get(s_key);
    removeAbandonedFolders(parent);
    m_path = parent / (std::string(s_prefix) + std::to_string(::getpid()));
    // One of this name is left from an earlier process of the same number.
    removeIfAbandoned(m_path);
    make();
    try
    {
        tryToWrite();
    }
    catch (...)
    {
        std::error_code ignored;
        fs::remove_all(m_path, ignored);
        ::close(m_lock);
        throw;
    }
    Bramble3::BzConfiguration::v1::Config().set(s_key, m_path.string());
}

TempFolder::~TempFolder()
{
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
    ::close(m_lock);
}

void TempFolder::make()
{
    const int status = ::mkdir(m_path.c_str(), 0700);
    int error = errno;
    if (status == 0)
    {
        m_lock = takeLock(m_path);
        error = errno;
    }
    if (m_lock < 0)
        throw Failed("the folder for swap files, " + inQuotes(m_path.string()) +
                     ", cannot be made: " + std::strerror(error) +
                     "; the environment variable LANTERN_TMPDIR says where it goes");
}

void TempFolder::tryToWrite() const
{
    const std::string file = (m_path / "try").string();
    const int descriptor = ::open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    const std::string bytes(4096, 'x');
    const bool written =
        descriptor >= 0 && ::write(descriptor, bytes.data(), bytes.size()) == ssize_t(bytes.size());
    const int error = errno;
    if (descriptor >= 0)
        ::close(descriptor);
    ::unlink(file.c_str());
    if (!written)
        throw Failed("nothing can be written to the folder for swap files, " +
                     inQuotes(m_path.string()) + ": " + std::strerror(error) +
                     "; the environment variable LANTERN_TMPDIR says where it goes");
}

}
