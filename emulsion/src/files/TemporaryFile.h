#pragma once

#include <string>

#include "files/FileFormat.h"

namespace EMULSION::Private
{

/// The file that writing to the path replaces: where its symbolic links lead, if it is one. The end
/// of the links need not exist.
std::string targetOf(const std::string& path);

/// 0, or the errno that replacing the file would meet.
int writeability(const std::string& target);

/// A new file beside the target, which takes its name when it is whole and is removed otherwise.
/// All functions throw FileError.
class TemporaryFile
{
public:
    /// Creates ".name.XXXXXX", with the permissions of the target if there is one.
    explicit TemporaryFile(const std::string& target);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const std::string& path() const { return m_path; }
    int descriptor() const { return m_descriptor.number(); }

    /// Flushes it to the disk and gives it the target's name.
    void commit();

private:
    void create();

    const std::string m_target;
    std::string m_path; // empty when there is nothing to remove
    Descriptor m_descriptor;
};

}
