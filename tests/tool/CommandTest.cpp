// The commands that look: check, dot, info.

#include <algorithm>

#include <gtest/gtest.h>

#include "tool/Process.h"

using namespace ToolTest;

namespace
{

const Json s_nodes = {
    {"a top", {{"task", "Copy"}, {"inputs", {{"input", "mix"}}}}},
    {"mix",
     {{"task", "Mix"},
      {"params", {{"mix", {{"keys", {{"1", 0.25}, {"3", 0.75}}}}}}},
      {"inputs", {{"first", "solid"}, {"second", "opaque"}}}}},
    {"opaque",
     {{"task", "Color"}, {"params", {{"rect", {50, 0, 80, 20}}, {"color", {1, 0, 0, 1}}}}}},
    {"solid", {{"task", "Color"}, {"params", {{"color", 0.5}}}}},
};

Json checked(const TestFolder& folder, const std::vector<std::string>& arguments)
{
    std::vector<std::string> all = {"check", "--json"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    const ProcessResult result = runTool(folder, all);
    EXPECT_EQ(result.status, 0) << result.err;
    return result.status == 0 ? Json::parse(result.out)["nodes"] : Json();
}

std::string idOf(const Json& nodes, const std::string& name)
{
    for (const Json& node : nodes)
        if (node["name"] == name)
            return node["cacheID"];
    return "";
}

}

TEST(CheckCommand, TellsWhatEachNodeMakesWithInputsFirst)
{
    const TestFolder folder;
    const Json nodes = checked(folder, {folder.write("g.json", graphOf(s_nodes))});
    std::vector<std::string> order;
    for (const Json& node : nodes)
        order.push_back(node["name"]);
    EXPECT_EQ(order, (std::vector<std::string>{"solid", "opaque", "mix", "a top"}));
    EXPECT_EQ(nodes[0]["channels"], "RGBA");
    EXPECT_EQ(nodes[0]["dataRegion"], Json({{0, 0, 100, 50}}));
    EXPECT_EQ(nodes[1]["channels"], "R");
    EXPECT_EQ(nodes[1]["type"], "Color");
    EXPECT_EQ(nodes[1]["dataRegion"], Json({{50, 0, 80, 20}}));
    EXPECT_EQ(nodes[3]["background"], Json({0.0, 0.0, 0.0, 0.0}));

    const ProcessResult text = runTool(folder, {"check", folder / "g.json"});
    EXPECT_EQ(std::ranges::count(text.out, '\n'), 5);
    EXPECT_NE(text.out.find(idOf(nodes, "mix")), std::string::npos);
}

TEST(CheckCommand, ReadsAnimatedValuesAtAFrame)
{
    const TestFolder folder;
    const std::string file = folder.write("g.json", graphOf(s_nodes));
    const auto id = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), file);
        return idOf(checked(folder, arguments), "mix");
    };
    EXPECT_EQ(id({"--frame", "2"}), id({"--set", "mix.mix=0.5"}));
    EXPECT_EQ(id({"--frame", "-7"}), id({"--set", "mix.mix=0.25"}));
    EXPECT_EQ(id({"--frame", "99"}), id({"--set", "mix.mix=0.75"}));
    EXPECT_NE(id({"--frame", "1"}), id({"--frame", "3"}));
    // Deep inside of values, too.
    EXPECT_EQ(id({"--set", "mix.mix.keys.1=0.125"}), id({"--set", "mix.mix=0.125"}));
    EXPECT_EQ(id({"--set", "solid.color=[0.5, 0.5, 0.5, 0.5]"}), id({}));
    EXPECT_NE(id({"--set", "solid.color=0.25"}), id({}));
}

TEST(CheckCommand, TakesALongChain)
{
    constexpr int length = 3000;
    Json nodes = {{"0", {{"task", "Color"}}}};
    for (int i = 1; i < length; ++i)
        nodes[std::to_string(i)] = {{"task", "Copy"},
                                    {"inputs", {{"input", std::to_string(i - 1)}}}};
    const TestFolder folder;
    EXPECT_EQ(checked(folder, {folder.write("g.json", graphOf(nodes))}).size(), size_t{length});
}

TEST(DotCommand, DrawsNodesAndInputs)
{
    const TestFolder folder;
    Json nodes = s_nodes;
    nodes["q\"\\"] = nodes["solid"];
    const ProcessResult result = runTool(folder, {"dot", folder.write("g.json", graphOf(nodes))});
    EXPECT_EQ(result.status, 0);
    for (const char* text :
         {"digraph quilt {\n", "\"opaque\" [label=\"opaque\\nColor, R\\n[50, 0, 80, 20]\"];",
          "\"mix\" -> \"a top\" [label=\"input\"];", "\"q\\\"\\\\\" [label="})
        EXPECT_NE(result.out.find(text), std::string::npos) << text << result.out;
}

TEST(InfoCommand, TellsWhatHeadersSay)
{
    const TestFolder folder;
    const std::vector<Json> outputs = {
        {{"node", "opaque"},
         {"file", "plain.exr"},
         {"params", {{"outputDataWindow", "Intersection"}}}},
        {{"node", "solid"},
         {"file", "tiled.exr"},
         {"params", {{"tiled", true}, {"tileWidth", 32}, {"tileHeight", 16}}}}};
    ASSERT_EQ(runTool(folder, {"render", folder.write("g.json", graphOf(s_nodes, outputs))}).status,
              0);

    const ProcessResult result = runTool(folder, {"info", "--json", folder / "plain.exr",
                                                  folder / "none.exr", folder / "tiled.exr"});
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("none.exr"), std::string::npos) << result.err;
    const Json files = Json::parse(result.out);
    ASSERT_EQ(files.size(), 2u);
    EXPECT_EQ(files[0]["file"], folder / "plain.exr");
    EXPECT_EQ(files[0]["reader"], "scanline");
    EXPECT_EQ(files[0]["channelNames"], Json({"R"}));
    EXPECT_EQ(files[0]["dataWindow"], Json({50, 0, 80, 20}));
    EXPECT_EQ(files[0]["displayWindow"], Json({0, 0, 100, 50}));
    EXPECT_EQ(files[0]["tileSize"], Json());
    EXPECT_EQ(files[1]["reader"], "tiled");
    EXPECT_EQ(files[1]["channels"], "RGBA");
    EXPECT_EQ(files[1]["tileSize"], Json({32, 16}));

    const ProcessResult text = runTool(folder, {"info", folder / "tiled.exr"});
    EXPECT_NE(text.out.find("32 x 16"), std::string::npos) << text.out;
}

TEST(Version, IsPrinted)
{
    const TestFolder folder;
    const ProcessResult result = runTool(folder, {"--version"});
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(result.out.starts_with("quilt 0.")) << result.out;
}
