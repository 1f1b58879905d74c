// What is wrong with a graph file or a command line is said in a line that names the place, what
// was found, what was expected and the nearest right name; once each, with exit status 2.

#include <ostream>

#include <gtest/gtest.h>

#include "tool/Process.h"

using namespace ToolTest;

namespace
{

struct Mistake
{
    const char* name;
    const char* json;               // a graph file; or nodes of one, when it
                                    // begins with a quote
    std::vector<std::string> lines; // without the file's name
};

void PrintTo(const Mistake& mistake, std::ostream* stream)
{
    *stream << mistake.name;
}

// "a" is there for others to take in.
std::string document(const std::string& json)
{
    if (!json.starts_with('"'))
        return json;
    return R"({"quilt": 1, "format": [0, 0, 10, 10], "nodes": {"a": {"task": "Color"}, )" + json +
           "}}";
}

const Mistake s_mistakes[] = {
    {"NoJson",
     "{\"quilt\": 1,\n \"nodes\" 3}",
     {"parse error at line 2, column 10: syntax error while parsing object separator - unexpected "
      "number literal; expected ':'"}},
    {"NoObject", "[1, 2]", {"found [1,2], expected an object"}},
    {"Version",
     R"({"quilt": 2, "nodes": {}})",
     {"/quilt: found 2, expected 1, the version of the graph file's format"}},
    {"NothingInIt",
     "{}",
     {"/quilt: missing; expected 1, the version of the graph file's format",
      "/nodes: missing; expected the nodes by name"}},
    {"UnknownKey",
     R"({"quilt": 1, "nods": {}})",
     {"/nods: no such key of a graph file; did you mean \"nodes\"?"}},
    {"Format",
     R"({"quilt": 1, "format": [0, 0, 0, 9], "nodes": {}})",
     {"/format: found [0,0,0,9], expected a rectangle that holds a pixel"}},
    {"Settings",
     R"({"quilt": 1, "nodes": {}, "settings": {"thread": 1, "memory": 0, "tileSize": [8]}})",
     {"/settings/thread: no such setting; did you mean \"threads\"?",
      "/settings/tileSize: found [8], expected a list of 2",
      "/settings/memory: found 0, expected a whole number from 1 to 1073741824"}},
    {"DuplicateKeys",
     R"("n": {"task": "Color", "params": {"color": 1, "color": 2}}, "n": {"task": "Bars"})",
     {"/nodes/n/params/color: duplicate key", "/nodes/n: duplicate key"}},
    {"DuplicateKeyInAList",
     R"({"quilt": 1, "nodes": {"a": {"task": "Bars"}}, "outputs": [{"node": "a"}, {"node": "a", "node": "a"}]})",
     {"/outputs/1/node: duplicate key",
      "/nodes/a/params/rect: missing; expected a rectangle here, or a \"format\" in the graph "
      "file, or a FileIn node"}},
    {"UnknownOperation",
     R"("n": {"task": "Checkerbord"})",
     {"/nodes/n/task: no such operation \"Checkerbord\"; did you mean \"Checkerboard\"?"}},
    {"MisspeltKeyOfANode",
     R"("n": {"tsk": "Color"})",
     {"/nodes/n/tsk: no such key of a node; did you mean \"task\"?"}},
    {"NoTask", R"("n": {})", {"/nodes/n/task: missing; expected the name of an operation"}},
    {"NoNode", R"("n": 3)", {"/nodes/n: found 3, expected an object"}},
    {"MissingInput",
     R"("n": {"task": "Mix", "inputs": {"first": "a"}})",
     {"/nodes/n/inputs/second: missing; Mix needs a node there"}},
    {"MisspeltInput",
     R"("n": {"task": "Copy", "inputs": {"imput": "a"}})",
     {"/nodes/n/inputs/imput: no such input of Copy; did you mean \"input\"?"}},
    {"InputThatNobodyMade",
     R"("plate": {"task": "Color"}, "n": {"task": "Copy", "inputs": {"input": "plat"}})",
     {"/nodes/n/inputs/input: no such node \"plat\"; did you mean \"plate\"?"}},
    {"InputThatIsNoName",
     R"("n": {"task": "Copy", "inputs": {"input": ["a"]}})",
     {"/nodes/n/inputs/input: found [\"a\"], expected the name of a node"}},
    {"Cycles",
     R"("c": {"task": "Copy", "inputs": {"input": "d"}}, "d": {"task": "Mix", "inputs": {"first": "a", "second": "c"}},
        "x/y~": {"task": "Copy", "inputs": {"input": "x/y~"}})",
     {R"(/nodes/c: a cycle of inputs: "c" <- "d" <- "c")",
      R"(/nodes/x~1y~0: a cycle of inputs: "x/y~" <- "x/y~")"}},
    {"UnknownParameter",
     R"("n": {"task": "Ramp", "params": {"colour0": 1}})",
     {"/nodes/n/params/colour0: no such parameter of Ramp; did you mean \"color0\"?"}},
    {"MissingParameter",
     R"("n": {"task": "FileIn"})",
     {"/nodes/n/params/filename: missing; expected a file name"}},
    {"NumberOutOfRange",
     R"("n": {"task": "Mix", "params": {"mix": 1.5}, "inputs": {"first": "a", "second": "a"}})",
     {"/nodes/n/params/mix: found 1.5, expected a number from 0 to 1"}},
    {"NumberBeyondFloat",
     R"("n": {"task": "HueWheel", "params": {"value7": 1e39, "radius": -1}})",
     {"/nodes/n/params/radius: found -1, expected a number of 0 or more",
      "/nodes/n/params/value7: found 1e+39, expected a number"}},
    {"WrongTypes",
     R"("n": {"task": "RadialGradient", "params": {"limitToEllipse": 1, "innerRadius": "big", "colorspace": 3, "color0": "red"}})",
     {"/nodes/n/params/colorspace: found 3, expected a text",
      "/nodes/n/params/color0: found \"red\", expected a colour: four numbers, or one for all four",
      "/nodes/n/params/innerRadius: found \"big\", expected a number of 0 or more",
      "/nodes/n/params/limitToEllipse: found 1, expected true or false"}},
    {"WrongCurves",
     R"("n": {"task": "RGBACurves", "params": {"red": [[0, 0], [1, 1], [0.5, 2]], "blue": [0, 1, 2]}, "inputs": {"input": "a"}})",
     {"/nodes/n/params/red: found [[0,0],[1,1],[0.5,2]], expected points [[x, y], ...] by growing "
      "x, or the same numbers in a row",
      "/nodes/n/params/blue: found [0,1,2], expected points [[x, y], ...] by growing x, or the "
      "same "
      "numbers in a row"}},
    {"WrongCounts",
     R"("n": {"task": "Checkerboard", "params": {"color0": [1, 2, 3], "rect": [0, 0, 4], "size": [1]}}, "m": {"task": "Gradient", "params": {"colors": [1, 1]}})",
     {"/nodes/m/params/colors: found [1,1], expected a list of 4",
      "/nodes/n/params/rect: found [0,0,4], expected a rectangle [x0, y0, x1, y1] of whole numbers",
      "/nodes/n/params/color0: found [1,2,3], expected a colour: four numbers, or one for all four",
      "/nodes/n/params/size: found [1], expected two numbers"}},
    {"HalfPixels",
     R"("n": {"task": "Color", "params": {"rect": [0, 0, 4.5, 1]}})",
     {"/nodes/n/params/rect: found [0,0,4.5,1], expected a rectangle [x0, y0, x1, y1] of whole "
      "numbers"}},
    {"Enumeration",
     R"("n": {"task": "Ramp", "params": {"type": "Vertikal"}}, "m": {"task": "Ramp", "params": {"type": 4}})",
     {"/nodes/m/params/type: found 4, expected one of \"Horizontal\", \"Vertical\", "
      "\"DiagonalUp\", "
      "\"DiagonalDown\"",
      "/nodes/n/params/type: found \"Vertikal\"; did you mean \"Vertical\"?"}},
    {"Mask",
     R"("n": {"task": "FileOut", "params": {"filename": "x.exr", "channels": "rgx"}, "inputs": {"input": "a"}})",
     {"/nodes/n/params/channels: found \"rgx\", expected a channel mask: letters out of \"rgba\", "
      "or a number from 0 to 15"}},
    {"EntriesOfAList",
     R"("n": {"task": "DirectionalGradient", "params": {"stops": [{"position": 1, "color": 1}, {"pos": 2, "color": "x"}]}})",
     {"/nodes/n/params/stops/1/pos: no such parameter of an entry of this list; did you mean "
      "\"position\"?",
      "/nodes/n/params/stops/1/color: found \"x\", expected a colour: four numbers, or one for all "
      "four"}},
    {"Animation",
     R"("n": {"task": "Mix", "params": {"mix": {"keys": {"1": 2, "x": 0}, "loop": 1}}, "inputs": {"first": "a", "second": "a"}},
        "m": {"task": "Bars", "params": {"flag": {"keys": {"1": true}}}}, "o": {"task": "HueWheel", "params": {"radius": {"keys": {}}}})",
     {"/nodes/m/params/flag: cannot be animated; expected true or false",
      "/nodes/n/params/mix/loop: no such key of an animation; expected \"keys\"",
      "/nodes/n/params/mix/keys/1: found 2, expected a number from 0 to 1",
      "/nodes/n/params/mix/keys/x: found \"x\", expected a frame number",
      "/nodes/o/params/radius/keys: found an object, expected values by frame: { \"1\": ..., "
      "\"24\": ... }"}},
    {"Outputs",
     R"({"quilt": 1, "format": [0, 0, 4, 4], "nodes": {"a": {"task": "Color"}}, "outputs": [
         {"node": "b"}, {"file": "x"}, {"node": "a", "params": {}}, {"node": "a", "area": [1, 2, 3]},
         {"node": "a", "file": "x.exr", "params": {"fileType": "exe", "filename": "y.exr"}}, {"node": "a", "flie": "x"}]})",
     {"/outputs/0/node: no such node \"b\"; expected \"a\"",
      "/outputs/1/node: missing; expected the name of a node",
      "/outputs/2/params: without \"file\" nothing is written that they could be for",
      "/outputs/3/area: found [1,2,3], expected a rectangle [x0, y0, x1, y1] or a list of them",
      "/outputs/4/params/filename: the file's name is given by \"file\" already",
      "/outputs/4/params/fileType: found \"exe\"; did you mean \"exr\"?",
      "/outputs/5/flie: no such key of an output; did you mean \"file\"?"}},
};

class EveryMistake : public testing::TestWithParam<Mistake>
{};

}

TEST_P(EveryMistake, IsSaidOnceAndExactly)
{
    const TestFolder folder;
    const std::string file = folder.write("g.json", document(GetParam().json));
    std::string expected;
    for (const std::string& line : GetParam().lines)
        expected += file + ": " + line + '\n';
    const ProcessResult result = runTool(folder, {"check", file});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.err, expected);
    EXPECT_EQ(result.out, "");
}

INSTANTIATE_TEST_SUITE_P(GraphFile, EveryMistake, testing::ValuesIn(s_mistakes),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(CommandLine, SaysWhatIsWrongWithIt)
{
    const TestFolder folder;
    const std::string file =
        folder.write("g.json", graphOf({{"base", {{"task", "Color"}}}}, {{{"node", "base"}}}));
    const std::string two =
        folder.write("two.json", graphOf({{"base", {{"task", "Color"}}}},
                                         {{{"node", "base"}}, {{"node", "base"}}}));
    const std::string none = folder.write("none.json", graphOf({{"base", {{"task", "Color"}}}}));
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{}, "no command; expected one of render, watch, check, ops, info, dot\n"},
        {{"rendr"}, "no such command \"rendr\"; did you mean \"render\"?\n"},
        {{"render", folder / "missing.json"},
         folder / "missing.json" + ": cannot be read: No such file or directory\n"},
        {{"render", folder / ""}, folder / "" + ": cannot be read: it is a folder\n"},
        {{"render", none}, none + ": /outputs: missing; expected at least one output to render\n"},
        {{"render", two, "-o", "x.exr"},
         "-o x.exr: expected a graph file of one output, found 2\n"},
        {{"render", file, "--frames", "1-x"},
         "--frames: found \"1-x\", expected A, A-B or A-BxS, such as 1-100x2\n"},
        {{"render", file, "--area", "0,0,1"},
         "--area: found \"0,0,1\", expected x0,y0,x1,y1, a rectangle that holds a pixel\n"},
        {{"render", file, "--tile", "64"}, "--tile: found \"64\", expected WxH, such as 256x256\n"},
        {{"render", file, "--set", "bse.color=1"},
         "--set bse.color=1: no such node \"bse\"; did you mean \"base\"?\n"},
        {{"render", file, "--set", "color"}, "--set color: expected NODE.PARAM=VALUE\n"},
        {{"render", file, "--set", "base.colr=1"},
         file + ": /nodes/base/params/colr: no such parameter of Color; did you mean \"color\"?\n"},
        {{"ops", "Colr"}, "no such operation \"Colr\"; did you mean \"Color\"?\n"},
    };
    for (const auto& [arguments, expected] : cases)
    {
        const ProcessResult result = runTool(folder, arguments);
        EXPECT_EQ(result.status, 2) << expected;
        EXPECT_EQ(result.err, expected);
    }
    // What the library for command lines says itself.
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"render"},
                                                      {"render", file, "--threads", "0"},
                                                      {"render", file, "--cache", "--no-cache"},
                                                      {"check", file, "--jsn"}})
        EXPECT_EQ(runTool(folder, arguments).status, 2) << arguments.back();
}
