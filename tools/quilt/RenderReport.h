#pragma once

#include <string>
#include <vector>

#include "RenderFrame.h"

namespace QuiltTool
{

/// Where `render --json` goes. Opened before anything is rendered, so that a wrong name is told at
/// once.
class RenderReport
{
public:
    explicit RenderReport(const std::string& file); ///< "-": standard output

    /// Writes the report on all frames, and the process's figures.
    void write(const std::vector<FrameResult>& frames, double seconds) const;

private:
    const std::string m_file;
};

/// Processor time of all threads so far, in the program and in the system.
double cpuSeconds();

}
