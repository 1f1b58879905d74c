#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "QUILT/TileID.h"

namespace QUILT::Private
{

class Tile;

/// The tiles of one task in one render, in the order of TileID; owns none of them.
///
/// Set-up enters tiles mostly in order, and from then on they are only looked up and leave one by
/// one, so rows are plain sorted lists: entering at the end and leaving cost no search for room.
class TileMap
{
public:
    /// The tile under that ID; makes it with `create` when there is none.
    template <class Create>
    Tile* findOrCreate(const TileID& id, Create&& create)
    {
        Tile*& entry = entryOf(id);
        if (!entry)
        {
            entry = create();
            ++m_size;
        }
        return entry;
    }

    /// The tile, null when it is not there.
    Tile* find(const TileID& id) const;

    /// Takes a tile out if it is the one under that ID.
    void remove(const TileID& id, const Tile* tile);

    size_t size() const { return m_size; }
    bool empty() const { return m_size == 0; }

    /// Calls `visit` with each tile, in order. `visit` may not enter tiles here.
    template <class Visit>
    void forEach(Visit&& visit) const
    {
        for (const Row& row : m_rows)
            for (const Entry& entry : row.entries)
                if (entry.tile)
                    visit(*entry.tile);
    }

private:
    struct Entry
    {
        int16_t x;
        Tile* tile;
    };

    struct Row
    {
        int16_t y;
        std::vector<Entry> entries; // in order of x
    };

    Tile*& entryOf(const TileID& id); // made empty if there is none

    std::vector<Row> m_rows; // in order of y
    size_t m_size = 0;       // entries with a tile
};

}
