#include "RenderReport.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>

#include <sys/resource.h>

#include <QUILT/RenderManager.h>

#include "Describe.h"
#include "Problems.h"

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

RenderReport::RenderReport(const std::string& file) : m_file(file)
{
    if (file != "-" && !std::ofstream(file))
        throw UsageError("--json: " + file + " cannot be written: " + std::strerror(errno));
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
    if (m_file == "-")
    {
        printJson(report);
        return;
    }
    std::ofstream stream(m_file);
    stream << jsonText(report);
    stream.close();
    if (!stream)
        throw Failed("the report cannot be written to " + m_file);
}

}
