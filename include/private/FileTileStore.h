#pragma once

#include <map>
#include <mutex>

#include "private/ImageLock.h"
#include "QUILT/ImageBuffer.h"
#include "QUILT/TileID.h"
#include "UTIL/Region.h"

namespace QUILT::Private
{

/// Pixels of a file that have been read and not yet been used up, cut into the tiles of the task
/// that reads them. Each tile's pixels go when the last of them has been used.
///
/// Every operation is safe from any thread.
class FileTileStore
{
public:
    bool holds(const TileID& id) const;

    /// Enters a tile's pixels, of which `remaining` is going to be asked for. A tile that is there
    /// already stays as it is; one of which nothing is going to be asked for is dropped.
    void add(const TileID& id, const ImageBuffer& buffer, const UTIL::Region& remaining);

    /// Copies what the tile has of `output`, and lets the tile go when that was its rest. False
    /// when the tile is not there.
    bool use(const TileID& id, const EMULSION::Image* output);

    void clear();

private:
    struct Record
    {
        ImageBuffer m_buffer;
        UTIL::Region m_remaining; // the pixels that nobody has used yet
    };

    mutable std::mutex m_mutex; // guards m_imageTiles; not held while pixels move
    std::map<TileID, Record> m_imageTiles;
};

/// "FILEIN.<task> <x>,<y>" and a line end: the allocator counts such pixels by themselves.
std::string fileTileComment(const std::string& taskName, const TileID& id);

}
