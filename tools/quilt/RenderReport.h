#pragma once

#include <optional>
#include <string>
#include <vector>

#include "RenderFrame.h"
#include "WholeFile.h"

namespace QuiltTool
{

/// Where `render --json` goes. Made before anything is rendered, so that a wrong name is told at
/// once.
class RenderReport
{
public:
    explicit RenderReport(const std::string& file); ///< "-": standard output; throws UsageError

    /// Writes the report on all frames, and the process's figures. Throws Failed.
    void write(const std::vector<FrameResult>& frames, double seconds) const;

private:
    std::optional<WholeFile> m_file; // none: standard output
};

/// Processor time of all threads so far, in the program and in the system.
double cpuSeconds();

}
