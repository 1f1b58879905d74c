#pragma once

#include <cstddef>
#include <unordered_map>
#include <utility>

namespace QUILT::Private
{

struct PixelSlab;

/// Memory of one image's pixels. What it came with goes back with it.
struct PixelBlock
{
    void* memory = nullptr;
    PixelSlab* slab = nullptr; ///< null for a block by itself

    explicit operator bool() const { return memory != nullptr; }
};

/// Freed pixel memory, kept to be handed out again, and the slabs from which the sizes in use come.
///
/// The system clears every page at its first touch, which takes several times as long as to fill it
/// with pixels. A render frees and allocates the same few sizes over and over, so a block is kept
/// for the next image of the same size, up to less than a page. And the first touch of a large page
/// takes a seventh of that of its bytes in small pages, so blocks of a size that is asked for often
/// are cut from slabs of large pages. A block of a slab that is given up loses its pages; the slab
/// keeps the addresses until all of its blocks are idle.
///
/// Blocks below smallestKept are left to the C library.
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
        Surplus(const Surplus&) = delete;
        Surplus& operator=(const Surplus&) = delete;
        ~Surplus();

        void add(PixelBlock block, std::size_t size) noexcept; ///< under the pool's lock

    private:
        friend class PixelBlockPool;
        Kept* m_blocks = nullptr;
        PixelSlab* m_slabsToGiveUp = nullptr;
        PixelSlab* m_slabs = nullptr;
    };

    PixelBlockPool() = default;
    PixelBlockPool(const PixelBlockPool&) = delete;
    PixelBlockPool& operator=(const PixelBlockPool&) = delete;
    ~PixelBlockPool();

    /// A block for this size: the last one that was kept, else an idle one of a slab. Null when
    /// there is none.
    PixelBlock take(std::size_t size) noexcept;

    /// Asked when take() had none: whether a slab is to be made, now that the size is in demand.
    bool wantsSlab(std::size_t size) noexcept;

    /// Fresh memory from the system, aligned to 64 bytes: a block by itself, or a slab of blocks
    /// for adopt(). Null when there is none.
    static PixelBlock allocate(std::size_t size) noexcept;
    static PixelSlab* allocateSlab(std::size_t size) noexcept;

    /// Takes over a slab for that size and returns its first block.
    PixelBlock adopt(PixelSlab* slab) noexcept;

    /// Keeps a block of that size, which came from here.
    void put(PixelBlock block, std::size_t size, Surplus& surplus) noexcept;

    /// Gives up blocks, those that came first before the others, until at most `limit` bytes are
    /// kept.
    void trim(std::size_t limit, Surplus& surplus) noexcept;

    /// Gives up the addresses of slabs of which no block is used or kept.
    void releaseIdleSlabs(Surplus& surplus) noexcept;

    std::size_t keptBytes() const { return m_keptBytes; }

private:
    struct SizeClass
    {
        Kept* newest = nullptr;
        PixelSlab* slabs = nullptr; // a ring; the search for an idle block begins here
        std::size_t demand = 0;     // bytes of the blocks that it did not have
    };

    void unlink(Kept* block) noexcept;

    std::unordered_map<std::size_t, SizeClass> m_classes; // by capacity
    Kept* m_newest = nullptr;
    Kept* m_oldest = nullptr;
    std::size_t m_keptBytes = 0;
};

}
