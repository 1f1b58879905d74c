#include "FileWatch.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <utility>

#include <poll.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Signals.h"

namespace QuiltTool
{

namespace
{

namespace fs = std::filesystem;
using std::chrono::milliseconds;

constexpr milliseconds s_lookPeriod{1000};

// While files settle. Programs that write a file in pieces cause many events a second; nobody has
// to wake up for each.
constexpr milliseconds s_step{20};

// How long nothing may happen until a change counts as complete: in general, after a file has
// vanished, and while a program has a file open that it has written to.
constexpr milliseconds s_quiet{100}, s_quietVanished{1000}, s_quietOpen{2000};

constexpr uint32_t s_events = IN_MODIFY | IN_CLOSE_WRITE | IN_ATTRIB | IN_CREATE | IN_DELETE |
                              IN_MOVED_FROM | IN_MOVED_TO | IN_ONLYDIR;

}

FileWatch::FileWatch(int output)
    : m_output(output), m_inotify(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
{}

FileWatch::~FileWatch()
{
    if (m_inotify >= 0)
        ::close(m_inotify);
}

void FileWatch::setFiles(const std::set<std::string>& files)
{
    std::erase_if(m_known, [&](const auto& known) { return !files.contains(known.first); });
    const std::map<std::string, Folder> before = std::exchange(m_folders, {});
    for (const std::string& file : files)
        addFolders(file);
    // Before the states, so that no change falls in between.
    watchFolders();
    for (const auto& [path, folder] : before)
        unwatch(folder.watch);
    for (const std::string& file : files)
        if (!m_known.contains(file))
            m_known[file] = stateOf(file);
}

bool FileWatch::hasChanged()
{
    if (!m_hasChanged && (readEvents() || Clock::now() >= m_nextLook))
        m_hasChanged = differs(false);
    return m_hasChanged;
}

std::vector<std::string> FileWatch::waitForChange()
{
    const bool isAwaited = m_hasChanged;
    std::vector<std::string> changed;
    while (!isUnwanted())
    {
        while (!m_hasChanged && !isUnwanted())
        {
            waitFor(m_inotify, std::chrono::ceil<milliseconds>(m_nextLook - Clock::now()));
            waitFor(-1, s_step);
            if (readEvents() || Clock::now() >= m_nextLook)
                m_hasChanged = differs(true);
        }
        const States now = waitForQuiet();
        if (isUnwanted())
            break;
        for (const auto& [file, state] : now)
            if (state != m_known[file])
                changed.push_back(file);
        m_known = now;
        m_hasChanged = false;
        if (isAwaited || !changed.empty())
            break;
    }
    return changed;
}

bool FileWatch::isUnwanted() const
{
    pollfd output = {m_output, 0, 0};
    return stopRequested() || ::poll(&output, 1, 0) > 0;
}

// Returns when there is something to read from a descriptor, when nobody wants to
// know of changes, or after a while.
void FileWatch::waitFor(int descriptor, milliseconds most) const
{
    pollfd descriptors[] = {
        {stopDescriptor(), POLLIN, 0}, {m_output, 0, 0}, {descriptor, POLLIN, 0}};
    ::poll(descriptors, std::size(descriptors),
           static_cast<int>(std::max(most, milliseconds(0)).count()));
}

FileWatch::State FileWatch::stateOf(const std::string& file)
{
    struct stat status = {};
    State state;
    if (::stat(file.c_str(), &status) != 0)
        return state;
    state.exists = true;
    state.stamp.modified = status.st_mtim.tv_sec * int64_t{1'000'000'000} + status.st_mtim.tv_nsec;
    state.stamp.size = static_cast<uint64_t>(status.st_size);
    state.stamp.inode = status.st_ino;
    return state;
}

FileWatch::States FileWatch::currentStates() const
{
    States states;
    for (const auto& [file, known] : m_known)
        states[file] = stateOf(file);
    return states;
}

bool FileWatch::differs(bool whereVanished)
{
    m_nextLook = Clock::now() + s_lookPeriod;
    watchFolders();
    return std::ranges::any_of(m_known, [&](const auto& known) {
        const State now = stateOf(known.first);
        return now != known.second && (now.exists || whereVanished);
    });
}

FileWatch::States FileWatch::waitForQuiet()
{
    States states = currentStates();
    auto since = Clock::now();
    while (!isUnwanted() && Clock::now() < since + quietTime(states))
    {
        waitFor(-1, s_step);
        const bool isTold = readEvents();
        States next = currentStates();
        if (!isTold && next == states)
            continue;
        states = std::move(next);
        since = Clock::now();
    }
    m_beingWritten.clear();
    return states;
}

milliseconds FileWatch::quietTime(const States& now) const
{
    if (!m_beingWritten.empty())
        return s_quietOpen;
    const bool hasVanished = std::ranges::any_of(m_known, [&](const auto& known) {
        return known.second.exists && !now.at(known.first).exists;
    });
    return hasVanished ? s_quietVanished : s_quiet;
}

// That in which its name stands and, behind a link, that of the file itself.
void FileWatch::addFolders(const std::string& file)
{
    std::error_code error;
    const fs::path path = fs::absolute(file, error);
    for (const fs::path& place : {path, fs::weakly_canonical(path, error)})
        if (place.has_filename())
            m_folders[place.parent_path()].files[place.filename()] = file;
}

// Asking for a watch again changes nothing, except where a folder was made since or is another one
// by now. Where there is no watch the second's look is all there is.
void FileWatch::watchFolders()
{
    for (auto& [path, folder] : m_folders)
    {
        const int before =
            std::exchange(folder.watch, ::inotify_add_watch(m_inotify, path.c_str(), s_events));
        if (before != folder.watch)
            unwatch(before);
    }
}

void FileWatch::unwatch(int watch)
{
    const auto has = [watch](const auto& folder) { return folder.second.watch == watch; };
    if (watch >= 0 && std::ranges::none_of(m_folders, has))
        ::inotify_rm_watch(m_inotify, watch);
}

bool FileWatch::readEvents()
{
    bool isOfInterest = false;
    alignas(inotify_event) char buffer[16384];
    for (ssize_t size; (size = ::read(m_inotify, buffer, sizeof buffer)) > 0;)
        for (const char* next = buffer; next < buffer + size;)
        {
            inotify_event event;
            std::memcpy(&event, next, sizeof event);
            const std::string name = event.len > 0 ? next + sizeof event : "";
            isOfInterest = isOfWatched(event.wd, name, event.mask) || isOfInterest;
            next += sizeof event + event.len;
        }
    return isOfInterest;
}

bool FileWatch::isOfWatched(int watch, const std::string& name, uint32_t what)
{
    bool isWatched = (what & IN_Q_OVERFLOW) != 0;
    for (const auto& [path, folder] : m_folders)
    {
        const auto file = folder.files.find(name);
        if (folder.watch != watch || file == folder.files.end())
            continue;
        isWatched = true;
        if (what & IN_MODIFY)
            m_beingWritten.insert(file->second);
        else if (!(what & IN_ATTRIB))
            m_beingWritten.erase(file->second);
    }
    return isWatched;
}

}
