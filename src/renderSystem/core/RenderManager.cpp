#include "QUILT/RenderManager.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <limits>

#include <Bramble3/XmlElement.h>

#include "private/Assert.h"
#include "private/ImageAllocator.h"
#include "private/JobMgr.h"
#include "private/ProfileRecorder.h"
#include "private/RenderController.h"
#include "private/RenderTask_Imp.h"
#include "QUILT/CacheIDStream.h"

namespace QUILT
{

namespace
{

using Private::ImageAllocator;
using Private::RenderController;

constexpr std::chrono::seconds s_longestWaitAtExit{2};

std::atomic<long> s_tileWidth{256};
std::atomic<long> s_tileHeight{256};

// Held by Render for the length of the call; outermost of all locks.
Util::Semaphore s_renderLock;

// The controllers of the process. At exit renders are cancelled and the running tiles waited for,
// because what these use, the image allocator above all, goes next.
class RenderControllers
{
public:
    RenderControllers()
    {
        // What the pool's threads use is made first, so that it goes after they have stopped: the
        // allocator, and the library behind the identities, which cleans up at exit, too.
        ImageAllocator::instance();
        compressCacheID("");
    }

    ~RenderControllers()
    {
        for (auto controller = m_controllers.rbegin(); controller != m_controllers.rend();
             ++controller)
            controller->cancel(false);
        Util::JobMgr::instance()->stopTakingJobs();
        Util::JobMgr::instance()->waitUntilIdle(s_longestWaitAtExit);
    }

    RenderController& of(RenderManager::RenderType type)
    {
        QUILT_ASSERT(type >= 0 && type < static_cast<int>(m_controllers.size()));
        return m_controllers[static_cast<size_t>(type)];
    }

private:
    std::array<RenderController, 3> m_controllers;
};

RenderController& controller(RenderManager::RenderType type)
{
    static RenderControllers s_renderControllers;
    return s_renderControllers.of(type);
}

// Mebibytes in bytes; what exceeds the range of the figures counts as unlimited.
long bytesOf(unsigned long megabytes)
{
    constexpr unsigned long most = std::numeric_limits<long>::max() >> 20;
    return megabytes > most ? std::numeric_limits<long>::max() : static_cast<long>(megabytes << 20);
}

}

Private::ProfileRecorder RenderManager::s_renderSystemProfiler;

void RenderManager::Render(const std::vector<RenderDescription>& outputs,
                           ref_ptr<RenderObserver> observer,
                           ref_ptr<OutputTilePrioritizer> prioritizer, bool async, RenderType type)
{
    const Util::SemaphoreLock lock(&s_renderLock);
    controller(type).render(outputs, observer, prioritizer, async);
}

void RenderManager::reprioritize(ref_ptr<OutputTilePrioritizer>, RenderType) {}

void RenderManager::cancel(RenderType type, bool waitForJob)
{
    controller(type).cancel(waitForJob);
}

void RenderManager::finishRender(RenderType type)
{
    controller(type).finishRender();
}

bool RenderManager::isRenderInProgress(RenderType type)
{
    return controller(type).isRenderInProgress();
}

void RenderManager::SetTileOrder(TileOrder order)
{
    Private::setTileOrder(order);
}

void RenderManager::SetPollPeriod(long microseconds)
{
    Private::setPollPeriod(std::max(microseconds, 1l));
}

void RenderManager::setRenderThreads(unsigned long n)
{
    controller(RenderTypePrimary).setRenderThreads(std::max(n, 1ul));
}

int RenderManager::getRenderThreads()
{
    return static_cast<int>(controller(RenderTypePrimary).getRenderThreads());
}

void RenderManager::SetMaxImageMemory(unsigned long megabytes)
{
    ImageAllocator::instance()->setMaxMemUsage(bytesOf(megabytes));
}

unsigned long RenderManager::GetMaxImageMemory()
{
    return static_cast<unsigned long>(ImageAllocator::instance()->getMaxMemUsage()) >> 20;
}

void RenderManager::SetMaxDiskUsage(unsigned long megabytes)
{
    ImageAllocator::instance()->setMaxDiskUsage(bytesOf(megabytes));
}

long RenderManager::GetMaxDiskUsage()
{
    return ImageAllocator::instance()->getMaxDiskUsage() / (1 << 20);
}

long RenderManager::GetImageMemoryUsage()
{
    return ImageAllocator::instance()->getMemUsage() / (1 << 20);
}

long RenderManager::GetImageDiskUsage()
{
    return ImageAllocator::instance()->getDiskUsage() / (1 << 20);
}

long RenderManager::GetPeakImageMemoryBytes()
{
    return ImageAllocator::instance()->getPeakMemUsage();
}

long RenderManager::GetPeakImageDiskBytes()
{
    return ImageAllocator::instance()->getPeakDiskUsage();
}

void RenderManager::printImageMemoryUsage()
{
    ImageAllocator::instance()->printMemUsage();
}

bool RenderManager::getSpeculativeCachingEnable()
{
    return ImageAllocator::instance()->getSpeculativeCachingEnable();
}

void RenderManager::setSpeculativeCachingEnable(bool enable)
{
    ImageAllocator::instance()->setSpeculativeCachingEnable(enable);
}

void RenderManager::clearSpeculativeCache()
{
    ImageAllocator::instance()->clearSpeculativeCache();
}

XmlElement RenderManager::GetSpeculativeCacheContents()
{
    return ImageAllocator::instance()->getSpeculativeCacheContents();
}

void RenderManager::setGlobalTileSize(long xTileSize, long yTileSize)
{
    finishRender(RenderTypePrimary);
    QUILT_ASSERT_TEXT(xTileSize > 0 && yTileSize > 0, "xTileSize >0 && yTileSize > 0");
    s_tileWidth = xTileSize;
    s_tileHeight = yTileSize;
}

long RenderManager::getGlobalTileWidth()
{
    return s_tileWidth.load(std::memory_order_relaxed);
}

long RenderManager::getGlobalTileHeight()
{
    return s_tileHeight.load(std::memory_order_relaxed);
}

void RenderManager::ClearRenderTaskCache()
{
    Private::RenderTask_Imp::clearRenderTaskCache();
}

XmlElement RenderManager::getStatistics()
{
    const int threads = std::max(getRenderThreads(), 1);
    XmlElement element = Bramble3::XmlIO::v1::Element::create("Render Manager");
    element->setAttr("Render Threads", threads);
    element->setAttr("Tile Width", static_cast<int>(getGlobalTileWidth()));
    element->setAttr("Tile Height", static_cast<int>(getGlobalTileHeight()));
    element->setAttr("Speculative Caching Enabled",
                     static_cast<int>(getSpeculativeCachingEnable()));
    element->addChild(ImageAllocator::instance()->getStatistics(static_cast<unsigned>(threads)));
    return element;
}

void RenderManager::resetStatistics()
{
    s_renderSystemProfiler.clear();
    ImageAllocator::instance()->resetStatistics();
}

}
