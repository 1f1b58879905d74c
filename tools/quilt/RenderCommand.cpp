#include <chrono>
#include <cstdio>
#include <optional>

#include <Bramble3/XmlElement.h>
#include <QUILT/RenderManager.h>

#include "CacheGuard.h"
#include "CommandLine.h"
#include "RenderFrame.h"
#include "RenderReport.h"
#include "RenderSettings.h"
#include "RenderSetUp.h"
#include "Signals.h"
#include "Statistics.h"
#include "Text.h"
#include "Trace.h"
#include "WholeFile.h"

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
        : m_options(options), m_graph(readGraphToRender(options)),
          m_progress(showsBar(options), options.frames.size())
    {}

    int run()
    {
        warnOfOverwrites(m_graph, m_options, m_progress);
        const Settings settings = merged(m_options.settings, m_graph.settings);
        useColorConfig(settings, m_options);
        std::optional<RenderReport> report;
        if (m_options.json)
            report.emplace(*m_options.json);
        std::optional<WholeFile> statistics;
        if (m_options.statsXml)
            statistics.emplace("--stats-xml", *m_options.statsXml);
        if (m_options.trace)
            m_trace.emplace(*m_options.trace);

        const RenderProcess process(m_options);
        applySettings(settings, m_options.frames.size() > 1);
        readHeaders(m_graph, m_options.frames, m_progress, stopRequested);
        renderFrames();
        if (m_options.stats)
            tellStatistics();
        if (report)
            report->write(m_results, std::chrono::duration<double>(Clock::now() - m_start).count());
        if (statistics)
            statistics->write(QUILT::RenderManager::getStatistics()->toText());
        if (m_trace)
            m_trace->close();
        return status();
    }

private:
    void renderFrames()
    {
        for (size_t i = 0; i < m_options.frames.size() && !stopRequested(); ++i)
        {
            const int64_t frame = m_options.frames[i];
            const auto guardCache = [this](const Frame& built) {
                m_cacheGuard.check(m_graph, built);
            };
            const FrameJob job{frame,         i,          m_options.area,
                               stopRequested, guardCache, listener(frame)};
            m_results.push_back(renderFrame(m_graph, job, m_progress));
            tell(m_results.back());
            if (m_trace)
                m_trace->flush();
            if (m_results.back().status == FrameStatus::Failed && m_options.stopOnError)
                break;
        }
    }

    TileListener listener(int64_t frame)
    {
        if (!m_options.stats && !m_trace)
            return {};
        return [this, frame](const QUILT::TileReport& report) {
            if (m_options.stats)
                m_nodes.add(report);
            if (m_trace)
                m_trace->add(report, frame);
        };
    }

    void tellStatistics()
    {
        const std::string text = reportText(QUILT::RenderManager::getStatistics());
        m_progress.print(text + '\n' + trimmed(m_nodes.table(m_graph)));
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
    CacheGuard m_cacheGuard;
    std::vector<FrameResult> m_results;
    NodeStatistics m_nodes;
    std::optional<Trace> m_trace;
};

}

int render(const RenderOptions& options)
{
    return RenderCommand(options).run();
}

}
