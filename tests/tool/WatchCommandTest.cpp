// `quilt watch` as a process: files change, and it renders what they now say.

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <sstream>

#include <gtest/gtest.h>

#include "tool/Graphs.h"
#include "tool/Process.h"

using namespace ToolTest;

namespace
{

constexpr int s_done = 0, s_wrong = 2, s_stopped = 130;

using Strings = std::vector<std::string>;

// A graph file that is watched, g.json.
class Watched
{
public:
    explicit Watched(const Json& graph) { m_folder.write("g.json", graph); }

    const TestFolder& folder() const { return m_folder; }
    ToolProcess& tool() { return *m_tool; }

    void start(const Strings& options = {})
    {
        Strings arguments = {"watch", m_folder / "g.json", "--json"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        m_tool.emplace(m_folder, arguments);
    }

    // As some programs save: into the file itself, or into another that then takes its name.
    void rewrite(const Json& graph) { m_folder.write("g.json", graph); }
    void replace(const std::string& text)
    {
        m_folder.write("g.json.new", text);
        std::filesystem::rename(m_folder / "g.json.new", m_folder / "g.json");
    }
    void replace(const Json& graph) { replace(graph.dump()); }

    // What the next round's line says.
    Json next()
    {
        std::string line;
        const bool isThere = comesTrue([&] {
            std::istringstream lines(m_tool->out());
            for (size_t i = 0; i <= m_lines; ++i)
                std::getline(lines, line);
            return lines.good();
        });
        ++m_lines;
        if (!isThere)
            ADD_FAILURE() << "no round " << m_lines << ": " << m_tool->err();
        const Json round = isThere ? Json::parse(line) : Json::object();
        EXPECT_EQ(round["round"], m_lines);
        for (const char* figure : {"tiles", "cached", "seconds", "cpuSeconds"})
            EXPECT_TRUE(round[figure].is_number()) << line;
        return round;
    }

    // Holds when a round without an error leaves behind what a render of the same files makes.
    ::testing::AssertionResult looksRight(const Json& round)
    {
        if (round.contains("error"))
            return ::testing::AssertionFailure() << round;
        const ProcessResult fresh =
            runTool(m_fresh, {"render", m_folder / "g.json", "-o", m_fresh / "out.exr"});
        if (fresh.status != s_done)
            return ::testing::AssertionFailure() << fresh.err;
        for (const int64_t x : {5, 35, 65, 95})
            if (const float expected = redAt(m_fresh / "out.exr", x, 20),
                found = redAt(m_folder / "out.exr", x, 20);
                expected != found)
                return ::testing::AssertionFailure()
                       << round << ": red " << found << " at " << x << ", not " << expected;
        return ::testing::AssertionSuccess();
    }

    ProcessResult stop()
    {
        ::kill(m_tool->pid(), SIGINT);
        return m_tool->wait();
    }

private:
    TestFolder m_folder, m_fresh;
    std::optional<ToolProcess> m_tool;
    size_t m_lines = 0;
};

Json floatOutput(const char* name)
{
    return {{"node", name}, {"file", "out.exr"}, {"params", {{"type3OptionB", "float"}}}};
}

Json exampleGraph()
{
    return graphOf(
        {{"plate", node("FileIn", {{"filename", "in.exr"}})},
         {"grade", node("Gain", {{"gain", {0.5, 1, 1, 1}}}, {{"input", "plate"}})},
         {"wheel", node("HueWheel")},
         {"comp", node("Mix", {{"mix", 0.5}}, {{"first", "grade"}, {"second", "wheel"}})}},
        {floatOutput("comp")});
}

void makePicture(const std::string& file, const Json& color)
{
    const TestFolder folder;
    const Json graph = graphOf({{"c", node("Color", {{"color", color}})}}, {output("c", "x.exr")});
    ASSERT_EQ(runTool(folder, {"render", folder.write("g.json", graph), "-o", file}).status,
              s_done);
}

}

TEST(WatchCommand, RendersWhatAnEditChanges)
{
    Json graph = exampleGraph();
    Watched watched(graph);
    makePicture(watched.folder() / "in.exr", 0.25);
    watched.start({"--tile", "32x32"});
    const Json first = watched.next();
    EXPECT_TRUE(watched.looksRight(first));
    EXPECT_EQ(first["changed"], Json::array());
    EXPECT_EQ(first["cached"], 0);

    graph["nodes"]["comp"]["params"]["mix"] = 0.75;
    watched.rewrite(graph);
    const Json second = watched.next();
    EXPECT_TRUE(watched.looksRight(second));
    EXPECT_EQ(second["changed"], Json({"comp.mix"}));
    EXPECT_GT(second["cached"], 0);
    EXPECT_LT(second["tiles"], first["tiles"]);

    // Everything there is to say at once.
    graph["nodes"].erase("wheel");
    graph["nodes"]["bars"] = node("Bars");
    graph["nodes"]["comp"]["inputs"]["second"] = "bars";
    graph["nodes"]["grade"] = node("Contrast", {{"contrast", 2}}, {{"input", "plate"}});
    graph["nodes"]["plate"]["params"]["colorspace"] = "sRGB";
    graph["format"] = {0, 0, 100, 40};
    graph["settings"] = {{"tileSize", {16, 16}}, {"caching", true}};
    graph["outputs"][0]["area"] = {0, 0, 100, 30};
    graph["outputs"][0]["params"]["type3OptionA"] = "PIZ";
    watched.replace(graph);
    const Json third = watched.next();
    EXPECT_TRUE(watched.looksRight(third));
    EXPECT_EQ(third["changed"],
              Json({"bars added", "comp.inputs.second", "grade.task", "plate.colorspace",
                    "wheel removed", "format", "settings.tileSize", "settings.caching",
                    "outputs.0.area", "outputs.0.params.type3OptionA"}));
    EXPECT_EQ(watched.stop().status, s_stopped);
    EXPECT_EQ(watched.folder().names(), (Strings{"g.json", "in.exr", "out.exr"}));
}

TEST(WatchCommand, OutlivesBrokenEdits)
{
    Json graph = exampleGraph();
    Watched watched(graph);
    makePicture(watched.folder() / "in.exr", 0.25);
    watched.start();
    const auto tellsOf = [](const Json& round, const std::string& text) {
        return round.contains("error") &&
               round["error"].get<std::string>().find(text) != std::string::npos;
    };
    EXPECT_TRUE(watched.looksRight(watched.next()));
    watched.replace(graph.dump().substr(0, 100));
    EXPECT_TRUE(tellsOf(watched.next(), "parse error"));
    graph["nodes"]["grade"]["params"]["gian"] = 2;
    watched.rewrite(graph);
    EXPECT_TRUE(tellsOf(watched.next(), "did you mean \"gain\"?"));
    std::filesystem::remove(watched.folder() / "g.json");
    EXPECT_TRUE(tellsOf(watched.next(), "cannot be read"));
    graph["nodes"]["grade"]["params"].erase("gian");
    graph["nodes"]["plate"]["params"]["filename"] = "later/in.exr";
    watched.rewrite(graph);
    EXPECT_TRUE(tellsOf(watched.next(), "plate: an error: File not found: "));
    // The picture comes with its folder, of which the system cannot have told.
    std::filesystem::create_directory(watched.folder() / "soon");
    std::filesystem::copy(watched.folder() / "in.exr", watched.folder() / "soon/in.exr");
    std::filesystem::rename(watched.folder() / "soon", watched.folder() / "later");
    EXPECT_TRUE(watched.looksRight(watched.next()));
    // All that was kept before is still there.
    graph["nodes"]["plate"]["params"]["filename"] = "in.exr";
    watched.rewrite(graph);
    const Json last = watched.next();
    EXPECT_TRUE(watched.looksRight(last));
    EXPECT_EQ(last["changed"], Json({"plate.filename"}));
    EXPECT_EQ(last["tiles"], 2) << last; // what is written, and the kept tile behind it
    EXPECT_EQ(last["cached"], 1) << last;
}

TEST(WatchCommand, RendersWhatReadsAChangedFile)
{
    Json graph = exampleGraph();
    graph["nodes"]["wheel"] = node("FileIn", {{"filename", "link.exr"}});
    graph["nodes"]["screen"] = node("OCIOColorSpace", {{"dst", "sRGB"}}, {{"input", "comp"}});
    graph["outputs"] = {floatOutput("screen")};
    graph["settings"]["ocio"] = "c.ocio";
    Watched watched(graph);
    const TestFolder& folder = watched.folder();
    std::string config = readFile(QUILT_SOURCE_DIR "/tools/quilt/quilt.ocio");
    folder.write("c.ocio", config);
    std::filesystem::create_directory(folder / "sub");
    std::filesystem::create_symlink("sub/other.exr", folder / "link.exr");
    makePicture(folder / "in.exr", 0.25);
    makePicture(folder / "sub/other.exr", 0.5);
    watched.start();
    EXPECT_TRUE(watched.looksRight(watched.next()));

    makePicture(folder / "sub/other.exr", 0.75);
    const Json picture = watched.next();
    EXPECT_TRUE(watched.looksRight(picture));
    EXPECT_EQ(picture["changed"], Json({folder / "link.exr changed"}));
    EXPECT_GT(picture["cached"], 0);

    const size_t gamma = config.find("2.4, 2.4, 2.4");
    ASSERT_NE(gamma, std::string::npos);
    folder.write("c.ocio", config.replace(gamma, 13, "2.0, 2.0, 2.0"));
    const Json colors = watched.next();
    EXPECT_TRUE(watched.looksRight(colors));
    EXPECT_EQ(colors["changed"], Json({folder / "c.ocio changed"}));
}

TEST(WatchCommand, TellsNumbersApartThatIdentitiesDoNot)
{
    Json graph = exampleGraph();
    Watched watched(graph);
    makePicture(watched.folder() / "in.exr", 0.25);
    watched.start();
    EXPECT_TRUE(watched.looksRight(watched.next()));
    const float before = redAt(watched.folder() / "out.exr", 5, 20);
    // In the end an identity comes back whose numbers have changed while there was another.
    for (const auto& [gain, colorspace, isCleared] : {std::tuple{0.5000003, "", true},
                                                      {0.5, "", true},
                                                      {0.5000003, "sRGB", false},
                                                      {0.5000003, "", true}})
    {
        graph["nodes"]["grade"]["params"]["gain"][0] = gain;
        graph["nodes"]["plate"]["params"]["colorspace"] = colorspace;
        watched.rewrite(graph);
        const Json round = watched.next();
        EXPECT_TRUE(watched.looksRight(round));
        EXPECT_EQ(round["changed"].dump().find("grade: ") != std::string::npos, isCleared) << round;
        EXPECT_EQ(round["cached"] == 0, isCleared) << round;
        EXPECT_EQ(redAt(watched.folder() / "out.exr", 5, 20) == before, gain == 0.5);
    }
}

TEST(WatchCommand, LeavesARenderForANewerEditAndStopsCleanly)
{
    Json graph = slowGraph();
    Watched watched(graph);
    watched.start({"--memory", "64", "--tile", "64x64", "--progress", "always"});
    const auto isRendering = [&](const char* round) {
        const std::string text = watched.tool().err();
        const size_t begin = text.find(round);
        return begin != std::string::npos && text.find(" tiles", begin) != std::string::npos;
    };
    ASSERT_TRUE(comesTrue([&] { return isRendering("watching "); }));
    graph["nodes"]["slow"]["params"]["points"][0]["color"] = 0.25;
    watched.replace(graph);
    EXPECT_EQ(watched.next()["error"], "given up for a newer change");
    ASSERT_TRUE(comesTrue([&] { return isRendering("round 2: slow.points"); }));
    const ProcessResult result = watched.stop();
    EXPECT_EQ(result.status, s_stopped);
    const std::string last = result.out.substr(result.out.find('\n') + 1);
    EXPECT_EQ(Json::parse(last)["error"], "stopped");
    EXPECT_EQ(Json::parse(last)["changed"], Json({"slow.points"}));
    EXPECT_EQ(watched.folder().names(), Strings{"g.json"});
}

TEST(WatchCommand, EndsWhenNobodyReadsItsLines)
{
    const TestFolder folder;
    const std::string file =
        folder.write("g.json", graphOf({{"c", node("Bars")}}, {{{"node", "c"}}}));
    const std::string command = "{ timeout 60 " QUILT_TOOL " watch " + file + " --json 2>" +
                                (folder / "err") + "; echo $? >" + (folder / "status") +
                                "; } | head -n 1 >" + (folder / "out");
    EXPECT_EQ(std::system(command.c_str()), s_done);
    EXPECT_EQ(Json::parse(readFile(folder / "out"))["round"], 1);
    EXPECT_EQ(readFile(folder / "status"), "1\n");
    EXPECT_TRUE(
        readFile(folder / "err").ends_with("quilt: nobody reads standard output any more\n"))
        << readFile(folder / "err");
}

TEST(WatchCommand, RefusesWhatCannotBeWatched)
{
    const TestFolder folder;
    EXPECT_EQ(runTool(folder, {"watch", folder / "missing.json"}).status, s_wrong);
    EXPECT_EQ(runTool(folder, {"watch", "-"}).status, s_wrong);
}
