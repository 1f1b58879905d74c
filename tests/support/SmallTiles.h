#pragma once

#include <QUILT/RenderManager.h>

namespace QUILT::Test
{

/// As a fixture's base: renders in tiles of 16x16 without the cache, so that every tile is made and
/// has neighbours.
class SmallTiles
{
public:
    SmallTiles()
    {
        RenderManager::SetPollPeriod(1000);
        RenderManager::setGlobalTileSize(16, 16);
        RenderManager::setSpeculativeCachingEnable(false);
    }
    SmallTiles(const SmallTiles&) = delete;
    SmallTiles& operator=(const SmallTiles&) = delete;
    ~SmallTiles()
    {
        RenderManager::ClearRenderTaskCache();
        RenderManager::setSpeculativeCachingEnable(true);
    }
};

}
