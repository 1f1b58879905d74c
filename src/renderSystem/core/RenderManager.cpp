#include "QUILT/RenderManager.h"

#include <atomic>

#include "private/Assert.h"
#include "private/RenderTask_Imp.h"

namespace QUILT
{

namespace
{

std::atomic<long> s_tileWidth{256};
std::atomic<long> s_tileHeight{256};

}

void RenderManager::setGlobalTileSize(long xTileSize, long yTileSize)
{
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

}
