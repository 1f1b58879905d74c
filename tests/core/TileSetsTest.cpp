#include "private/FinalTileSet.h"
#include "private/TileMap.h"

#include <algorithm>
#include <map>
#include <set>

#include <gtest/gtest.h>

#include "support/Random.h"

using namespace QUILT;
using Private::FinalTileSet;
using Private::Tile;
using Private::TileMap;

TEST(FinalTileSet, IsASetOfBits)
{
    QUILT::Test::forEachRandomCase(400, [](QUILT::Test::Random& random) {
        const size_t size = 1 + random.bits() % 300;
        std::vector<FinalTileSet> sets(5);
        std::vector<std::set<size_t>> models(5);
        std::vector<unsigned int> ordering(size);
        for (unsigned int& order : ordering)
            order = static_cast<unsigned int>(random.bits() % 1000);
        for (size_t i = 0; i < sets.size(); ++i)
        {
            const size_t index = random.bits() % size;
            sets[i].setOnly(index);
            sets[i].resize(size);
            models[i] = {index};
        }
        for (int step = 0; step < 20; ++step)
        {
            const size_t a = random.bits() % 5, b = random.bits() % 5;
            sets[a].unite(sets[b]);
            models[a].insert(models[b].begin(), models[b].end());
        }
        for (size_t i = 0; i < sets.size(); ++i)
        {
            size_t least = FinalTileSet::npos;
            for (size_t index = 0; index < size; ++index)
                ASSERT_EQ(sets[i].test(index), models[i].contains(index));
            for (size_t index : models[i])
                least = std::min<size_t>(least, ordering[index]);
            EXPECT_EQ(sets[i].leastOf(ordering), least);
            EXPECT_EQ(sets[i].first(), *models[i].begin());
            EXPECT_EQ(sets[i].size(), size);
        }
    });
    EXPECT_EQ(FinalTileSet().first(), FinalTileSet::npos);
}

TEST(TileMap, IsAMapInTheOrderOfTileID)
{
    // Any pointers will do: the map never looks behind them.
    std::vector<char> storage(4000);
    QUILT::Test::forEachRandomCase(100, [&](QUILT::Test::Random& random) {
        TileMap map;
        std::map<TileID, Tile*> model;
        for (int step = 0; step < 300; ++step)
        {
            const TileID id(static_cast<short>(random.bits() % 7) - 3,
                            static_cast<short>(random.bits() % 7) - 3, 8, 8);
            Tile* const fresh = reinterpret_cast<Tile*>(&storage[random.bits() % storage.size()]);
            if (random.bits() % 3 == 0)
            {
                const Tile* const known = map.find(id);
                map.remove(id, fresh); // the wrong tile, most likely: stays
                if (known == fresh)
                    model.erase(id);
                if (known && known != fresh && random.bits() % 2 == 0)
                {
                    map.remove(id, known);
                    model.erase(id);
                }
            }
            else
            {
                const auto [entry, isNew] = model.try_emplace(id, fresh);
                EXPECT_EQ(map.findOrCreate(id, [&] { return fresh; }), entry->second);
            }
            const auto known = model.find(id);
            ASSERT_EQ(map.find(id), known == model.end() ? nullptr : known->second);
            ASSERT_EQ(map.size(), model.size());
        }
        std::vector<const Tile*> visited, expected;
        map.forEach([&](const Tile& tile) { visited.push_back(&tile); });
        for (const auto& [id, tile] : model)
            expected.push_back(tile);
        EXPECT_EQ(visited, expected);
    });
}
