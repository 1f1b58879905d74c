// `quilt render` as a process: pictures, exit status, report, swap folder.

#include <csignal>
#include <cstdlib>
#include <cstring>

#include <gtest/gtest.h>

#include "tool/Graphs.h"
#include "tool/Process.h"

using namespace ToolTest;

namespace
{

constexpr int s_done = 0, s_failed = 1, s_wrong = 2, s_outOfMemory = 33, s_stopped = 130;

}

TEST(RenderCommand, WritesFramesWithWhatWasAskedFor)
{
    const TestFolder folder;
    std::filesystem::create_directory(folder / "sub");
    const Json nodes = {
        {"c",
         node("Color", {{"color", {{"keys", {{"1", {0, 0, 0, 0.5}}, {"5", {4, 0, 0, 0.5}}}}}}})}};
    const std::string file =
        folder.write("sub/g.json", graphOf(nodes, {output("c", "../c.$F4.exr")}));
    const ProcessResult result =
        runTool(folder, {"render", file, "--frames", "1-5x2", "--json", "-", "--quiet"});
    EXPECT_EQ(result.status, s_done);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(folder.names(),
              (std::vector<std::string>{"c.0001.exr", "c.0003.exr", "c.0005.exr", "sub"}));
    EXPECT_EQ(redAt(folder / "c.0003.exr", 99, 49), 2.0f);
    const Json report = Json::parse(result.out);
    ASSERT_EQ(report["frames"].size(), 3u);
    EXPECT_EQ(report["frames"][2]["frame"], 5);
    EXPECT_EQ(report["frames"][2]["status"], "done");
    EXPECT_EQ(report["frames"][2]["errors"], Json::array());
    EXPECT_TRUE(report["frames"][2]["files"][0].get<std::string>().ends_with("c.0005.exr"));
    EXPECT_GE(report["tiles"], 6);
    EXPECT_GT(report["peakMemory"], 100 * 50 * 16);
    for (const char* figure : {"seconds", "cpuSeconds", "cached", "peakSwap"})
        EXPECT_TRUE(report[figure].is_number()) << figure;
}

TEST(RenderCommand, WritesThroughFileOutNodes)
{
    const TestFolder folder;
    const Json nodes = {
        {"c", node("Bars")},
        {"inner", node("FileOut", {{"filename", "inner.exr"}}, {{"input", "c"}})},
        {"idle",
         node("FileOut", {{"filename", "idle.exr"}, {"writeFile", false}}, {{"input", "inner"}})},
        {"outer", node("FileOut", {{"filename", "outer.$F.exr"}}, {{"input", "idle"}})},
        {"unused", node("FileOut", {{"filename", "unused.exr"}}, {{"input", "c"}})}};
    const ProcessResult result =
        runTool(folder, {"render", folder.write("g.json", graphOf(nodes, {{{"node", "outer"}}})),
                         "--frames", "7", "--json", "-"});
    EXPECT_EQ(result.status, s_done) << result.err;
    EXPECT_EQ(Json::parse(result.out)["frames"][0]["files"],
              Json({folder / "inner.exr", folder / "outer.7.exr"}));
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"g.json", "inner.exr", "outer.7.exr"}));
}

TEST(RenderCommand, HeedsItsOptions)
{
    const TestFolder folder;
    const std::string file =
        folder.write("g.json", graphOf({{"c", node("Color", {{"color", {1, 1, 1, 0.5}}})}},
                                       {output("c", "c.exr")}));
    const ProcessResult result = runTool(
        folder, {"render", file, "-o", folder / "other.exr", "--set", "c.color=[3, 0, 0, 1]",
                 "--area", "10,10,20,20", "--tile", "4x4", "--threads", "1", "--log",
                 folder / "log", "--json", folder / "report.json", "--memory", "64"});
    EXPECT_EQ(result.status, s_done) << result.err;
    EXPECT_EQ(result.out, "");
    EXPECT_FALSE(std::filesystem::exists(folder / "c.exr"));
    EXPECT_EQ(redAt(folder / "other.exr", 12, 12), 3.0f);
    EXPECT_EQ(redAt(folder / "other.exr", 20, 12), 0.0f);
    EXPECT_GT(std::filesystem::file_size(folder / "log"), 0u);
    // Nine tiles of colour, nine of the file.
    EXPECT_EQ(Json::parse(readFile(folder / "report.json"))["tiles"], 18);
}

TEST(RenderCommand, CachesBetweenFramesOnly)
{
    const TestFolder folder;
    const std::string file =
        folder.write("g.json", graphOf({{"c", node("HueWheel")}}, {{{"node", "c"}}}));
    const auto cached = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"render", file, "--json", "-", "--frames"});
        return Json::parse(runTool(folder, arguments).out)["cached"].get<int>();
    };
    EXPECT_EQ(cached({"1"}), 0);
    EXPECT_GT(cached({"1-2"}), 0);
    EXPECT_EQ(cached({"1-2", "--no-cache"}), 0);
}

TEST(RenderCommand, MakesTheSameOfAFrameInARunAndAlone)
{
    const TestFolder folder;
    const Json gain = {{"keys", {{"1", 0.5}, {"2", 0.5000003}, {"3", 0.5}}}};
    const Json graph =
        graphOf({{"wheel", node("HueWheel")},
                 {"grade", node("Gain", {{"gain", gain}}, {{"input", "wheel"}})}},
                {{{"node", "grade"}, {"file", "$F.exr"}, {"params", {{"type3OptionB", "float"}}}}});
    const std::string file = folder.write("g.json", graph);
    ASSERT_EQ(runTool(folder, {"render", file, "--frames", "1-3"}).status, s_done);
    for (const char* frame : {"1", "2", "3"})
    {
        const std::string picture = folder / frame + ".exr", alone = folder / "alone.exr";
        ASSERT_EQ(runTool(folder, {"render", file, "--frames", frame, "-o", alone}).status, s_done);
        for (const int64_t x : {5, 35, 65, 95})
            EXPECT_EQ(redAt(picture, x, 20), redAt(alone, x, 20)) << "frame " << frame;
    }
}

TEST(RenderCommand, GoesOnBehindAFailedFrame)
{
    const TestFolder folder;
    const Json nodes = {{"c", node("Bars")}};
    ASSERT_EQ(
        runTool(folder,
                {"render", folder.write("make.json", graphOf(nodes, {output("c", "in.$F.exr")})),
                 "--frames", "1-3"})
            .status,
        s_done);
    std::filesystem::remove(folder / "in.2.exr");
    const Json reading = {{"plate", node("FileIn", {{"filename", "in.$F.exr"}})}};
    const std::string file =
        folder.write("g.json", graphOf(reading, {output("plate", "out.$F.exr")}));
    const std::vector<std::string> arguments = {"render", file, "--frames", "1-3", "--json", "-"};

    const ProcessResult result = runTool(folder, arguments);
    EXPECT_EQ(result.status, s_failed);
    EXPECT_NE(result.err.find("frame 2: plate: an error: File not found: " + folder / "in.2.exr"),
              std::string::npos)
        << result.err;
    const Json frames = Json::parse(result.out)["frames"];
    ASSERT_EQ(frames.size(), 3u);
    EXPECT_EQ(frames[1]["status"], "failed");
    EXPECT_EQ(frames[1]["files"], Json::array());
    EXPECT_EQ(frames[1]["errors"][0]["node"], "plate");
    EXPECT_EQ(frames[2]["status"], "done");
    EXPECT_FALSE(std::filesystem::exists(folder / "out.2.exr"));
    EXPECT_TRUE(std::filesystem::exists(folder / "out.3.exr"));

    std::vector<std::string> stopping = arguments;
    stopping.push_back("--stop-on-error");
    const ProcessResult stopped = runTool(folder, stopping);
    EXPECT_EQ(stopped.status, s_failed);
    EXPECT_EQ(Json::parse(stopped.out)["frames"].size(), 2u);
}

TEST(RenderCommand, TakesTheFormatOfTheFirstPicture)
{
    const TestFolder folder;
    const Json made = graphOf({{"c", node("Bars")}}, {output("c", "in.exr")});
    ASSERT_EQ(runTool(folder, {"render", folder.write("make.json", made)}).status, s_done);
    Json graph = graphOf({{"b", node("FileIn", {{"filename", "in.exr"}})},
                          {"a", node("Ramp")},
                          {"mix", node("Mix", Json::object(), {{"first", "a"}, {"second", "b"}})}},
                         {output("mix", "out.exr")});
    graph.erase("format");
    ASSERT_EQ(runTool(folder, {"render", folder.write("g.json", graph)}).status, s_done);
    const ProcessResult result = runTool(folder, {"info", "--json", folder / "out.exr"});
    EXPECT_EQ(Json::parse(result.out)[0]["displayWindow"], Json({0, 0, 100, 50}));
}

TEST(RenderCommand, SaysThatAPictureWithoutChannelsIsNotWritten)
{
    const TestFolder folder;
    const Json graph =
        graphOf({{"c", node("Color", {{"color", {0, 0, 0, 1}}})}}, {output("c", "c.exr")});
    const ProcessResult result = runTool(folder, {"render", folder.write("g.json", graph)});
    EXPECT_EQ(result.status, s_failed);
    EXPECT_TRUE(result.err.starts_with("c: an error: it has no channels")) << result.err;
}

TEST(RenderCommand, SaysWhichNodeMakesNoPicture)
{
    const TestFolder folder;
    const Json graph =
        graphOf({{"m", node("MatteCombiner", Json::object(), {{"inputs", Json::array()}})}},
                {output("m", "m.exr")});
    const ProcessResult result = runTool(folder, {"render", folder.write("g.json", graph)});
    EXPECT_EQ(result.status, s_failed);
    EXPECT_TRUE(result.err.starts_with("m: an error: MatteCombiner makes no picture of these "
                                       "inputs; a list of them may be empty"))
        << result.err;
}

TEST(RenderCommand, SaysWhenATileFails)
{
    const TestFolder folder;
    const Json made = graphOf({{"c", node("Bars")}}, {output("c", "in.exr")});
    ASSERT_EQ(runTool(folder, {"render", folder.write("make.json", made)}).status, s_done);
    const auto size = std::filesystem::file_size(folder / "in.exr");
    std::filesystem::resize_file(folder / "in.exr", size - 100);
    const Json graph = graphOf({{"in", node("FileIn", {{"filename", "in.exr"}})},
                                {"copy", node("Copy", Json::object(), {{"input", "in"}})}},
                               {output("copy", "out.exr")});
    const ProcessResult result = runTool(folder, {"render", folder.write("g.json", graph), "--json",
                                                  "-", "--trace", folder / "trace"});
    EXPECT_EQ(result.status, s_failed);
    EXPECT_TRUE(Json::accept(readFile(folder / "trace")));
    EXPECT_NE(result.err.find("in: an EMULSION error: "), std::string::npos) << result.err;
    EXPECT_NE(result.err.find(folder / "in.exr"), std::string::npos) << result.err;
    EXPECT_EQ(Json::parse(result.out)["frames"][0]["errors"].size(), 1u) << result.out;
    EXPECT_FALSE(std::filesystem::exists(folder / "out.exr"));
}

TEST(RenderCommand, RefusesToDestroyFiles)
{
    const TestFolder folder;
    const Json nodes = {{"c", node("Bars")},
                        {"w", node("FileOut", {{"filename", "x.exr"}}, {{"input", "c"}})},
                        {"plate", node("FileIn", {{"filename", "p.$F.exr"}})}};
    const auto refusal = [&](const std::vector<Json>& outputs,
                             const std::vector<std::string>& more = {}) {
        std::vector<std::string> arguments = {"render",
                                              folder.write("g.json", graphOf(nodes, outputs))};
        arguments.insert(arguments.end(), more.begin(), more.end());
        const ProcessResult result = runTool(folder, arguments);
        EXPECT_EQ(result.status, s_wrong);
        return result.err;
    };
    const std::string start = folder / "g.json" + ": ";
    EXPECT_EQ(refusal({output("c", "x.exr"), output("plate", "./x.exr")}),
              start + "/outputs/1/file: \"" + folder / "./x.exr" +
                  "\" is written by /outputs/0 (node \"c\") and by /outputs/1 (node \"plate\")\n");
    EXPECT_EQ(refusal({output("c", "x.exr"), {{"node", "w"}}}),
              start + "/outputs/0/file: \"" + folder / "x.exr" +
                  "\" is written by node \"w\" and by /outputs/0 (node \"c\")\n");
    EXPECT_EQ(refusal({output("plate", "p.3.exr")}, {"--frames", "1-3"}),
              start + "/outputs/0/file: \"" + folder / "p.3.exr" +
                  "\" is written by /outputs/0 (node \"plate\") and read by node \"plate\"\n");
    for (const char* option : {"--json", "--log", "--stats-xml", "--trace"})
    {
        const std::string by = " is written by " + std::string(option);
        const auto found = [&](const char* file) {
            const std::string path = folder / file;
            const std::string err =
                refusal({output("plate", "x.exr")}, {option, path, "--ocio", folder / "c.ocio"});
            EXPECT_EQ(err.find(option + (": \"" + path + '"')), 0) << err;
            return err.substr(0, err.find('\n')).substr(path.size() + 4 + std::strlen(option));
        };
        EXPECT_EQ(found("p.1.exr"), by + " and read by node \"plate\"");
        EXPECT_EQ(found("g.json"), by + " and read as the graph file");
        EXPECT_EQ(found("c.ocio"), by + " and read as the OpenColorIO config");
        EXPECT_EQ(found("./x.exr"),
                  " is written by /outputs/0 (node \"plate\") and by " + std::string(option));
    }
    EXPECT_NE(refusal({output("c", "x.exr")}, {"--trace", "t", "--json", "./t"}), "");
    EXPECT_EQ(folder.names(), std::vector<std::string>{"g.json"});
}

TEST(RenderCommand, KeepsItsWordsOutOfFilesWhenItHasNoStreams)
{
    const TestFolder folder;
    const std::string file =
        folder.write("g.json", graphOf({{"c", node("Bars")}}, {output("c", "c.exr")}));
    const std::string command = QUILT_TOOL " render " + file + " --stats --trace " +
                                folder / "trace" + " --stats-xml " + folder / "xml";
    EXPECT_EQ(std::system((command + " 2>&-").c_str()), 0);
    EXPECT_TRUE(Json::accept(readFile(folder / "trace")));
    EXPECT_TRUE(readFile(folder / "xml").starts_with("<?xml"));
    // A report that nobody gets is told.
    EXPECT_EQ(WEXITSTATUS(std::system((command + " --json - <&- >&- 2>&-").c_str())), s_failed);
    EXPECT_TRUE(Json::accept(readFile(folder / "trace")));
}

TEST(RenderCommand, StopsCleanlyOnSignals)
{
    for (const int signal : {SIGINT, SIGTERM})
    {
        const TestFolder folder;
        ToolProcess tool(folder, {"render", folder.write("g.json", slowGraph()), "--progress",
                                  "always", "--threads", "2", "--memory", "64", "--json",
                                  folder / "report.json", "--trace", folder / "trace"});
        ASSERT_TRUE(comesTrue([&] { return tool.err().find(" tiles") != std::string::npos; }));
        ::kill(tool.pid(), signal);
        ::kill(tool.pid(), signal); // impatience does no harm
        const ProcessResult result = tool.wait();
        EXPECT_EQ(result.status, s_stopped) << result.err;
        EXPECT_EQ(folder.names(), (std::vector<std::string>{"g.json", "report.json", "trace"}));
        EXPECT_TRUE(Json::accept(readFile(folder / "trace")));
        const Json report = Json::parse(readFile(folder / "report.json"));
        EXPECT_EQ(report["frames"][0]["status"], "cancelled");
    }
}

TEST(RenderCommand, EndsWithStatus33WhenMemoryRunsOutInBatchMode)
{
    const TestFolder folder;
    Json graph = graphOf({{"c", node("Ramp")}}, {output("c", "c.exr")});
    graph["format"] = {0, 0, 2048, 2048};
    const std::string file = folder.write("g.json", graph);
    const std::vector<std::string> arguments = {"render", file,      "--memory",
                                                "1",      "--trace", folder / "trace"};
    EXPECT_EQ(runTool(folder, arguments,
                      {{"LANTERN_HARD_MEMORY_LIMIT", "1"}, {"LANTERN_BATCH_MODE", "1"}})
                  .status,
              s_outOfMemory);
    EXPECT_TRUE(Json::accept(readFile(folder / "trace")));
    const ProcessResult plain = runTool(folder, arguments, {{"LANTERN_HARD_MEMORY_LIMIT", "1"}});
    EXPECT_EQ(plain.status, s_failed);
    EXPECT_NE(plain.err.find(": out of memory: "), std::string::npos) << plain.err;
    // What the first one had to leave behind is gone by now.
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"g.json", "trace"}));
}

TEST(SwapFolder, GoesWithItsProcessAndWithOthersThatWereKilled)
{
    const TestFolder folder;
    // The folder of a process that is gone, and that of one that lives.
    ToolProcess gone(folder, {"--version"});
    const std::string abandoned = folder / ("quilt-" + std::to_string(gone.pid()));
    gone.wait();
    const std::string living = folder / ("quilt-" + std::to_string(::getpid()));
    std::filesystem::create_directory(abandoned);
    std::filesystem::create_directory(living);
    folder.write("quilt-" + std::to_string(::getpid()) + "/swap", std::string("x"));
    folder.write("other", std::string("x"));
    Json graph = graphOf({{"c", node("Color")}}, {output("c", "c.exr")});
    const ProcessResult result = runTool(folder, {"render", folder.write("g.json", graph)});
    EXPECT_EQ(result.status, s_done) << result.err;
    EXPECT_FALSE(std::filesystem::exists(abandoned));
    EXPECT_TRUE(std::filesystem::exists(living + "/swap"));
    std::filesystem::remove_all(living);
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"c.exr", "g.json", "other"}));

    const ProcessResult nowhere =
        runTool(folder, {"render", folder / "g.json"}, {{"LANTERN_TMPDIR", folder / "missing"}});
    EXPECT_EQ(nowhere.status, s_failed);
    EXPECT_NE(nowhere.err.find(folder / "missing"), std::string::npos) << nowhere.err;
    EXPECT_NE(nowhere.err.find("LANTERN_TMPDIR"), std::string::npos) << nowhere.err;
}
