#include "images/Images.h"

#include <algorithm>
#include <limits>
#include <random>

#include <gmock/gmock.h>

#include "private/RenderTask_Imp.h"
#include "QUILT/ProceduralTasks.h"
#include "QUILT/RenderTask.h"

using namespace QUILT;
using namespace QUILT::Private;

namespace
{

class SpeculativeCacheTest : public AllocatorTest
{
protected:
    // An image without owner, as the cache gets to judge it; nothing is done with it.
    bool isWanted(float cost, int64_t bytes, long memUsage, long maxMemUsage)
    {
        ImageBuffer image = makeFor("asking", bytes, cost);
        const bool wanted = cache().shouldCache(image.getImpl(), memUsage, maxMemUsage);
        image.getImpl()->setCacheData(nullptr);
        return wanted;
    }

    SpeculativeCache& cache() { return m_allocator->getSpeculativeCache(); }
    bool has(const std::string& id) { return !find(id).isNull(); } // it is offered again at once
};

}

TEST_F(SpeculativeCacheTest, KeepsWhatHasLostItsOwnerAndGivesItBack)
{
    const ImageBuffer::Impl* const impl = makeFor("a", 1024, 1.0f).getImpl();
    EXPECT_EQ(m_allocator->getMemUsage(), 1024);
    EXPECT_EQ(cache().getMemoryUsage(), 1024);
    EXPECT_EQ(impl->refCount(), 0);
    {
        ImageBuffer found = find("a");
        EXPECT_EQ(found.getImpl(), impl);
        EXPECT_EQ(cache().getMemoryUsage(), 0);
        EXPECT_EQ(Access::hits(cache()), 1u);
        EXPECT_TRUE(find("a").isNull()); // one that is in use is no member
        EXPECT_TRUE(holds(found, uint32_t(std::hash<std::string>()("a"))));
    }
    EXPECT_TRUE(has("a"));
    m_allocator->setSpeculativeCachingEnable(false);
    EXPECT_FALSE(has("a"));
    makeFor("b", 1024, 1.0f);
    EXPECT_EQ(cache().getMemoryUsage(), 1024);
    EXPECT_EQ(Access::hits(cache()), 2u);
    m_allocator->clearSpeculativeCache();
    EXPECT_EQ(m_allocator->getMemUsage(), 0);
}

TEST_F(SpeculativeCacheTest, AdmitsWhatFitsOrIsWorthMoreThanOthers)
{
    makeFor("cheap", 512, 1.0f);
    makeFor("dear", 512, 3.0f);
    EXPECT_TRUE(isWanted(0.0f, 256, 700, 957));
    EXPECT_FALSE(isWanted(0.0f, 256, 700, 956));   // room for exactly one more is not enough
    EXPECT_FALSE(isWanted(1.0f, 256, 1000, 1000)); // no less than the cheapest
    EXPECT_TRUE(isWanted(1.5f, 512, 1000, 1000));
    EXPECT_FALSE(isWanted(1.5f, 528, 1000, 1000)); // would take the dearer one, too
    EXPECT_TRUE(isWanted(4.0f, 1024, 1000, 1000));
    EXPECT_FALSE(isWanted(4.0f, 1040, 1000, 1000));
}

TEST_F(SpeculativeCacheTest, GivesWayToNewImagesBeforeAnythingIsSwapped)
{
    m_allocator->setMaxMemUsage(4096);
    ImageBuffer unlocked = makeOf(1024);
    fill(unlocked, 1);
    makeFor("cheap", 512, 1.0f);
    makeFor("dear", 1024, 2.0f);
    ImageBuffer image = makeOf(2048); // 512 bytes too many
    image.lock();
    EXPECT_EQ(cache().getMemoryUsage(), 1024);
    image.unlock();
    EXPECT_EQ(Access::peakDisk(*m_allocator), 0);
    EXPECT_EQ(cache().freeMemory(1), 1024);
    EXPECT_EQ(cache().freeMemory(1), 0);
}

TEST_F(SpeculativeCacheTest, OddCostsAndProbabilitiesDoNotBreakTheOrder)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float infinity = std::numeric_limits<float>::infinity();
    CacheData data(CacheKey{"id", TileID()}, "task", "Type", nan, -1.0f);
    EXPECT_EQ(data.getPriority().cost, 0.0f);
    EXPECT_EQ(data.getPriority().neededProbability, 0.0f);
    data.setNeededProbability(-infinity);
    EXPECT_EQ(data.getPriority().neededProbability, 0.0f);

    makeFor("nan", 16, nan, nan);
    makeFor("never", 32, infinity, 0.0f); // whose product would be no number
    makeFor("plain", 64, 1.0f, 1.0f);
    makeFor("infinite", 128, infinity, infinity);
    for (const long bytes : {16, 32, 64})
        EXPECT_EQ(cache().freeMemory(1), bytes);
    m_allocator->updateCachePriorities({{"task", nan}, {"task", 1.0f}}, nan);
    EXPECT_TRUE(has("infinite"));
}

TEST_F(SpeculativeCacheTest, KeepsTheTilesOfATaskUnderItsIdentity)
{
    const ref_ptr<RenderTask> task =
        createColorTask("grey", 0.0f, UTIL::Rect(0, 0, 8, 8), Imath::Color4f(0.5f));
    const TileID tile(1, 2, 8, 8);
    for (const bool enabled : {false, true})
    {
        m_allocator->setSpeculativeCachingEnable(enabled);
        ImageBuffer image = makeOf(64);
        image.getImpl()->enableCaching(&RenderTask_Imp::of(*task), tile, 2.5f);
        fill(image, 1);
        image.setNull();
        EXPECT_EQ(Access::members(cache()), enabled ? 1u : 0u);
    }
    const ImageBuffer found = m_allocator->getCachedImage({task->getCacheID(), tile});
    ASSERT_FALSE(found.isNull());
    const CacheData& data = *found.getImpl()->getCacheData();
    EXPECT_EQ(data.m_taskName, "grey");
    EXPECT_EQ(data.m_taskType, task->getType());
    EXPECT_EQ(data.m_cost, 2.5f);
    EXPECT_EQ(data.m_neededProbability, task->getProbabilityIsNeeded());
}

// Against a list that is searched and sorted at every step.
TEST_F(SpeculativeCacheTest, DoesWhatAPlainListDoes)
{
    struct Entry
    {
        std::string id, task;
        float cost, probability;
        int64_t bytes;
        const ImageBuffer::Impl* impl;
    };
    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    std::vector<Entry> model; // in the order in which they came
    const auto lowestFirst = [&] {
        std::vector<Entry> sorted = model;
        std::stable_sort(sorted.begin(), sorted.end(), [](const Entry& a, const Entry& b) {
            return std::pair(a.cost * a.probability, a.cost) <
                   std::pair(b.cost * b.probability, b.cost);
        });
        return sorted;
    };
    const auto forget = [&](const std::string& id) {
        std::erase_if(model, [&](const Entry& entry) { return entry.id == id; });
    };

    for (int step = 0; step < 4000; ++step)
    {
        const std::string id = "id" + std::to_string(random() % 60);
        const auto known = std::find_if(model.begin(), model.end(),
                                        [&](const Entry& entry) { return entry.id == id; });
        const unsigned action = random() % 20;
        if (action < 10)
        {
            Entry entry{id,
                        "task" + std::to_string(random() % 4),
                        float(random() % 3),
                        float(random() % 3) / 2.0f,
                        16 * int64_t(1 + random() % 4),
                        nullptr};
            entry.impl =
                makeFor(id, entry.bytes, entry.cost, entry.probability, entry.task).getImpl();
            forget(id);
            model.push_back(entry);
        }
        else if (action < 15)
        {
            const ImageBuffer found = find(id);
            ASSERT_EQ(found.getImpl(), known == model.end() ? nullptr : known->impl);
            if (!found.isNull())
            {
                const Entry entry = *known; // comes back as the newest of its priority
                forget(id);
                model.push_back(entry);
            }
        }
        else if (action < 19)
        {
            const long wanted = long(random() % 100);
            long freed = 0;
            for (const Entry& entry : lowestFirst())
            {
                if (freed >= wanted)
                    break;
                freed += entry.bytes;
                forget(entry.id);
            }
            ASSERT_EQ(cache().freeMemory(wanted), freed);
        }
        else
        {
            m_allocator->updateCachePriorities({{"task1", 1.0f}, {"task2", 0.5f}, {"task1", 0.0f}},
                                               0.5f);
            for (Entry& entry : model)
                entry.probability = entry.task == "task1"   ? 1.0f
                                    : entry.task == "task2" ? 0.5f
                                                            : entry.probability * 0.5f;
        }
        ASSERT_EQ(Access::members(cache()), model.size());
        int64_t bytes = 0;
        for (const Entry& entry : model)
            bytes += entry.bytes;
        ASSERT_EQ(cache().getMemoryUsage(), bytes);
        ASSERT_EQ(m_allocator->getMemUsage(), bytes);
    }
}

TEST_F(SpeculativeCacheTest, ReportsMembersByTask)
{
    makeFor("a", 64, 1.0f, 1.0f, "blur");
    makeFor("b", 32, 2.0f, 0.5f, "blur");
    makeFor("c", 16, 9.0f, 1.0f, "read");
    const XmlElement root = m_allocator->getSpeculativeCacheContents();
    EXPECT_EQ(root->getName(), "root");
    const auto& records = root->getChildren().at(0)->getChildren();
    ASSERT_EQ(records.size(), 2u);
    const auto text = [](const XmlElement& record) {
        std::string all;
        for (const auto& attribute : record->getAttributes())
            all += attribute.name + "=" + attribute.value + ";";
        return all;
    };
    EXPECT_EQ(text(records[0]), "name=read;type=Type;sampleRate=1x1;count=1;size=16;cost=9;"
                                "needed probability=1;");
    EXPECT_EQ(text(records[1]), "name=blur;type=Type;sampleRate=1x1;count=2;size=96;cost=1.5;"
                                "needed probability=0;");
    const XmlElement statistics = cache().getStatistics();
    EXPECT_EQ(*statistics->findAttr("Total Entries"), "3");
    EXPECT_EQ(*statistics->findAttr("Memory Usage"), "112 B");
    const UTIL::Rect bounds(0, 0, 1, 1);
    ImageBuffer::Impl* const stray = new ImageBuffer::Impl(15, bounds, "", m_allocator.get(), 15);
    EXPECT_THAT(failureOf([&] { cache().add(stray); }), testing::HasSubstr("image->isInRam()"));
    stray->addReference();
    stray->releaseReference();
}
