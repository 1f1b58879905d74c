#pragma once

#include <cstddef>
#include <unordered_map>
#include <utility>

namespace QUILT::Private
{

/// Freed pixel memory, kept to be handed out again.
///
/// The system clears every page at its first touch, which takes several times as long as to fill it
/// with pixels. A render frees and allocates the same few sizes over and over, so a block is kept
/// for the next image of the same size. Blocks below smallestKept are left to the C library.
///
/// Not locked: ImageAllocator::m_memMutex guards it. Its static functions are safe from any thread.
class PixelBlockPool
{
    struct Kept;

public:
    static constexpr std::size_t smallestKept = 65536;

    /// Blocks on their way to the system, where they arrive when this object dies: after the lock
    /// under which they left the pool, since that takes the system its time.
    class Surplus
    {
    public:
        Surplus() = default;
        Surplus(Surplus&& other) noexcept : m_first(std::exchange(other.m_first, nullptr)) {}
        Surplus& operator=(Surplus&&) = delete;
        ~Surplus();

        void add(void* block, std::size_t size) noexcept;

    private:
        Kept* m_first = nullptr;
    };

    PixelBlockPool() = default;
    PixelBlockPool(const PixelBlockPool&) = delete;
    PixelBlockPool& operator=(const PixelBlockPool&) = delete;
    ~PixelBlockPool();

    /// Fresh memory from the system, aligned to 64 bytes, large blocks in large pages. Null when
    /// there is none.
    static void* allocate(std::size_t size) noexcept;

    /// A kept block for this size, the last one that came; null when there is none.
    void* take(std::size_t size) noexcept;

    /// Keeps a block that came from allocate() or take() with that size.
    void put(void* block, std::size_t size, Surplus& surplus) noexcept;

    /// Gives up blocks, those that came first before the others, until at most `limit` bytes are
    /// kept.
    void trim(std::size_t limit, Surplus& surplus) noexcept;

    std::size_t keptBytes() const { return m_keptBytes; }

private:
    void unlink(Kept* block) noexcept;

    std::unordered_map<std::size_t, Kept*> m_newestOfSize;
    Kept* m_newest = nullptr;
    Kept* m_oldest = nullptr;
    std::size_t m_keptBytes = 0;
};

}
