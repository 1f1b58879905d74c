#include "RenderSetUp.h"

#include <cstdlib>
#include <fstream>

#include <unistd.h>

#include <EMULSION/Error.h>
#include <QUILT/FileTasks.h>
#include <QUILT/RenderManager.h>

#include "ColorConfig.h"
#include "OutputFiles.h"
#include "RenderSettings.h"
#include "Signals.h"
#include "Version.h"

namespace QuiltTool
{

namespace
{

// Without a file even what the engine logs unasked, a line for each kept tile that is too small for
// an edited graph, stays away from standard error.
void startLog(const std::optional<std::string>& file)
{
    if (file && !std::ofstream(*file, std::ios::app))
        throw UsageError("--log: " + *file + " cannot be written");
    QUILT::RenderManager::setRenderLogFile(file.value_or("/dev/null"));
    QUILT::RenderManager::setRenderDebug(file.has_value());
}

OtherFiles otherFiles(const GraphFile& graph, const RenderOptions& options)
{
    OtherFiles files;
    if (options.graph != "-")
        files.read.push_back({"the graph file", options.graph});
    const std::string config =
        merged(options.settings, graph.settings).ocio.value_or(colorConfigOfEnvironment());
    if (!config.empty())
        files.read.push_back({"the OpenColorIO config", config});
    const auto add = [&](const char* option, const std::optional<std::string>& file) {
        if (file)
            files.written.push_back({option, *file});
    };
    if (options.json != "-")
        add("--json", options.json);
    add("--log", options.log);
    add("--stats-xml", options.statsXml);
    add("--trace", options.trace);
    return files;
}

}

RenderProcess::RenderProcess(const RenderOptions& options)
{
    startLog(options.log);
    catchSignals();
    m_swapFolder.emplace();
    // Without it a file-out task refuses to write: it goes into the files' metadata.
    ::setenv("LANTERN_RELEASE", s_version, 0);
}

bool showsBar(const RenderOptions& options)
{
    if (options.progress == "auto")
        return !options.quiet && ::isatty(STDERR_FILENO) == 1;
    return options.progress == "always";
}

GraphFile readGraphToRender(const RenderOptions& options)
{
    GraphFile graph = readGraphFile(options.graph, options.changes);
    if (graph.outputs.empty())
        throw UsageError(options.graph +
                         ": /outputs: missing; expected at least one output to render");
    checkOutputFiles(graph, options.frames, otherFiles(graph, options));
    return graph;
}

void warnOfOverwrites(const GraphFile& graph, const RenderOptions& options, Progress& progress)
{
    if (options.quiet)
        return;
    for (const std::string& place : overwrittenOutputs(graph, options.frames))
        progress.print(options.graph + ": " + place +
                       ": warning: every frame writes this file; $F or $F4 in its name stands for "
                       "the frame");
}

void useColorConfig(const Settings& settings, const RenderOptions& options)
{
    setColorConfig(settings.ocio,
                   options.settings.ocio ? "--ocio" : options.graph + ": /settings/ocio");
}

void readHeaders(const GraphFile& graph, const std::vector<int64_t>& frames, Progress& progress,
                 const std::function<bool()>& isStopped)
{
    const std::vector<std::string> pictures = picturesToRead(graph, frames);
    for (size_t i = 0; i < pictures.size() && !isStopped(); ++i)
    {
        progress.setStep("reading headers:", i, pictures.size());
        QUILT::ImageHeaderCache_GetImageDescription(nullptr, pictures[i], false);
        EMULSION::ClearError();
    }
}

}
