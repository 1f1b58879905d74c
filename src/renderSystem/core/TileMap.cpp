#include "private/TileMap.h"

#include <algorithm>

namespace QUILT::Private
{

namespace
{

// The first element whose key is not below `key`. The end is tried first, where set-up adds.
template <class Elements, class Key, class Member>
auto placeOf(Elements& elements, Key key, Member member)
{
    if (elements.empty() || elements.back().*member < key)
        return elements.end();
    return std::ranges::lower_bound(elements, key, {}, member);
}

}

Tile*& TileMap::entryOf(const TileID& id)
{
    auto row = placeOf(m_rows, id.y, &Row::y);
    if (row == m_rows.end() || row->y != id.y)
        row = m_rows.insert(row, Row{id.y, {}});
    auto entry = placeOf(row->entries, id.x, &Entry::x);
    if (entry == row->entries.end() || entry->x != id.x)
        entry = row->entries.insert(entry, Entry{id.x, nullptr});
    return entry->tile;
}

Tile* TileMap::find(const TileID& id) const
{
    const auto row = placeOf(m_rows, id.y, &Row::y);
    if (row == m_rows.end() || row->y != id.y)
        return nullptr;
    const auto entry = placeOf(row->entries, id.x, &Entry::x);
    return entry != row->entries.end() && entry->x == id.x ? entry->tile : nullptr;
}

void TileMap::remove(const TileID& id, const Tile* tile)
{
    const auto row = placeOf(m_rows, id.y, &Row::y);
    if (row == m_rows.end() || row->y != id.y)
        return;
    const auto entry = placeOf(row->entries, id.x, &Entry::x);
    if (entry == row->entries.end() || entry->x != id.x || entry->tile != tile)
        return;
    entry->tile = nullptr;
    --m_size;
}

}
