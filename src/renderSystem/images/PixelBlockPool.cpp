#include "private/PixelBlockPool.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstdint>
#include <cstdlib>
#include <new>

#include <sys/mman.h>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
#else
#define ASAN_POISON_MEMORY_REGION(address, size)                                                   \
    (static_cast<void>(address), static_cast<void>(size))
#define ASAN_UNPOISON_MEMORY_REGION(address, size)                                                 \
    (static_cast<void>(address), static_cast<void>(size))
#endif

namespace QUILT::Private
{

namespace
{

constexpr std::size_t s_page = 4096;
constexpr std::size_t s_largePage = std::size_t(2) << 20;
constexpr std::size_t s_cacheLine = 64;

// From here on a block lies in large pages by itself: what it loses to their alignment is a small
// part of it. Below, slabs of this size at most do so together.
constexpr std::size_t s_smallestInLargePages = 2 * s_largePage;
constexpr std::size_t s_slabBytes = 4 * s_largePage;

#if defined(__SANITIZE_ADDRESS__)
constexpr bool s_usesSlabs = false; // blocks without gaps between them would hide overruns
#else
constexpr bool s_usesSlabs = true;
#endif

// Sizes that differ by less than a page share their blocks. Every block has room for a Kept.
std::size_t capacityFor(std::size_t size)
{
    return size < PixelBlockPool::smallestKept ? std::max(size, s_cacheLine)
                                               : (size + s_page - 1) / s_page * s_page;
}

void* allocateAligned(std::size_t bytes, bool inLargePages)
{
    void* memory = nullptr;
    if (posix_memalign(&memory, inLargePages ? s_largePage : s_cacheLine, bytes) != 0)
        return nullptr;
    if (inLargePages) // where the system has none, small ones do
        madvise(memory, bytes / s_largePage * s_largePage, MADV_HUGEPAGE);
    return memory;
}

// The C library holds on to much of what it gets back, beyond any budget; it may have the
// addresses, without pages and without the advice to use large ones for whatever comes to lie
// there.
void freeWithPages(void* block, std::size_t bytes)
{
    char* const begin = static_cast<char*>(block);
    const std::size_t unaligned = reinterpret_cast<std::uintptr_t>(block) % s_page;
    const std::size_t skipped = unaligned == 0 ? 0 : s_page - unaligned;
    if (bytes >= PixelBlockPool::smallestKept)
    {
        madvise(begin + skipped, (bytes - skipped) / s_page * s_page, MADV_DONTNEED);
        if (bytes >= s_smallestInLargePages)
            madvise(block, bytes / s_largePage * s_largePage, MADV_NOHUGEPAGE);
    }
    std::free(block);
}

}

struct PixelSlab
{
    static constexpr unsigned mostBlocks = 64;

    PixelSlab(char* memory_, std::size_t capacity_, unsigned blockCount)
        : memory(memory_), capacity(capacity_), allIdle(~uint64_t(0) >> (mostBlocks - blockCount)),
          idle(allIdle)
    {}
    ~PixelSlab() { freeWithPages(memory, capacity * std::size_t(std::popcount(allIdle))); }
    PixelSlab(const PixelSlab&) = delete;
    PixelSlab& operator=(const PixelSlab&) = delete;

    // Only under the pool's lock. Blocks at lower addresses first, so that large pages fill up.
    PixelBlock takeIdle()
    {
        const uint64_t bits = idle.load(std::memory_order_acquire);
        if (bits == 0)
            return {};
        const int index = std::countr_zero(bits);
        idle.fetch_and(~(uint64_t(1) << index), std::memory_order_relaxed);
        return {memory + std::size_t(index) * capacity, this};
    }

    // Only under the pool's lock. True for the thread that has to call giveUp. Idle blocks leave
    // again: what shares a large page with this one may have got memory that way.
    bool leave(void* block)
    {
        const auto index = std::size_t(static_cast<char*>(block) - memory) / capacity;
        const uint64_t bits = idle.exchange(0, std::memory_order_acquire) | uint64_t(1) << index;
        return leaving.fetch_or(bits, std::memory_order_acq_rel) == 0;
    }

    // On any thread. The pages of all blocks that are leaving go to the system, those of neighbours
    // at once, so that large pages stay whole; then the blocks are there to be taken.
    void giveUp()
    {
        const uint64_t bits = leaving.exchange(0, std::memory_order_acq_rel);
        for (uint64_t rest = bits; rest != 0;)
        {
            const int first = std::countr_zero(rest);
            const int count = std::countr_one(rest >> first);
            madvise(memory + std::size_t(first) * capacity, std::size_t(count) * capacity,
                    MADV_DONTNEED);
            rest &= rest + (uint64_t(1) << first); // clears the run
        }
        idle.fetch_or(bits, std::memory_order_release);
    }

    char* const memory;
    const std::size_t capacity; // of one block
    const uint64_t allIdle;
    std::atomic<uint64_t> idle; // a bit for each block that nobody has and that has no pages
    std::atomic<uint64_t> leaving{0};
    PixelSlab* next = nullptr;
    PixelSlab* nextToGiveUp = nullptr; // of the thread that has to
};

// Stands at the beginning of a block while nobody uses it, so that keeping one allocates nothing
// but, for the first of its size, an entry in the map.
struct PixelBlockPool::Kept
{
    PixelBlock block() { return {this, slab}; }

    std::size_t capacity;
    PixelSlab* slab;
    Kept* newer;
    Kept* older;
    Kept* newerOfSize;
    Kept* olderOfSize;
};

PixelBlockPool::Surplus::~Surplus()
{
    while (Kept* const block = m_blocks)
    {
        m_blocks = block->older;
        ASAN_UNPOISON_MEMORY_REGION(block, block->capacity);
        freeWithPages(block, block->capacity);
    }
    while (PixelSlab* const slab = m_slabsToGiveUp)
    {
        m_slabsToGiveUp = slab->nextToGiveUp; // before another thread may have to give it up again
        slab->giveUp();
    }
    while (PixelSlab* const slab = m_slabs)
    {
        m_slabs = slab->next;
        delete slab;
    }
}

void PixelBlockPool::Surplus::add(PixelBlock block, std::size_t size) noexcept
{
    static_assert(sizeof(Kept) <= s_cacheLine);
    const std::size_t capacity = capacityFor(size);
    if (block.slab)
    {
        if (block.slab->leave(block.memory))
            block.slab->nextToGiveUp = std::exchange(m_slabsToGiveUp, block.slab);
    }
    else
        m_blocks = new (block.memory) Kept{capacity, nullptr, nullptr, m_blocks, nullptr, nullptr};
}

PixelBlockPool::~PixelBlockPool()
{
    {
        Surplus blocks;
        trim(0, blocks);
    }
    Surplus slabs;
    releaseIdleSlabs(slabs);
}

PixelBlock PixelBlockPool::allocate(std::size_t size) noexcept
{
    const std::size_t capacity = capacityFor(size);
    return {allocateAligned(capacity, capacity >= s_smallestInLargePages), nullptr};
}

bool PixelBlockPool::wantsSlab(std::size_t size) noexcept
{
    const std::size_t capacity = capacityFor(size);
    if (!s_usesSlabs || capacity < smallestKept || capacity >= s_smallestInLargePages)
        return false;
    try
    {
        // A large page is in memory however little of it is used: a size must have filled one.
        std::size_t& demand = m_classes[capacity].demand;
        demand += capacity;
        return demand > s_largePage;
    }
    catch (const std::bad_alloc&)
    {
        return false;
    }
}

PixelSlab* PixelBlockPool::allocateSlab(std::size_t size) noexcept
{
    const std::size_t capacity = capacityFor(size);
    const std::size_t count = std::min<std::size_t>(s_slabBytes / capacity, PixelSlab::mostBlocks);
    void* const memory = allocateAligned(count * capacity, true);
    if (!memory)
        return nullptr;
    PixelSlab* const slab =
        new (std::nothrow) PixelSlab(static_cast<char*>(memory), capacity, unsigned(count));
    if (!slab)
        std::free(memory);
    return slab;
}

PixelBlock PixelBlockPool::adopt(PixelSlab* slab) noexcept
{
    PixelSlab*& first = m_classes.find(slab->capacity)->second.slabs; // made by wantsSlab
    slab->next = first ? std::exchange(first->next, slab) : slab;
    first = slab;
    return slab->takeIdle();
}

PixelBlock PixelBlockPool::take(std::size_t size) noexcept
{
    const auto found = m_classes.find(capacityFor(size));
    if (found == m_classes.end())
        return {};
    SizeClass& sizeClass = found->second;
    if (Kept* const kept = sizeClass.newest)
    {
        unlink(kept);
        const PixelBlock block = kept->block();
        ASAN_UNPOISON_MEMORY_REGION(block.memory, kept->capacity);
        return block;
    }
    PixelSlab* slab = sizeClass.slabs;
    if (!slab)
        return {};
    do
    {
        if (const PixelBlock block = slab->takeIdle())
        {
            sizeClass.slabs = slab;
            return block;
        }
        slab = slab->next;
    } while (slab != sizeClass.slabs);
    return {};
}

void PixelBlockPool::put(PixelBlock block, std::size_t size, Surplus& surplus) noexcept
{
    const std::size_t capacity = capacityFor(size);
    if (capacity < smallestKept)
        return surplus.add(block, size);
    SizeClass* sizeClass = nullptr;
    try
    {
        sizeClass = &m_classes[capacity];
    }
    catch (const std::bad_alloc&)
    {
        return surplus.add(block, size);
    }

    Kept* const kept = new (block.memory)
        Kept{capacity, block.slab, nullptr, m_newest, nullptr, sizeClass->newest};
    (m_newest ? m_newest->newer : m_oldest) = kept;
    m_newest = kept;
    if (sizeClass->newest)
        sizeClass->newest->newerOfSize = kept;
    sizeClass->newest = kept;
    m_keptBytes += capacity;
    ASAN_POISON_MEMORY_REGION(kept + 1, capacity - sizeof(Kept));
}

void PixelBlockPool::trim(std::size_t limit, Surplus& surplus) noexcept
{
    while (m_keptBytes > limit)
    {
        Kept* const oldest = m_oldest;
        unlink(oldest);
        surplus.add(oldest->block(), oldest->capacity);
    }
}

void PixelBlockPool::releaseIdleSlabs(Surplus& surplus) noexcept
{
    for (auto& [capacity, sizeClass] : m_classes)
    {
        PixelSlab* const ring = std::exchange(sizeClass.slabs, nullptr);
        for (PixelSlab *slab = ring, *next = nullptr; slab; slab = next == ring ? nullptr : next)
        {
            next = slab->next;
            if (slab->idle.load(std::memory_order_acquire) == slab->allIdle)
            {
                slab->next = std::exchange(surplus.m_slabs, slab);
                continue;
            }
            PixelSlab*& first = sizeClass.slabs;
            slab->next = first ? std::exchange(first->next, slab) : slab;
            first = slab;
        }
    }
}

void PixelBlockPool::unlink(Kept* block) noexcept
{
    (block->newer ? block->newer->older : m_newest) = block->older;
    (block->older ? block->older->newer : m_oldest) = block->newer;
    if (block->olderOfSize)
        block->olderOfSize->newerOfSize = block->newerOfSize;
    if (block->newerOfSize)
        block->newerOfSize->olderOfSize = block->olderOfSize;
    else
        m_classes.find(block->capacity)->second.newest = block->olderOfSize;
    m_keptBytes -= block->capacity;
}

}
