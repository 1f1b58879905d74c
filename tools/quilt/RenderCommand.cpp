#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <optional>

#include <unistd.h>

#include <EMULSION/Error.h>
#include <QUILT/FileTasks.h>
#include <QUILT/RenderManager.h>

#include "ColorConfig.h"
#include "CommandLine.h"
#include "OutputFiles.h"
#include "RenderFrame.h"
#include "RenderReport.h"
#include "RenderSettings.h"
#include "Signals.h"
#include "TempFolder.h"
#include "Text.h"
#include "Version.h"

namespace QuiltTool
{

namespace
{

constexpr int s_done = 0, s_failed = 1, s_stopped = 130;

using Clock = std::chrono::steady_clock;

// One render command, from its options to its exit status.
class RenderCommand
{
public:
    explicit RenderCommand(const RenderOptions& options)
        : m_options(options), m_graph(readGraphFile(options.graph, options.changes)),
          m_progress(showsBar(options), options.frames.size())
    {}

    int run()
    {
        checkGraph();
        const Settings settings = merged(m_options.settings, m_graph.settings);
        setColorConfig(settings.ocio,
                       m_options.settings.ocio ? "--ocio" : m_options.graph + ": /settings/ocio");
        std::optional<RenderReport> report;
        if (m_options.json)
            report.emplace(*m_options.json);
        startLog();

        catchSignals();
        const TempFolder swapFolder;
        // Without it a file-out task refuses to write: it goes into the files' metadata.
        ::setenv("LANTERN_RELEASE", s_version, 0);
        applySettings(settings, m_options.frames.size());
        readHeaders();
        renderFrames();
        if (report)
            report->write(m_results, std::chrono::duration<double>(Clock::now() - m_start).count());
        return status();
    }

private:
    static bool showsBar(const RenderOptions& options)
    {
        if (options.progress == "auto")
            return !options.quiet && ::isatty(STDERR_FILENO) == 1;
        return options.progress == "always";
    }

    void checkGraph()
    {
        if (m_graph.outputs.empty())
            throw UsageError(m_options.graph +
                             ": /outputs: missing; expected at least one output to render");
        checkOutputFiles(m_graph, m_options.frames);
        if (!m_options.quiet)
            for (const std::string& place : overwrittenOutputs(m_graph, m_options.frames))
                m_progress.print(m_options.graph + ": " + place +
                                 ": warning: every frame writes this file; $F or $F4 in its name "
                                 "stands for the frame");
    }

    void startLog()
    {
        if (!m_options.log)
            return;
        if (!std::ofstream(*m_options.log, std::ios::app))
            throw UsageError("--log: " + *m_options.log + " cannot be written");
        QUILT::RenderManager::setRenderLogFile(*m_options.log);
        QUILT::RenderManager::setRenderDebug(true);
    }

    // What is wrong with a picture is told by the frame that needs it.
    void readHeaders()
    {
        const std::vector<std::string> pictures = picturesToRead(m_graph, m_options.frames);
        for (size_t i = 0; i < pictures.size() && !stopRequested(); ++i)
        {
            m_progress.setStep("reading headers:", i, pictures.size());
            QUILT::ImageHeaderCache_GetImageDescription(nullptr, pictures[i], false);
            EMULSION::ClearError();
        }
    }

    void renderFrames()
    {
        for (size_t i = 0; i < m_options.frames.size() && !stopRequested(); ++i)
        {
            const FrameJob job{m_options.frames[i], i, m_options.area};
            m_results.push_back(renderFrame(m_graph, job, m_progress));
            tell(m_results.back());
            if (m_results.back().status == FrameStatus::Failed && m_options.stopOnError)
                break;
        }
    }

    void tell(const FrameResult& result)
    {
        const std::string frame = "frame " + std::to_string(result.frame) + ": ";
        for (const Failure& failure : result.failures)
            m_progress.print((m_options.frames.size() > 1 ? frame : "") + textOf(failure));
        if (m_options.quiet || result.status != FrameStatus::Done)
            return;
        char seconds[32];
        std::snprintf(seconds, sizeof seconds, "%.2f s", result.seconds);
        m_progress.print(frame + seconds + (result.files.empty() ? "" : ", ") +
                         joined(result.files, ", "));
    }

    int status() const
    {
        if (stopRequested())
            return s_stopped;
        for (const FrameResult& result : m_results)
            if (result.status != FrameStatus::Done)
                return s_failed;
        return s_done;
    }

    const RenderOptions& m_options;
    const Clock::time_point m_start = Clock::now();
    const GraphFile m_graph;
    Progress m_progress;
    std::vector<FrameResult> m_results;
};

}

int render(const RenderOptions& options)
{
    return RenderCommand(options).run();
}

}
