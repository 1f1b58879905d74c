#include "RenderFrame.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>

#include <QUILT/RenderManager.h>

#include "OutputFiles.h"

namespace QuiltTool
{

namespace
{

using QUILT::RenderManager;
using Clock = std::chrono::steady_clock;

constexpr const char* s_outOfMemoryKind = "out of memory";
constexpr int s_outOfMemoryCode = 33;

class FrameObserver final : public QUILT::RenderObserver
{
public:
    FrameObserver(const GraphFile& graph, const FrameJob& job)
        : m_graph(graph), m_onTile(job.onTile)
    {}

    size_t tiles() const { return m_tiles; }
    size_t cached() const { return m_cached; }
    size_t tilesToDo() const { return m_tilesToDo; }
    size_t finishedOutputs() const { return m_finishedOutputs; }

    std::vector<Failure> failures() const
    {
        const std::lock_guard lock(m_mutex);
        return m_failures;
    }

    void renderSetupDone(unsigned long tileCount) override { m_tilesToDo = tileCount; }

    void tileFinished(const QUILT::TileReport& report) override
    {
        ++m_tiles;
        if (report.fromCache)
            ++m_cached;
        if (m_onTile)
            m_onTile(report);
    }

    void outputFinished(unsigned long) override { ++m_finishedOutputs; }

    void renderError(const std::string& taskName, const std::string& errorKind,
                     const std::string& message, int code) override
    {
        const Node* const node = nodeOf(m_graph, taskName);
        Failure failure{node ? node->name : taskName, errorKind, message};
        if (code == s_outOfMemoryCode)
            failure.kind = s_outOfMemoryKind;
        else if (errorKind.empty())
            failure.kind = "an error";
        // Threads that meet the same obstacle at once each say so.
        const std::lock_guard lock(m_mutex);
        if (std::ranges::find(m_failures, textOf(failure), textOf) == m_failures.end())
            m_failures.push_back(failure);
    }

private:
    const GraphFile& m_graph;
    const TileListener m_onTile;
    std::atomic<size_t> m_tiles{0}, m_cached{0}, m_tilesToDo{0}, m_finishedOutputs{0};
    mutable std::mutex m_mutex; // a leaf lock: guards m_failures
    std::vector<Failure> m_failures;
};

// What is to be rendered of an output: what somebody has asked for, otherwise all of a file,
// otherwise the format.
UTIL::Region areaOf(const Output& output, bool writesFile, const FrameJob& job,
                    const std::optional<UTIL::Rect>& format, RenderTask& task)
{
    if (job.area)
        return *job.area;
    if (output.area)
        return UTIL::Region::fromRectangles(*output.area);
    if (!writesFile && format)
        return *format;
    UTIL::Region region;
    task.getOutputDescription(nullptr, &region);
    return region;
}

class FrameRenderer
{
public:
    FrameRenderer(const GraphFile& graph, const FrameJob& job, Progress& progress)
        : m_graph(graph), m_job(job), m_progress(progress),
          m_observer(new FrameObserver(graph, job))
    {
        m_result.frame = job.frame;
    }

    FrameResult render()
    {
        const auto start = Clock::now();
        renderOutputs();
        waitUntilGone();
        m_result.seconds = std::chrono::duration<double>(Clock::now() - start).count();
        return m_result;
    }

private:
    void renderOutputs()
    {
        const Frame frame =
            buildFrame(m_graph, m_job.frame, m_graph.neededByOutputs(), true, m_job.isStopped);
        m_result.failures = frame.failures;
        if (!m_result.failures.empty())
            m_result.status = FrameStatus::Failed;
        else if (m_job.isStopped())
            m_result.status = FrameStatus::Cancelled;
        else
        {
            if (m_job.onBuilt)
                m_job.onBuilt(frame);
            run(frame);
        }
    }

    void run(const Frame& frame)
    {
        std::vector<QUILT::RenderDescription> descriptions;
        size_t withTiles = 0; // an output without pixels or channels has no end of its own
        for (size_t i = 0; i < m_graph.outputs.size(); ++i)
        {
            const Output& output = m_graph.outputs[i];
            const Operation* const operation = m_graph.nodes[output.node].operation;
            const bool writesFile = output.file || operation == &fileOut();
            const UTIL::Region area =
                areaOf(output, writesFile, m_job, frame.format, *frame.outputs[i]);
            descriptions.push_back({frame.outputs[i], area, i});
            UTIL::Region data;
            unsigned long channels = 0;
            frame.outputs[i]->getOutputDescription(&channels, &data);
            withTiles += channels == 0 || data.intersected(area).isEmpty() ? 0 : 1;
        }
        {
            const Ticker ticker([this] { tick(); });
            RenderManager::Render(descriptions, m_observer, nullptr, false,
                                  RenderManager::RenderTypePrimary);
        }
        m_result.failures = m_observer->failures();
        m_result.tiles = m_observer->tiles();
        m_result.cached = m_observer->cached();
        const bool finished = m_observer->finishedOutputs() == withTiles;
        if (!finished && m_result.failures.empty() && !m_job.isStopped())
            m_result.failures.push_back(
                {"render", "an error", "it ended before all outputs were finished"});
        if (!m_result.failures.empty())
            m_result.status = FrameStatus::Failed;
        else if (!finished)
            m_result.status = FrameStatus::Cancelled;
        else
            m_result.files = picturesToWrite(m_graph, m_job.frame);
    }

    void tick()
    {
        if (m_job.isStopped())
            RenderManager::cancel(RenderManager::RenderTypePrimary, false);
        m_progress.setTiles(m_job.place, m_observer->tiles(), m_observer->tilesToDo());
    }

    // Tiles of a render that failed or was cancelled may still run. They hold the graph, and its
    // last task goes with the last of them.
    void waitUntilGone()
    {
        RenderManager::ClearRenderTaskCache();
        const auto saySo = Clock::now() + std::chrono::seconds(10);
        bool said = false;
        while (RenderTask::s_count > 0)
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            if (!said && Clock::now() > saySo)
            {
                m_progress.print("waiting for tiles that still run");
                said = true;
            }
        }
    }

    const GraphFile& m_graph;
    const FrameJob& m_job;
    Progress& m_progress;
    const ref_ptr<FrameObserver> m_observer;
    FrameResult m_result;
};

}

FrameResult renderFrame(const GraphFile& graph, const FrameJob& job, Progress& progress)
{
    return FrameRenderer(graph, job, progress).render();
}

}
