#include "RenderReport.h"

#include <sys/resource.h>

#include <QUILT/RenderManager.h>

#include "Describe.h"

namespace QuiltTool
{

namespace
{

const char* statusText(FrameStatus status)
{
    switch (status)
    {
    case FrameStatus::Done:
        return "done";
    case FrameStatus::Failed:
        return "failed";
    case FrameStatus::Cancelled:
        return "cancelled";
    }
    return "";
}

OrderedJson frameJson(const FrameResult& frame)
{
    OrderedJson errors = OrderedJson::array();
    for (const Failure& failure : frame.failures)
        errors.push_back(
            {{"node", failure.node}, {"kind", failure.kind}, {"message", failure.message}});
    return {{"frame", frame.frame},
            {"status", statusText(frame.status)},
            {"seconds", frame.seconds},
            {"files", frame.files},
            {"errors", errors}};
}

}

double cpuSeconds()
{
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

RenderReport::RenderReport(const std::string& file)
{
    if (file != "-")
        m_file.emplace("--json", file);
}

void RenderReport::write(const std::vector<FrameResult>& frames, double seconds) const
{
    size_t tiles = 0, cached = 0;
    OrderedJson list = OrderedJson::array();
    for (const FrameResult& frame : frames)
    {
        list.push_back(frameJson(frame));
        tiles += frame.tiles;
        cached += frame.cached;
    }
    const OrderedJson report = {{"frames", list},
                                {"seconds", seconds},
                                {"cpuSeconds", cpuSeconds()},
                                {"tiles", tiles},
                                {"cached", cached},
                                {"peakMemory", QUILT::RenderManager::GetPeakImageMemoryBytes()},
                                {"peakSwap", QUILT::RenderManager::GetPeakImageDiskBytes()}};
    if (m_file)
        m_file->write(jsonText(report));
    else
        printJson(report);
}

}
