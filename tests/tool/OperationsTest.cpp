// The table of operations, as `quilt ops --json` gives it, and whether it tells the truth.

#include <algorithm>
#include <functional>
#include <set>

#include <gtest/gtest.h>

#include "tool/Process.h"

using namespace ToolTest;

namespace
{

Json table(const TestFolder& folder)
{
    const ProcessResult result = runTool(folder, {"ops", "--json"});
    EXPECT_EQ(result.status, 0);
    return Json::parse(result.out)["ops"];
}

// A small picture for the operations that read one.
std::string makePicture(const TestFolder& folder)
{
    const std::string graph =
        folder.write("picture.json", graphOf({{"c", {{"task", "Bars"}}}},
                                             {{{"node", "c"}, {"file", "picture.exr"}}}));
    EXPECT_EQ(runTool(folder, {"render", graph}).status, 0);
    return folder / "picture.exr";
}

// A node of the operation with the parameters that it requires; its inputs are the node "in".
Json smallestNode(const Json& op, const std::string& picture)
{
    Json node = {{"task", op["name"]}, {"params", Json::object()}, {"inputs", Json::object()}};
    for (const Json& input : op["inputs"])
        node["inputs"][input["name"]] = input["list"] ? Json{"in", "in"} : Json("in");
    for (const Json& param : op["params"])
        if (!param.contains("default"))
        {
            EXPECT_EQ(param["name"], "filename") << "needs a value in this test: " << op["name"];
            node["params"]["filename"] = op["name"] == "FileIn" ? picture : picture + ".new.exr";
        }
    return node;
}

Json withInput(const Json& node)
{
    return graphOf({{"in", {{"task", "Bars"}}}, {"node", node}});
}

// The cache ID of "node".
std::string checkedID(const TestFolder& folder, const Json& graph)
{
    const std::string file = folder.write("op.json", graph);
    const ProcessResult result = runTool(folder, {"check", "--json", file});
    EXPECT_EQ(result.status, 0) << result.err << graph;
    if (result.status != 0)
        return "";
    const Json nodes = Json::parse(result.out)["nodes"];
    for (const Json& node : nodes)
        if (node["name"] == "node")
            return node["cacheID"];
    return "";
}

}

TEST(Operations, AreDescribedWhole)
{
    const TestFolder folder;
    const std::vector<std::string> types = {"bool",   "int",   "float",  "string", "color",
                                            "vec2",   "rect",  "region", "mask",   "enum",
                                            "matrix", "curve", "list",   "object"};
    const std::function<void(const Json&)> checkParams = [&](const Json& params) {
        for (const Json& param : params)
        {
            const auto type = param["type"].get<std::string>();
            EXPECT_NE(std::ranges::find(types, type), types.end()) << param;
            EXPECT_TRUE(param["sentence"].get<std::string>().ends_with('.')) << param;
            EXPECT_EQ(type == "enum", param.contains("names")) << param;
            const bool ofObjects = type == "list" && param["of"].get<std::string>() == "object";
            EXPECT_EQ(type == "object" || ofObjects, param.contains("params")) << param;
            const Json otherwise = param.value("default", Json());
            EXPECT_TRUE(type != "color" || otherwise.is_null() || otherwise.size() == 4) << param;
            if (param.contains("params"))
                checkParams(param["params"]);
        }
    };
    const Json ops = table(folder);
    EXPECT_GE(ops.size(), 17u);
    std::string last;
    for (const Json& op : ops)
    {
        EXPECT_LT(last, op["name"].get<std::string>());
        last = op["name"].get<std::string>();
        EXPECT_TRUE(op["sentence"].get<std::string>().ends_with('.')) << op["name"];
        checkParams(op["params"]);
        const ProcessResult one = runTool(folder, {"ops", op["name"]});
        EXPECT_TRUE(one.out.starts_with(op["name"].get<std::string>() + ": ")) << one.out;
    }
}

// Catches builders that ask for a parameter by another name or type than the table has, and
// defaults that are not what happens.
TEST(Operations, MeanTheSameWithTheirDefaultsWrittenOut)
{
    const TestFolder folder;
    const std::string picture = makePicture(folder);
    for (const Json& op : table(folder))
    {
        const Json plain = smallestNode(op, picture);
        Json written = plain;
        for (const Json& param : op["params"])
            if (param.contains("default"))
                written["params"][param["name"]] = param["default"];
        const std::string id = checkedID(folder, withInput(plain));
        EXPECT_NE(id, "") << op["name"];
        EXPECT_EQ(checkedID(folder, withInput(written)), id) << op["name"];
    }
}

TEST(Operations, TakeEveryNameAndRefuseWhatIsOutOfRange)
{
    const TestFolder folder;
    const std::string picture = makePicture(folder);
    for (const Json& op : table(folder))
    {
        for (const Json& param : op["params"])
        {
            Json node = smallestNode(op, picture);
            Json& value = node["params"][param["name"].get<std::string>()];
            for (const Json& name : param.value("names", Json::array()))
            {
                value = name;
                if (param["name"] == "outputDataWindow" && name == "Manual")
                    node["params"]["dataWindowBounds"] = {0, 0, 1, 1};
                EXPECT_NE(checkedID(folder, withInput(node)), "") << op["name"] << param;
            }
            for (const auto& [limit, step] : {std::pair("min", -1), std::pair("max", 1)})
                if (param.contains(limit))
                {
                    value = param[limit].get<double>() + step;
                    const ProcessResult result =
                        runTool(folder, {"check", folder.write("op.json", withInput(node))});
                    EXPECT_EQ(result.status, 2) << op["name"] << param;
                    EXPECT_NE(result.err.find("/nodes/node/params/" +
                                              param["name"].get<std::string>() + ": found"),
                              std::string::npos)
                        << result.err;
                }
        }
    }
}

TEST(Operations, CoverEveryPublicFactory)
{
    // What takes objects of C++ that a file cannot hold.
    std::set<std::string> names = {"OCIOProcessor", "OCIOTransform"};
    const TestFolder folder;
    for (const Json& op : table(folder))
        names.insert(op["name"]);
    const std::string create = "create", task = "Task(";
    for (const auto& header : std::filesystem::directory_iterator(
             std::filesystem::path(QUILT_SOURCE_DIR) / "include/QUILT"))
    {
        const std::string text = readFile(header.path());
        for (size_t end = text.find(task); end != std::string::npos; end = text.find(task, end + 1))
        {
            const size_t start = text.find_last_of(" *\n", end) + 1;
            const std::string factory = text.substr(start, end - start);
            EXPECT_TRUE(!factory.starts_with(create) || names.count(factory.substr(create.size())))
                << factory << " of " << header.path();
        }
    }
}

TEST(Documents, ShowAGraphThatIsRight)
{
    const std::string page = readFile(QUILT_SOURCE_DIR "/docs/graph-format.md");
    const std::string begin = "```json\n";
    const size_t start = page.find(begin) + begin.size();
    const TestFolder folder;
    const std::string graph =
        folder.write("doc.json", page.substr(start, page.find("```", start) - start));
    const ProcessResult result = runTool(folder, {"check", graph});
    // Its plate is not there.
    EXPECT_EQ(result.status, 1) << result.err;
    EXPECT_TRUE(result.err.starts_with("plate: an error: File not found: ")) << result.err;
}

TEST(Examples, CheckAndRender)
{
    const TestFolder folder;
    const std::filesystem::path examples = std::filesystem::path(QUILT_SOURCE_DIR) / "examples";
    size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(examples))
        if (entry.path().extension() == ".json")
        {
            std::filesystem::copy(entry.path(), folder.path());
            ++count;
        }
    EXPECT_GE(count, 3u);
    // The first one makes the pictures that the others read.
    for (const char* name :
         {"plates.json", "first.json", "gradients.json", "operators.json", "grade.json"})
    {
        const ProcessResult result = runTool(folder, {"render", folder / name, "--tile", "64x64"});
        EXPECT_EQ(result.status, 0) << name << result.err;
    }
    EXPECT_TRUE(std::filesystem::exists(folder / "first.exr"));
    for (const std::string& name : folder.names())
    {
        const bool isGraph = name.ends_with(".json");
        EXPECT_TRUE(!isGraph || runTool(folder, {"check", folder / name}).status == 0) << name;
    }
}
