#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include <Bramble3/XmlElement.h>

#include "QUILT/ImageBuffer.h"
#include "QUILT/RefPtr.h"
#include "QUILT/TileID.h"

namespace QUILT::Private
{

class RenderTask_Imp;
using XmlElement = std::shared_ptr<Bramble3::XmlIO::v1::Element>;

/// What tells one tile's pixels from all others.
struct CacheKey
{
    std::string m_cacheID; ///< the task's
    TileID m_tile;         ///< its sizes take no part

    std::string toString() const; ///< the identity, "_", x, "_", y
};

/// Comes first: what costs less to make again, weighted with how likely that is; among equals, what
/// costs less.
struct Priority
{
    float cost;
    float neededProbability;

    friend bool operator<(const Priority& a, const Priority& b);
};

/// What an image carries that the speculative cache may keep.
///
/// Costs and probabilities that are negative or not a number count as 0.
class CacheData : public ThreadSafeRefBase
{
public:
    /// Describes the task if that has not been done. `cost` is in seconds.
    CacheData(RenderTask_Imp* task, const TileID& tile, float cost);
    CacheData(CacheKey key, std::string taskName, std::string taskType, float neededProbability,
              float cost);

    Priority getPriority() const { return {m_cost, m_neededProbability}; }
    void setNeededProbability(float probability);

    const CacheKey m_cacheKey;
    const std::string m_taskName;
    const std::string m_taskType;
    const float m_sampleRateX = 1.0f;
    const float m_sampleRateY = 1.0f;
    float m_neededProbability; // changed under the cache's mutex, when the image is a member
    const float m_cost;

private:
    friend class SpeculativeCache;
    uint64_t m_number = 0; // guarded by the cache's mutex: tells members of equal priority apart
};

/// Images of finished tiles that nobody holds any more, for a later render that needs them again.
///
/// It lives off the allocator's budget: members count as memory in use and go before anything is
/// swapped out. A member has no owner and stands in no list of the allocator. There is one member
/// for a key: a new one replaces the older one. Members of equal priority go in the order in which
/// they came.
///
/// Safe from any thread. m_mutex is taken with or without ImageAllocator::m_memMutex and never held
/// while an image is destroyed, which may take that one.
class SpeculativeCache
{
public:
    using TaskProbabilities = std::vector<std::pair<std::string, float>>;
    using Identities = std::unordered_set<std::string_view>;

    SpeculativeCache() = default;
    SpeculativeCache(const SpeculativeCache&) = delete;
    SpeculativeCache& operator=(const SpeculativeCache&) = delete;
    ~SpeculativeCache();

    bool isEnabled() const { return m_enabled; }

    /// When disabled, nothing is found or taken; the members stay until clear() or eviction.
    void setEnabled(bool enabled) { m_enabled = enabled; }

    /// Whether looking for an image can find one at this moment. Takes no lock: most tiles of most
    /// renders are made where nothing is cached, and ask for no more than this.
    bool canHit() const { return m_enabled && m_memberCount > 0; }

    /// Whether an image that has lost its last owner is worth keeping: because there is room for
    /// one more of its size, or because members of lower priority are enough to make room.
    bool shouldCache(ImageBuffer::Impl* image, long memUsage, long maxMemUsage);

    /// Takes over an image without owners. When it throws, it has not.
    void add(ImageBuffer::Impl* image);

    /// The image under this key, which is no member any more; null when there is none.
    ImageBuffer getCachedImage(const CacheKey& key);

    /// Destroys members, lowest priority first, until at least so many bytes are freed or nothing
    /// is left. Returns the bytes freed.
    long freeMemory(long bytes);

    /// Gives members of the named tasks their new probability (the first one, where a name comes
    /// twice) and multiplies that of all others by `factor`.
    ///
    /// With `current`, the identities that the tasks have now, what a task has left there under an
    /// older identity counts among the others: it is not what the next render asks for, and must
    /// not keep that out.
    void updatePriorities(const TaskProbabilities& tasks, float factor,
                          const Identities* current = nullptr);

    void clear();
    void resetHits();
    void printMemUsage(); ///< to standard error

    long getMemoryUsage();

    XmlElement getStatistics();

    /// A "root" with a "ramCache" with one "cacheRecord" for the members of each task and sample
    /// rate, those with the highest priority first.
    XmlElement getContents();

private:
    friend struct ImageTestAccess;
    using Member = ImageBuffer::Impl;

    struct Rank
    {
        Priority priority;
        uint64_t number;

        friend bool operator<(const Rank& a, const Rank& b)
        {
            if (a.priority < b.priority)
                return true;
            return !(b.priority < a.priority) && a.number < b.number;
        }
    };
    static Rank rankOf(const Member* image);

    void remove(Member* image, const std::string& ck);
    Member* takeLowest();

    std::mutex m_mutex; // guards all that follows but m_enabled, and changes of m_memberCount
    std::unordered_set<Member*> _cache;
    std::unordered_map<std::string, Member*> _cacheSortedByCacheKey; // only ever searched by key
    std::map<Rank, Member*> _cacheSortedByPriority;
    std::atomic<bool> m_enabled{true};
    std::atomic<std::size_t> m_memberCount{0}; // the size of _cache
    int64_t m_memoryUsage = 0;                 // bytes of all members
    uint64_t m_hits = 0;
    uint64_t m_nextNumber = 0;
};

}
