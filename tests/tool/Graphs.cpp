#include "Graphs.h"

#include <chrono>
#include <thread>

#include <EMULSION/ImageFile.h>

namespace ToolTest
{

Json node(const char* task, const Json& params, const Json& inputs)
{
    return {{"task", task}, {"params", params}, {"inputs", inputs}};
}

Json output(const char* name, const char* file)
{
    return {{"node", name}, {"file", file}};
}

float redAt(const std::string& file, int64_t x, int64_t y)
{
    float value = -1;
    EMULSION::Image image = {};
    image.bounds = UTIL::Rect(x, y, x + 1, y + 1);
    image.channels = 1;
    image.rowBytes = sizeof value;
    image.pixelPtr = &value;
    EMULSION::ReadImage(&image, file.c_str(), "", {});
    return value;
}

bool comesTrue(const std::function<bool()>& condition)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (!condition())
    {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

namespace
{

// Points enough to keep a machine busy for minutes.
Json slowNode()
{
    Json points = Json::array();
    for (int i = 0; i < 4000; ++i)
        points.push_back({{"x", i * 37 % 4096}, {"y", i * 91 % 2160}, {"color", 0.5}});
    return node("SuperGradient", {{"points", points}});
}

}

Json slowGraph()
{
    Json graph = graphOf({{"slow", slowNode()}}, {output("slow", "slow.exr")});
    graph["format"] = {0, 0, 16384, 8640};
    return graph;
}

}
