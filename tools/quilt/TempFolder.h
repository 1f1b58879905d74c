#pragma once

#include <filesystem>
#include <string>

namespace QuiltTool
{

/// The folder for this process's swap files: quilt-<process id> below LANTERN_TMPDIR.
///
/// The constructor removes what killed processes of the same user have left there, makes the
/// folder, tries to write to it, and sets LANTERN_TMPDIR to it for the library; where it cannot it
/// throws Failed. The destructor removes the folder with all that is in it.
class TempFolder
{
public:
    TempFolder();
    ~TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::filesystem::path& path() const { return m_path; }

private:
    void make();
    void tryToWrite() const;

    std::filesystem::path m_path;
    int m_lock = -1; // a file descriptor
};

}
