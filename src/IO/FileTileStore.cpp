#include "private/FileTileStore.h"

#include <EMULSION/Plumbing.h>

namespace QUILT::Private
{

bool FileTileStore::holds(const TileID& id) const
{
    const std::lock_guard lock(m_mutex);
    return m_imageTiles.contains(id);
}

void FileTileStore::add(const TileID& id, const ImageBuffer& buffer, const UTIL::Region& remaining)
{
    if (remaining.isEmpty())
        return;
    const std::lock_guard lock(m_mutex);
    m_imageTiles.try_emplace(id, Record{buffer, remaining});
}

// The pixels are copied with a handle of one's own: another thread may use up the tile meanwhile.
bool FileTileStore::use(const TileID& id, const EMULSION::Image* output)
{
    ImageBuffer buffer;
    {
        const std::lock_guard lock(m_mutex);
        const auto record = m_imageTiles.find(id);
        if (record == m_imageTiles.end())
            return false;
        buffer = record->second.m_buffer;
    }
    {
        const ImageLock image(buffer);
        EMULSION::CopyInto(output, image.image());
    }
    // After the lock, because destroying pixels takes locks of its own.
    std::map<TileID, Record>::node_type usedUp;
    const std::lock_guard lock(m_mutex);
    const auto record = m_imageTiles.find(id);
    if (record == m_imageTiles.end())
        return false;
    record->second.m_remaining.subtract(output->bounds);
    if (record->second.m_remaining.isEmpty())
        usedUp = m_imageTiles.extract(record);
    return true;
}

void FileTileStore::clear()
{
    std::map<TileID, Record> tiles;
    const std::lock_guard lock(m_mutex);
    tiles.swap(m_imageTiles);
}

std::string fileTileComment(const std::string& taskName, const TileID& id)
{
    return "FILEIN." + taskName + ' ' + std::to_string(id.x) + ',' + std::to_string(id.y) + '\n';
}

}
