#include "CommandLine.h"

#include <algorithm>
#include <charconv>
#include <functional>
#include <iostream>

#include <CLI/CLI.hpp>

#include "Text.h"
#include "Version.h"

namespace QuiltTool
{

namespace
{

// Reads numbers and the characters between them.
class Scanner
{
public:
    explicit Scanner(const std::string& text)
        : m_next(text.data()), m_end(text.data() + text.size())
    {}

    bool number(int64_t& number)
    {
        const auto [next, error] = std::from_chars(m_next, m_end, number);
        m_next = next;
        return error == std::errc();
    }

    bool character(char expected)
    {
        if (m_next == m_end || *m_next != expected)
            return false;
        ++m_next;
        return true;
    }

    bool atEnd() const { return m_next == m_end; }

private:
    const char* m_next;
    const char* const m_end;
};

const char* const s_graphHelp = "The graph file; - for standard input";

template <class T>
void addConverted(CLI::App& command, const std::string& names, std::optional<T>& value,
                  T (*convert)(const std::string&), const std::string& help)
{
    command.add_option_function<std::string>(
        names, [&value, convert](const std::string& text) { value = convert(text); }, help);
}

void addChanges(CLI::App& command, GraphChanges& changes)
{
    command
        .add_option("--set", changes.settings,
                    "NODE.PARAM=VALUE: another value for a parameter, written as in the graph file")
        ->allow_extra_args(false);
}

void addGraphOptions(CLI::App& command, GraphOptions& options)
{
    command.add_option("GRAPH", options.graph, s_graphHelp)->required();
    command.add_option("--frame", options.frame, "The frame to look at");
    addChanges(command, options.changes);
    command.add_option("--ocio", options.ocio, "The OpenColorIO config");
}

// What render and watch have both.
void addSharedRenderOptions(CLI::App& command, RenderOptions& options, const char* graphHelp)
{
    command.add_option("GRAPH", options.graph, graphHelp)->required();
    command.add_option("-o", options.changes.outputFile, "Where to write the one output");
    command.add_option_function<std::string>(
        "--frames", [&options](const std::string& text) { options.frames = parseFrames(text); },
        "A, A-B or A-BxS: which frames, each S-th of them; 1 without it");
    addConverted(command, "--area", options.area, parseRect,
                 "x0,y0,x1,y1: the pixels to render of each output");
    addChanges(command, options.changes);

    Settings& settings = options.settings;
    command.add_option("--threads", settings.threads, "How many threads; all cores without it")
        ->check(CLI::Range(1, 1024));
    addConverted(command, "--tile", settings.tileSize, parseTileSize, "WxH: the size of tiles");
    command
        .add_option("--memory", settings.memory,
                    "MiB of pixels in memory; half of the machine's memory without it")
        ->check(CLI::Range(1, 1 << 30));
    command.add_option("--swap", settings.swap, "MiB of pixels in swap files")
        ->check(CLI::Range(0, 1 << 30));
    CLI::Option* const cache = command.add_flag_callback(
        "--cache", [&settings] { settings.caching = true; },
        "Keep finished tiles for later; the default for several frames, and of watch");
    command
        .add_flag_callback(
            "--no-cache", [&settings] { settings.caching = false; }, "Keep nothing")
        ->excludes(cache);
    command.add_option("--ocio", settings.ocio, "The OpenColorIO config");

    command.add_option("--log", options.log, "Write the engine's debug trace to this file");
    command.add_option("--progress", options.progress, "auto, always or never: the progress bar")
        ->check(CLI::IsMember({"auto", "always", "never"}));
    command.add_flag("--quiet", options.quiet, "Print nothing but errors");
}

void addRenderOptions(CLI::App& command, RenderOptions& options)
{
    addSharedRenderOptions(command, options, s_graphHelp);
    command.add_flag("--stop-on-error", options.stopOnError,
                     "Leave out the frames behind one that failed");
    command.add_option("--json", options.json,
                       "Write a report to this file; - for standard output");
    command.add_flag("--stats", options.stats,
                     "Print the engine's figures and what each node took, to standard error");
    command.add_option("--stats-xml", options.statsXml,
                       "Write the engine's figures to this file, as XML");
    command.add_option("--trace", options.trace,
                       "Write when which tile was rendered to this file, for a trace viewer");
}

void addWatchOptions(CLI::App& command, RenderOptions& options)
{
    addSharedRenderOptions(command, options, "The graph file");
    command.add_flag_callback(
        "--json", [&options] { options.json = "-"; }, "A line for each round, for programs");
}

// A word that is no command, told with the ones that there are.
void refuseUnknownCommand(const CLI::App& app, int argc, char** argv)
{
    std::vector<std::string> names;
    for (const CLI::App* const command : app.get_subcommands({}))
        names.push_back(command->get_name());
    const std::string first = argc > 1 ? argv[1] : "";
    if (first.starts_with('-') || std::ranges::find(names, first) != names.end())
        return;
    if (argc > 1)
        throw UsageError("no such command " + inQuotes(first) + suggestion(first, names));
    throw UsageError("no command; expected one of " + joined(names, ", "));
}

}

std::vector<int64_t> parseFrames(const std::string& text)
{
    constexpr int64_t most = 1'000'000;
    int64_t first = 0, last = 0, step = 1;
    Scanner scanner(text);
    bool good = scanner.number(first);
    last = first;
    if (good && scanner.character('-'))
        good = scanner.number(last);
    if (good && scanner.character('x'))
        good = scanner.number(step);
    constexpr int64_t limit = int64_t{1} << 40;
    if (!good || !scanner.atEnd() || step < 1 || std::abs(first) > limit || std::abs(last) > limit)
        throw UsageError("--frames: found " + inQuotes(text) +
                         ", expected A, A-B or A-BxS, such as 1-100x2");
    if (std::abs(last - first) / step >= most)
        throw UsageError("--frames: " + inQuotes(text) + " is more than a million frames");
    std::vector<int64_t> frames;
    for (int64_t frame = first; first <= last ? frame <= last : frame >= last;
         frame += first <= last ? step : -step)
        frames.push_back(frame);
    return frames;
}

UTIL::Rect parseRect(const std::string& text)
{
    UTIL::Rect rect;
    Scanner scanner(text);
    if (!scanner.number(rect.x0) || !scanner.character(',') || !scanner.number(rect.y0) ||
        !scanner.character(',') || !scanner.number(rect.x1) || !scanner.character(',') ||
        !scanner.number(rect.y1) || !scanner.atEnd() || rect.isNull())
        throw UsageError("--area: found " + inQuotes(text) +
                         ", expected x0,y0,x1,y1, a rectangle that holds a pixel");
    return rect;
}

UTIL::Rect parseTileSize(const std::string& text)
{
    constexpr int64_t most = 1 << 20;
    UTIL::Rect rect;
    Scanner scanner(text);
    if (!scanner.number(rect.x1) || !scanner.character('x') || !scanner.number(rect.y1) ||
        !scanner.atEnd() || rect.isNull() || rect.x1 > most || rect.y1 > most)
        throw UsageError("--tile: found " + inQuotes(text) + ", expected WxH, such as 256x256");
    return rect;
}

int runCommandLine(int argc, char** argv)
{
    CLI::App app("Renders pictures from a graph of operations.", "quilt");
    app.set_version_flag("--version", std::string("quilt ") + s_version);
    app.require_subcommand(1);
    std::function<int()> command;

    RenderOptions renderOptions;
    CLI::App* const renderCommand =
        app.add_subcommand("render", "Render every output of every frame");
    addRenderOptions(*renderCommand, renderOptions);
    renderCommand->callback([&] { command = [&] { return render(renderOptions); }; });

    RenderOptions watchOptions;
    CLI::App* const watchCommand =
        app.add_subcommand("watch", "Stay, and render again whenever the graph or a picture that "
                                    "it reads changes");
    addWatchOptions(*watchCommand, watchOptions);
    watchCommand->callback([&] { command = [&] { return watch(watchOptions); }; });

    GraphOptions checkOptions;
    CLI::App* const checkCommand =
        app.add_subcommand("check", "Build a graph and tell what each node makes");
    addGraphOptions(*checkCommand, checkOptions);
    checkCommand->add_flag("--json", checkOptions.json, "In a form for programs");
    checkCommand->callback([&] { command = [&] { return check(checkOptions); }; });

    OpsOptions opsOptions;
    CLI::App* const opsCommand =
        app.add_subcommand("ops", "The operations, or one with its inputs and parameters");
    opsCommand->add_option("NAME", opsOptions.name, "The operation");
    opsCommand->add_flag("--json", opsOptions.json, "In a form for programs");
    opsCommand->callback([&] { command = [&] { return ops(opsOptions); }; });

    InfoOptions infoOptions;
    CLI::App* const infoCommand = app.add_subcommand("info", "What a picture's header says");
    infoCommand->add_option("FILE", infoOptions.files, "The pictures")->required();
    infoCommand->add_flag("--json", infoOptions.json, "In a form for programs");
    infoCommand->callback([&] { command = [&] { return info(infoOptions); }; });

    GraphOptions dotOptions;
    CLI::App* const dotCommand = app.add_subcommand("dot", "The graph as Graphviz text");
    addGraphOptions(*dotCommand, dotOptions);
    dotCommand->callback([&] { command = [&] { return dot(dotOptions); }; });

    refuseUnknownCommand(app, argc, argv);
    try
    {
        app.parse(argc, argv);
    }
    catch (const CLI::Success& help)
    {
        return app.exit(help);
    }
    catch (const CLI::ParseError& error)
    {
        throw UsageError({std::string(error.what()),
                          "quilt --help tells the commands, quilt COMMAND --help the options"});
    }
    return command();
}

}
