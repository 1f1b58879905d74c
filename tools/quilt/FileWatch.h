#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <EMULSION/ImageFile.h>

namespace QuiltTool
{

/// Notices when files change on the disk, be they rewritten, replaced, made or removed.
///
/// A file has changed when its stamp is another one: time of the last change, size, inode. The
/// stamps are compared once a second, which works on every file system; where the system tells of
/// changes, which it does for folders of this machine, they are compared at once. One thread at a
/// time.
class FileWatch
{
public:
    /// `output`: a descriptor that changes are told to; waits end when it is a pipe or a socket
    /// that nobody reads from any more. -1: none.
    explicit FileWatch(int output);
    ~FileWatch();
    FileWatch(const FileWatch&) = delete;
    FileWatch& operator=(const FileWatch&) = delete;

    /// Which files to watch, existing or not. Those that were watched already keep their state;
    /// changes of the others count from this call on, so it comes before they are read.
    void setFiles(const std::set<std::string>& files);

    /// Looks, without waiting, whether a file has changed. One that has vanished may be about to be
    /// replaced, and has not changed yet. Cheap enough to be asked many times a second.
    bool hasChanged();

    /// Waits until files have changed and have been left alone for a while, and gives their names;
    /// they count as unchanged from then on. Where hasChanged() was true the list may be empty: all
    /// is as it was before. It is empty, too, when isUnwanted() ends the wait.
    std::vector<std::string> waitForChange();

    /// Whether nobody wants to know of changes: stopRequested(), or nobody reads the output.
    bool isUnwanted() const;

private:
    using Clock = std::chrono::steady_clock;

    struct State
    {
        bool exists = false;
        EMULSION::FileStamp stamp;

        friend bool operator==(const State&, const State&) = default;
    };
    using States = std::map<std::string, State>; // by the file

    struct Folder
    {
        std::map<std::string, std::string> files; // the watched ones by their names in it
        int watch = -1;                           // inotify's
    };

    static State stateOf(const std::string& file);
    States currentStates() const;
    bool differs(bool whereVanished);
    States waitForQuiet();
    std::chrono::milliseconds quietTime(const States& now) const;

    void waitFor(int descriptor, std::chrono::milliseconds most) const;

    void addFolders(const std::string& file);
    void watchFolders();
    void unwatch(int watch);
    bool readEvents(); // true: of a watched file
    bool isOfWatched(int watch, const std::string& name, uint32_t what);

    const int m_output;
    const int m_inotify; // -1 when the system has none
    States m_known;
    std::map<std::string, Folder> m_folders; // by the path
    std::set<std::string> m_beingWritten;    // files that somebody has open
    Clock::time_point m_nextLook{};
    bool m_hasChanged = false;
};

}
