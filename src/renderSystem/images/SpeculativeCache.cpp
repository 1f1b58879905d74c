#include "private/SpeculativeCache.h"

#include <algorithm>
#include <iostream>
#include <limits>
#include <locale>
#include <memory>
#include <sstream>
#include <string_view>

#include "private/Assert.h"
#include "private/ImageBuffer_Imp.h"
#include "private/ProfileRecorder.h"
#include "private/RenderTask_Imp.h"

namespace QUILT::Private
{

namespace
{

using Bramble3::XmlIO::v1::Element;

// NaN and infinity would break the order of priorities: the one has no place in it, the other makes
// a NaN of a product with 0.
float ordinary(float value)
{
    return value > 0.0f ? std::min(value, std::numeric_limits<float>::max()) : 0.0f;
}

// The two rates as a stream prints them.
std::string rates(const CacheData& data, const char* between)
{
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << data.m_sampleRateX << between << data.m_sampleRateY;
    return text.str();
}

// Members of one task and sample rate, summed up for the report.
struct Group
{
    std::string name, type, sampleRate;
    long count = 0;
    long size = 0;
    double cost = 0.0;
    double neededProbability = 0.0;
};

}

std::string CacheKey::toString() const
{
    std::string text;
    text.reserve(m_cacheID.size() + 14);
    text.append(m_cacheID).append("_").append(std::to_string(m_tile.x));
    text.append("_").append(std::to_string(m_tile.y));
    return text;
}

bool operator<(const Priority& a, const Priority& b)
{
    const float weightedA = a.cost * a.neededProbability;
    const float weightedB = b.cost * b.neededProbability;
    return weightedA != weightedB ? weightedA < weightedB : a.cost < b.cost;
}

CacheData::CacheData(RenderTask_Imp* task, const TileID& tile, float cost)
    : m_cacheKey{task->getCacheID(), tile}, m_taskName(task->getName()),
      m_taskType(task->getType()), m_sampleRateX(task->getSampleRateX()),
      m_sampleRateY(task->getSampleRateY()),
      m_neededProbability(ordinary(task->getProbabilityIsNeeded())), m_cost(ordinary(cost))
{}

CacheData::CacheData(CacheKey key, std::string taskName, std::string taskType,
                     float neededProbability, float cost)
    : m_cacheKey(std::move(key)), m_taskName(std::move(taskName)), m_taskType(std::move(taskType)),
      m_neededProbability(ordinary(neededProbability)), m_cost(ordinary(cost))
{}

void CacheData::setNeededProbability(float probability)
{
    m_neededProbability = ordinary(probability);
}

SpeculativeCache::~SpeculativeCache()
{
    clear();
}

SpeculativeCache::Rank SpeculativeCache::rankOf(const Member* image)
{
    const CacheData& data = *image->getCacheData();
    return {data.getPriority(), data.m_number};
}

bool SpeculativeCache::shouldCache(Member* image, long memUsage, long maxMemUsage)
{
    if (!m_enabled)
        return false;
    const std::lock_guard lock(m_mutex);
    if (!image->isInRam())
        return false;
    const int64_t size = int64_t(image->getSize());
    if (memUsage + size < maxMemUsage)
        return true;

    const Priority priority = image->getCacheData()->getPriority();
    int64_t replaceable = 0;
    for (const auto& [rank, member] : _cacheSortedByPriority)
    {
        if (!(rank.priority < priority))
            return false;
        replaceable += int64_t(member->getSize());
        if (replaceable >= size)
            return true;
    }
    return false;
}

void SpeculativeCache::add(Member* image)
{
    const auto destroy = [](Member* member) { delete member; };
    std::unique_ptr<Member, decltype(destroy)> replaced; // outlives the lock
    const std::lock_guard lock(m_mutex);
    QUILT_ASSERT(image->isInRam());
    QUILT_ASSERT(image->getCacheData());
    QUILT_ASSERT(_cache.find(image) == _cache.end());
    const std::string ck = image->getCacheData()->m_cacheKey.toString();
    if (const auto older = _cacheSortedByCacheKey.find(ck); older != _cacheSortedByCacheKey.end())
    {
        replaced.reset(older->second);
        remove(older->second, ck);
    }
    image->getCacheData()->m_number = m_nextNumber++;
    m_memoryUsage += int64_t(image->getSize());
    try
    {
        _cache.insert(image);
        m_memberCount = _cache.size();
        _cacheSortedByPriority.emplace(rankOf(image), image);
        _cacheSortedByCacheKey.emplace(ck, image);
    }
    catch (...)
    {
        remove(image, ck);
        throw;
    }
}

// Passes over entries that are not there.
void SpeculativeCache::remove(Member* image, const std::string& ck)
{
    _cacheSortedByCacheKey.erase(ck);
    QUILT_ASSERT(_cacheSortedByCacheKey.count(ck) == 0);
    const Rank p = rankOf(image);
    _cacheSortedByPriority.erase(p);
    QUILT_ASSERT(_cacheSortedByPriority.count(p) == 0);
    _cache.erase(image);
    m_memberCount = _cache.size();
    m_memoryUsage -= int64_t(image->getSize());
    QUILT_ASSERT(m_memoryUsage >= 0);
}

ImageBuffer SpeculativeCache::getCachedImage(const CacheKey& key)
{
    if (!canHit())
        return {};
    const std::string ck = key.toString();
    ImageBuffer found; // outlives the lock, which its death must not meet
    const std::lock_guard lock(m_mutex);
    const auto member = _cacheSortedByCacheKey.find(ck);
    if (member == _cacheSortedByCacheKey.end())
        return found;
    Member* const cachedImage = member->second;
    QUILT_ASSERT_TEXT(cachedImage != nullptr, "!ImageBuffer(cachedImage).isNull()");
    remove(cachedImage, ck);
    ++m_hits;
    // Under the mutex: nobody may find an image that has no owner and is no member.
    found = ImageBuffer(ref_ptr<ImageBuffer::Impl>(cachedImage));
    return found;
}

SpeculativeCache::Member* SpeculativeCache::takeLowest()
{
    const std::lock_guard lock(m_mutex);
    if (_cacheSortedByPriority.empty())
        return nullptr;
    Member* const lowest = _cacheSortedByPriority.begin()->second;
    remove(lowest, lowest->getCacheData()->m_cacheKey.toString());
    return lowest;
}

long SpeculativeCache::freeMemory(long bytes)
{
    long freed = 0;
    while (freed < bytes)
    {
        Member* const lowest = takeLowest();
        if (!lowest)
            break;
        freed += long(lowest->getSize());
        delete lowest;
    }
    return freed;
}

void SpeculativeCache::updatePriorities(const TaskProbabilities& tasks, float factor,
                                        const Identities* current)
{
    if (m_memberCount == 0)
        return;
    std::unordered_map<std::string_view, float> probabilities;
    probabilities.reserve(tasks.size());
    for (const auto& [name, probability] : tasks)
        probabilities.emplace(name, probability);

    const std::lock_guard lock(m_mutex);
    // All members leave, change once and come back: one that moved up would be met again. Nothing
    // is allocated on the way, so that nothing can fail half way.
    std::map<Rank, Member*> ranked;
    while (!_cacheSortedByPriority.empty())
    {
        auto entry = _cacheSortedByPriority.extract(_cacheSortedByPriority.begin());
        CacheData& data = *entry.mapped()->getCacheData();
        const auto named = probabilities.find(data.m_taskName);
        const bool isOfThem = named != probabilities.end() &&
                              (!current || current->count(data.m_cacheKey.m_cacheID) > 0);
        data.setNeededProbability(isOfThem ? named->second : data.m_neededProbability * factor);
        entry.key() = rankOf(entry.mapped());
        ranked.insert(std::move(entry));
    }
    _cacheSortedByPriority.swap(ranked);
}

void SpeculativeCache::clear()
{
    std::unordered_set<Member*> members;
    {
        const std::lock_guard lock(m_mutex);
        members.swap(_cache);
        m_memberCount = 0;
        _cacheSortedByCacheKey.clear();
        _cacheSortedByPriority.clear();
        m_memoryUsage = 0;
    }
    for (Member* const member : members)
        delete member;
}

void SpeculativeCache::resetHits()
{
    const std::lock_guard lock(m_mutex);
    m_hits = 0;
}

void SpeculativeCache::printMemUsage()
{
    std::cerr << "Speculative cache memory usage: " + std::to_string(getMemoryUsage()) + "\n";
}

long SpeculativeCache::getMemoryUsage()
{
    const std::lock_guard lock(m_mutex);
    return m_memoryUsage;
}

XmlElement SpeculativeCache::getStatistics()
{
    const std::lock_guard lock(m_mutex);
    XmlElement statistics = Element::create("Speculative Cache");
    statistics->setAttr("Total Entries", long(_cache.size()));
    statistics->setAttr("Num Hits", long(m_hits));
    statistics->setAttr("Memory Usage",
                        formatByteSize(static_cast<unsigned long>(m_memoryUsage), 0));
    return statistics;
}

XmlElement SpeculativeCache::getContents()
{
    XmlElement root = Element::create("root");
    const XmlElement ramCache = Element::create("ramCache");
    root->addChild(ramCache);

    std::vector<Group> groups;
    {
        const std::lock_guard lock(m_mutex);
        std::unordered_map<std::string, std::size_t> indices;
        for (auto entry = _cacheSortedByPriority.rbegin(); entry != _cacheSortedByPriority.rend();
             ++entry)
        {
            const Member& member = *entry->second;
            const CacheData& data = *member.getCacheData();
            const auto [index, isNew] =
                indices.emplace(data.m_taskName + rates(data, ","), groups.size());
            if (isNew)
                groups.push_back({data.m_taskName, data.m_taskType, rates(data, "x")});
            Group& group = groups[index->second];
            ++group.count;
            group.size += long(member.getSize());
            group.cost += double(data.m_cost);
            group.neededProbability += double(data.m_neededProbability);
        }
    }
    for (const Group& group : groups)
    {
        const XmlElement record = Element::create("cacheRecord");
        record->setAttr("name", group.name);
        record->setAttr("type", group.type);
        record->setAttr("sampleRate", group.sampleRate);
        record->setAttr("count", group.count);
        record->setAttr("size", group.size);
        record->setAttr("cost", group.cost / double(group.count));
        record->setAttr("needed probability", long(group.neededProbability / double(group.count)));
        ramCache->addChild(record);
    }
    return root;
}

}
