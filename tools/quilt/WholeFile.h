#pragma once

#include <string>

namespace QuiltTool
{

/// A text that is in its file as a whole or, under that name, not at all. A device or a pipe gets
/// it as it is.
class WholeFile
{
public:
    /// Throws UsageError, which begins with `option`, when the file cannot be written. Leaves
    /// nothing behind.
    WholeFile(const std::string& option, const std::string& file);

    void write(const std::string& text) const; ///< throws Failed

private:
    int tryToWrite(const std::string& text, bool keep) const;

    const std::string m_option;
    std::string m_target; // behind symbolic links
};

}
