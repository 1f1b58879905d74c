#include "RenderSettings.h"

#include <algorithm>
#include <fstream>
#include <thread>

#include <sched.h>
#include <unistd.h>

#include <QUILT/RenderManager.h>

namespace QuiltTool
{

namespace
{

using QUILT::RenderManager;

template <class T>
void fillFrom(std::optional<T>& setting, const std::optional<T>& other)
{
    if (!setting)
        setting = other;
}

unsigned long machineMemory()
{
    return static_cast<unsigned long>(::sysconf(_SC_PHYS_PAGES)) *
           static_cast<unsigned long>(::sysconf(_SC_PAGESIZE));
}

// What a container leaves to the processes in it; the machine's memory when it says nothing.
unsigned long allowedMemory()
{
    unsigned long allowed = machineMemory();
    for (const char* file :
         {"/sys/fs/cgroup/memory.max", "/sys/fs/cgroup/memory/memory.limit_in_bytes"})
    {
        std::ifstream stream(file);
        unsigned long limit = 0;
        if (stream >> limit)
            allowed = std::min(allowed, limit);
    }
    return allowed;
}

// The cores that this process may run on.
unsigned long allowedCores()
{
    cpu_set_t set;
    if (::sched_getaffinity(0, sizeof set, &set) == 0)
        return static_cast<unsigned long>(CPU_COUNT(&set));
    return std::max(1u, std::thread::hardware_concurrency());
}

}

Settings merged(const Settings& commandLine, const Settings& graph)
{
    Settings all = commandLine;
    fillFrom(all.threads, graph.threads);
    fillFrom(all.tileSize, graph.tileSize);
    fillFrom(all.memory, graph.memory);
    fillFrom(all.swap, graph.swap);
    fillFrom(all.caching, graph.caching);
    fillFrom(all.ocio, graph.ocio);
    return all;
}

unsigned long defaultMemory()
{
    return std::max(1ul, (allowedMemory() / 2) >> 20);
}

void applySettings(const Settings& settings, bool caching)
{
    RenderManager::setRenderThreads(settings.threads.value_or(allowedCores()));
    RenderManager::SetMaxImageMemory(settings.memory.value_or(defaultMemory()));
    RenderManager::SetMaxDiskUsage(settings.swap.value_or(8192));
    const UTIL::Rect tile = settings.tileSize.value_or(UTIL::Rect(0, 0, 256, 256));
    RenderManager::setGlobalTileSize(tile.x1, tile.y1);
    RenderManager::setSpeculativeCachingEnable(settings.caching.value_or(caching));
    RenderManager::SetTileOrder(RenderManager::TileOrder::Streaming);
    RenderManager::SetPollPeriod(1000);
}

}
