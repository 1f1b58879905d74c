#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <optional>
#include <set>

#include <unistd.h>

#include <QUILT/FileTasks.h>

#include "CacheGuard.h"
#include "ColorConfig.h"
#include "CommandLine.h"
#include "Describe.h"
#include "FileWatch.h"
#include "GraphDiff.h"
#include "OutputFiles.h"
#include "ReadJson.h"
#include "RenderFrame.h"
#include "RenderReport.h"
#include "RenderSettings.h"
#include "RenderSetUp.h"
#include "Signals.h"
#include "Text.h"

namespace QuiltTool
{

namespace
{

constexpr int s_failed = 1, s_stopped = 130;

using Clock = std::chrono::steady_clock;

std::string firstOf(const std::vector<std::string>& texts, size_t most)
{
    if (texts.size() <= most)
        return joined(texts, ", ");
    const auto end = texts.begin() + static_cast<std::ptrdiff_t>(most);
    return joined({texts.begin(), end}, ", ") + " and " + std::to_string(texts.size() - most) +
           " more";
}

// From a change to the pictures. Its number, what has changed and what came of it are told.
class Round
{
public:
    Round(const RenderOptions& options, size_t number)
        : m_options(options), m_name("round " + std::to_string(number) + ": "), m_number(number),
          m_progress(showsBar(options), options.frames.size())
    {}

    Progress& progress() { return m_progress; }

    void addChanges(const std::vector<std::string>& changes)
    {
        m_changed.insert(m_changed.end(), changes.begin(), changes.end());
    }

    void addError(const std::string& line)
    {
        m_errors.push_back(line);
        m_progress.print(line);
    }

    void add(const FrameResult& frame)
    {
        m_tiles += frame.tiles;
        m_cached += frame.cached;
        m_files.insert(m_files.end(), frame.files.begin(), frame.files.end());
        const bool isOneOfMany = m_options.frames.size() > 1;
        for (const Failure& failure : frame.failures)
            addError((isOneOfMany ? "frame " + std::to_string(frame.frame) + ": " : "") +
                     textOf(failure));
    }

    void giveUp(const std::string& why) { m_givenUp = why; }

    void tell(const std::string& text)
    {
        if (!m_options.quiet)
            m_progress.print(m_name + text);
    }

    void tellChanges()
    {
        constexpr size_t most = 12;
        if (m_number > 1)
            tell(m_changed.empty() ? "nothing changed" : firstOf(m_changed, most));
    }

    void end()
    {
        const double seconds = std::chrono::duration<double>(Clock::now() - m_start).count();
        char time[32];
        std::snprintf(time, sizeof time, "%.2f s", seconds);
        const std::string figures = std::to_string(m_tiles) + " tiles, " +
                                    std::to_string(m_cached) + " of them from the cache, " + time;
        if (!m_givenUp.empty())
            tell(m_givenUp);
        else if (!m_errors.empty())
            tell("failed: " + figures);
        else
            tell(figures + (m_files.empty() ? "" : ", ") + joined(m_files, ", "));
        if (m_options.json)
            writeJson(seconds);
    }

private:
    void writeJson(double seconds) const
    {
        OrderedJson line = {{"round", m_number},  {"changed", m_changed},
                            {"tiles", m_tiles},   {"cached", m_cached},
                            {"seconds", seconds}, {"cpuSeconds", cpuSeconds() - m_cpuStart}};
        if (!m_errors.empty())
            line["error"] = joined(m_errors, "\n");
        else if (!m_givenUp.empty())
            line["error"] = m_givenUp;
        std::cout << jsonLine(line) << std::flush;
    }

    const RenderOptions& m_options;
    const std::string m_name;
    const size_t m_number;
    const Clock::time_point m_start = Clock::now();
    const double m_cpuStart = cpuSeconds();
    Progress m_progress;
    std::vector<std::string> m_changed, m_errors, m_files;
    std::string m_givenUp;
    size_t m_tiles = 0, m_cached = 0;
};

// One watch command, round by round, until it is stopped.
class WatchCommand
{
public:
    explicit WatchCommand(const RenderOptions& options)
        : m_options(options), m_watch(options.json ? STDOUT_FILENO : -1)
    {
        if (options.graph == "-")
            throw UsageError("-: standard input cannot be watched; expected a graph file");
        readText(options.graph); // a wrong name is told at once
        m_watch.setFiles({options.graph});
    }

    int run()
    {
        const RenderProcess process(m_options);
        if (!m_options.quiet)
            std::cerr << "watching " << m_options.graph << "; Ctrl-C ends it\n";
        while (!m_watch.isUnwanted())
        {
            runRound();
            if (!std::cout)
                return s_failed;
            m_changedFiles = m_watch.waitForChange();
        }
        if (!stopRequested())
            throw Failed("nobody reads standard output any more");
        return s_stopped;
    }

private:
    void runRound()
    {
        Round round(m_options, ++m_rounds);
        try
        {
            noteChangedFiles(round);
            GraphFile graph = readGraphToRender(m_options);
            if (m_graph)
                round.addChanges(differences(*m_graph, graph));
            else
                warnOfOverwrites(graph, m_options, round.progress());
            m_graph = std::move(graph);
            round.tellChanges();
            setUp(round);
            renderFrames(round);
        }
        catch (const UsageError& error)
        {
            constexpr size_t most = 100;
            for (size_t i = 0; i < error.lines().size() && i < most; ++i)
                round.addError(error.lines()[i]);
        }
        catch (const std::exception& error)
        {
            round.addError(std::string("quilt: ") + error.what());
        }
        round.end();
    }

    void noteChangedFiles(Round& round)
    {
        for (const std::string& file : m_changedFiles)
        {
            if (file == m_options.graph)
                continue;
            round.addChanges({file + " changed"});
            if (file == m_config)
                m_hasConfig = false;
            m_pictures.erase(file);
        }
    }

    // What has been read of a picture that changed, or that was not watched for a while, is
    // forgotten. Headers of other pictures are read again with it, and say the same, so that their
    // tiles stay good.
    void watchFiles(const std::string& config)
    {
        std::set<std::string> pictures;
        for (const std::string& picture : picturesToRead(*m_graph, m_options.frames))
            pictures.insert(pathOf(picture));
        if (!std::ranges::includes(m_pictures, pictures))
            QUILT::ImageHeaderCache_Clear();
        m_pictures = pictures;
        std::set<std::string> files = pictures;
        files.insert(m_options.graph);
        if (!config.empty())
            files.insert(config);
        m_watch.setFiles(files);
    }

    void setUp(Round& round)
    {
        const Settings settings = merged(m_options.settings, m_graph->settings);
        const std::string config = settings.ocio.value_or(colorConfigOfEnvironment());
        watchFiles(config);
        if (!m_hasConfig || config != m_config)
        {
            m_config = config;
            m_hasConfig = false;
            useColorConfig(settings, m_options);
            m_hasConfig = true;
        }
        applySettings(settings, true);
        readHeaders(*m_graph, m_options.frames, round.progress(), [this] { return isOver(); });
    }

    void renderFrames(Round& round)
    {
        const std::vector<int64_t>& frames = m_options.frames;
        size_t done = 0;
        while (done < frames.size() && !isOver())
        {
            const FrameJob job{frames[done], done, m_options.area, [this] { return isOver(); },
                               [&](const Frame& frame) { guardCache(frame, round); }};
            const FrameResult result = renderFrame(*m_graph, job, round.progress());
            round.add(result);
            if (result.status == FrameStatus::Cancelled)
                break;
            ++done;
        }
        if (done < frames.size())
            round.giveUp(m_watch.isUnwanted() ? "stopped" : "given up for a newer change");
    }

    void guardCache(const Frame& frame, Round& round)
    {
        for (const std::string& node : m_cacheGuard.check(*m_graph, frame))
        {
            const std::string text =
                node + ": other numbers, the same identity (six digits of each): cache cleared";
            round.addChanges({text});
            round.tell(text);
        }
    }

    bool isOver() { return m_watch.isUnwanted() || m_watch.hasChanged(); }

    const RenderOptions& m_options;
    FileWatch m_watch;
    std::vector<std::string> m_changedFiles;
    std::optional<GraphFile> m_graph; // the last one without mistakes
    std::set<std::string> m_pictures; // whose headers are good
    std::string m_config;             // the colour config's file; empty: the tool's own
    bool m_hasConfig = false;         // it is the current one, as it is on the disk
    CacheGuard m_cacheGuard;
    size_t m_rounds = 0;
};

}

int watch(const RenderOptions& options)
{
    return WatchCommand(options).run();
}

}
