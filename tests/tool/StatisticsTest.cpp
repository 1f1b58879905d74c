// What `quilt render` tells of its run: the timeline, the table of nodes, the tree of figures.

#include <algorithm>
#include <map>
#include <set>
#include <sstream>

#include <gtest/gtest.h>

#include "support/FileSizeLimit.h"
#include "tool/Process.h"

using namespace ToolTest;

namespace
{

// A node that is two tasks, a name to be escaped, and two outputs, which the engine copies.
Json someGraph()
{
    const Json mix = {{"task", "Mix"}, {"inputs", {{"first", "wheel"}, {"second", "bars \"ä\""}}}};
    return graphOf(
        {{"wheel", {{"task", "HueWheel"}}}, {"bars \"ä\"", {{"task", "Bars"}}}, {"mix", mix}},
        {{{"node", "mix"}, {"file", "mix.$F.exr"}}, {{"node", "wheel"}}});
}

// The events of tiles, all else in order.
std::vector<Json> tileEvents(const std::string& file)
{
    std::set<Json> rows;
    std::map<Json, double> ends; // by row
    std::vector<Json> tiles, waits;
    const Json trace = Json::parse(readFile(file));
    for (const Json& event : trace["traceEvents"])
    {
        if (event["name"] == "thread_name")
            EXPECT_TRUE(rows.insert(event["tid"]).second);
        else if (event["name"] == "preRender")
            waits.push_back(event);
        else if (event["ph"] == "X")
            tiles.push_back(event);
    }
    // To the nanosecond, in microseconds; the sum may be off by the last digit.
    const auto endOf = [](const Json& event) {
        return event["ts"].get<double>() + event["dur"].get<double>() - 0.0005;
    };
    for (const Json& tile : tiles)
    {
        EXPECT_TRUE(rows.contains(tile["tid"]));
        EXPECT_GE(tile["ts"], ends[tile["tid"]]) << tile; // a thread does one thing at a time
        EXPECT_EQ(tile["args"]["cached"], tile["dur"] == 0) << tile;
        ends[tile["tid"]] = endOf(tile);
    }
    for (const Json& wait : waits)
        EXPECT_TRUE(std::ranges::any_of(tiles, [&](const Json& tile) {
            return tile["name"] == wait["args"]["task"] && tile["tid"] == wait["tid"] &&
                   tile["ts"] <= wait["ts"] && endOf(tile) + 0.001 >= endOf(wait);
        })) << wait;
    return tiles;
}

struct TableRow
{
    int tiles = 0, cached = 0;
    double seconds = 0, share = 0;
};

// The rows of the nodes, without those of their tasks.
std::map<std::string, TableRow> tableOf(const std::string& text)
{
    std::map<std::string, TableRow> rows;
    std::istringstream lines(text.substr(text.find("\nnode ")));
    std::string line, word;
    for (std::getline(lines, line), std::getline(lines, line); std::getline(lines, line);)
    {
        if (line.starts_with(' '))
            continue;
        std::vector<std::string> words;
        for (std::istringstream stream(line); stream >> word;)
            words.push_back(word);
        const size_t end = words.size();
        rows[line.substr(0, line.find("  "))] = {
            std::stoi(words[end - 5]), std::stoi(words[end - 4]), std::stod(words[end - 3]),
            std::stod(words[end - 1])};
    }
    return rows;
}

}

TEST(Statistics, TellTheSameInEveryForm)
{
    const TestFolder folder;
    const ProcessResult result =
        runTool(folder, {"render", folder.write("g.json", someGraph()), "--frames", "1-3", "--tile",
                         "16x16", "--threads", "2", "--quiet", "--json", "-", "--stats",
                         "--stats-xml", folder / "stats.xml", "--trace", folder / "trace"});
    ASSERT_EQ(result.status, 0) << result.err;
    const Json report = Json::parse(result.out);
    EXPECT_GT(report["cached"], 0);

    std::map<std::string, TableRow> expected;
    std::set<Json> places;
    for (const Json& tile : tileEvents(folder / "trace"))
    {
        const std::string name = tile["name"];
        const Json& facts = tile["args"];
        const Json place = {name, tile["cat"], facts["frame"], facts["tile"]};
        EXPECT_TRUE(places.insert(place).second) << place;
        for (TableRow* row :
             {&expected[name.starts_with("__") ? "(engine)" : name], &expected["all nodes"]})
        {
            row->tiles += 1;
            row->cached += facts["cached"].get<bool>();
            row->seconds += tile["dur"].get<double>() * 1e-6;
        }
    }
    EXPECT_EQ(expected["all nodes"].tiles, report["tiles"]);
    EXPECT_EQ(expected["all nodes"].cached, report["cached"]);

    EXPECT_TRUE(result.err.starts_with("Render Manager\n  Render Threads  ")) << result.err;
    const std::map<std::string, TableRow> table = tableOf(result.err);
    EXPECT_EQ(table.size(), expected.size()) << result.err;
    double shares = 0;
    for (const auto& [name, row] : table)
    {
        SCOPED_TRACE(name);
        EXPECT_EQ(row.tiles, expected[name].tiles);
        EXPECT_EQ(row.cached, expected[name].cached);
        EXPECT_NEAR(row.seconds, expected[name].seconds, 0.001);
        shares += row.share;
    }
    EXPECT_NEAR(shares, 200, 0.5) << result.err; // the sum is one of the rows

    EXPECT_NE(readFile(folder / "stats.xml").find("<element name=\"Render Manager\">"),
              std::string::npos);
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"g.json", "mix.1.exr", "mix.2.exr",
                                                        "mix.3.exr", "stats.xml", "trace"}));
}

TEST(Statistics, SayWhenTheyCannotBeWritten)
{
    const TestFolder folder;
    const std::string file = folder.write("g.json", someGraph());
    const auto run = [&](const char* option, const std::string& target) {
        return runTool(
            folder, {"render", file, "--quiet", "--tile", "4x4", "--threads", "2", option, target});
    };
    for (const char* option : {"--trace", "--stats-xml", "--json"})
        for (const std::string& target : {folder / "missing/x", folder / ""})
        {
            const ProcessResult result = run(option, target);
            EXPECT_EQ(result.status, 2);
            EXPECT_TRUE(result.err.starts_with(option + (": " + target) + " cannot be written: "))
                << result.err;
        }
    EXPECT_EQ(folder.names(), std::vector<std::string>{"g.json"}); // nothing was rendered

    for (const char* option : {"--stats-xml", "--json"})
    {
        const ProcessResult full = run(option, "/dev/full");
        EXPECT_EQ(full.status, 1);
        EXPECT_NE(full.err.find("/dev/full cannot be written: No space left"), std::string::npos)
            << full.err;
    }
    EXPECT_TRUE(std::filesystem::exists(folder / "mix.1.exr"));

    // The trace ends behind the events for which there was room.
    const QUILT::Test::FileSizeLimit limit(100'000);
    const ProcessResult cut = run("--trace", folder / "trace");
    EXPECT_EQ(cut.status, 1);
    EXPECT_NE(cut.err.find("the trace cannot be written to " + folder / "trace"), std::string::npos)
        << cut.err;
    EXPECT_GT(tileEvents(folder / "trace").size(), 100u);
    // A report is the whole new one or the whole old one.
    folder.write("report", std::string("old"));
    const QUILT::Test::FileSizeLimit lower(6'000);
    EXPECT_EQ(
        runTool(folder, {"render", file, "--frames", "1-60", "--json", folder / "report"}).status,
        1);
    EXPECT_EQ(readFile(folder / "report"), "old");
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"g.json", "mix.1.exr", "report", "trace"}));
}
