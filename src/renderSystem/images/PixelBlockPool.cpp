#include "private/PixelBlockPool.h"

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

// From here on the memory lost to the alignment of large pages is a small part of the block.
constexpr std::size_t s_smallestInLargePages = 2 * s_largePage;

// Sizes that differ by less than a page share their blocks.
std::size_t capacityFor(std::size_t size)
{
    return size < PixelBlockPool::smallestKept ? size : (size + s_page - 1) / s_page * s_page;
}

}

// Stands at the beginning of a block while nobody uses it, so that keeping one allocates nothing
// but, for the first of its size, an entry in the map.
struct PixelBlockPool::Kept
{
    std::size_t capacity;
    Kept* newer;
    Kept* older;
    Kept* newerOfSize;
    Kept* olderOfSize;
};

PixelBlockPool::Surplus::~Surplus()
{
    while (Kept* const block = m_first)
    {
        m_first = block->older;
        ASAN_UNPOISON_MEMORY_REGION(block, block->capacity);
        std::free(block);
    }
}

void PixelBlockPool::Surplus::add(void* block, std::size_t size) noexcept
{
    const std::size_t capacity = capacityFor(size);
    if (capacity < sizeof(Kept))
        std::free(block);
    else
        m_first = new (block) Kept{capacity, nullptr, m_first, nullptr, nullptr};
}

PixelBlockPool::~PixelBlockPool()
{
    Surplus all;
    trim(0, all);
}

void* PixelBlockPool::allocate(std::size_t size) noexcept
{
    const std::size_t capacity = capacityFor(size);
    const bool inLargePages = capacity >= s_smallestInLargePages;
    void* block = nullptr;
    if (posix_memalign(&block, inLargePages ? s_largePage : s_cacheLine, capacity) != 0)
        return nullptr;
    if (inLargePages)
        madvise(block, capacity, MADV_HUGEPAGE); // where the system has none, small ones do
    return block;
}

void* PixelBlockPool::take(std::size_t size) noexcept
{
    const auto newest = m_newestOfSize.find(capacityFor(size));
    if (newest == m_newestOfSize.end())
        return nullptr;
    Kept* const block = newest->second;
    unlink(block);
    ASAN_UNPOISON_MEMORY_REGION(block, block->capacity);
    return block;
}

void PixelBlockPool::put(void* memory, std::size_t size, Surplus& surplus) noexcept
{
    const std::size_t capacity = capacityFor(size);
    if (capacity < smallestKept)
        return surplus.add(memory, size);
    Kept** newestOfSize = nullptr;
    try
    {
        newestOfSize = &m_newestOfSize[capacity];
    }
    catch (const std::bad_alloc&)
    {
        return surplus.add(memory, size);
    }

    Kept* const block = new (memory) Kept{capacity, nullptr, m_newest, nullptr, *newestOfSize};
    (m_newest ? m_newest->newer : m_oldest) = block;
    m_newest = block;
    if (*newestOfSize)
        (*newestOfSize)->newerOfSize = block;
    *newestOfSize = block;
    m_keptBytes += capacity;
    ASAN_POISON_MEMORY_REGION(block + 1, capacity - sizeof(Kept));
}

void PixelBlockPool::trim(std::size_t limit, Surplus& surplus) noexcept
{
    while (m_keptBytes > limit)
    {
        Kept* const block = m_oldest;
        unlink(block);
        surplus.add(block, block->capacity);
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
    else if (block->olderOfSize)
        m_newestOfSize[block->capacity] = block->olderOfSize;
    else
        m_newestOfSize.erase(block->capacity);
    m_keptBytes -= block->capacity;
}

}
