#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <mutex>
#include <string>

#include <EMULSION/Error.h>
#include <EMULSION/Image.h>

#include "private/ImageList.h"
#include "private/LivingCounts.h"
#include "QUILT/ImageBuffer.h"
#include "QUILT/RefPtr.h"
#include "QUILT/TileID.h"

namespace QUILT
{

namespace Private
{
class CacheData;
class ImageAllocator;
struct PixelSlab;
class RenderTask_Imp;
class SpeculativeCache;
struct ImageTestAccess;
}

/// The pixels behind an ImageBuffer.
///
/// It counts its owners by itself, from 0. The thread that takes the count back to 0 takes the
/// image off the allocator's list of unlocked images, waiting for a thread that is just swapping it
/// out; from then on nobody else can reach it, and it goes to the speculative cache or dies.
/// Handles are copied from living handles only, so a count of 0 rises again only inside the cache,
/// under the cache's mutex.
///
/// States, by lock count, pixels and swap file:
///
///     empty     0, none, none   for ever; no list
///     new       0, none, none   no list
///     locked    1 or more, in memory, none   m_lockedImages
///     unlocked  0, in memory, none           m_unlockedImages
///     swapped   0, none, a file              no list
///     cached    0, in memory, none           a member of the speculative cache, count of owners 0
///
/// A damaged image, whose swap file could not be read back, keeps the file until it dies and goes
/// through the states without being read or written again.
///
/// Locks, from outside in: m_mutex of the image that is being locked; ImageAllocator::m_memMutex;
/// SpeculativeCache::m_mutex; the mutexes of the allocator's lists; m_mutex of an image that is to
/// be swapped out, by try-lock only.
class QUILT_API ImageBuffer::Impl
{
public:
    Impl(unsigned long imgChannels, const UTIL::Rect& bounds, std::string comment,
         Private::ImageAllocator* allocator, unsigned long originalChannels);
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    void addReference() { m_referenceCount.fetch_add(1, std::memory_order_relaxed); }
    void releaseReference() noexcept;
    int refCount() const { return m_referenceCount.load(std::memory_order_relaxed); }

    void lock();
    void unlock();

    EMULSION::Image* getImage();
    bool isInRam() const { return m_image.pixelPtr != nullptr; }
    bool isDamaged() const { return m_damage != EMULSION::ERROR_NONE; }
    std::size_t getSize() const { return m_size; }
    const std::string& getComment() const { return m_comment; }
    void setComment(const std::string& comment) { m_comment = comment; }
    unsigned long getChannels() const { return m_image.channels; }
    unsigned long getOriginalChannels() const { return m_image.originalChannels; }
    const UTIL::Rect& getBounds() const { return m_image.bounds; }

    // For the allocator, with m_mutex held.

    /// Writes the pixels to a swap file and frees them. False when the file cannot be written; then
    /// nothing has changed.
    bool saveToDisk();

    /// Reads the pixels back and removes the file. On failure the image is damaged from now on, and
    /// the EMULSION error is pending.
    void loadFromDisk();

    /// Makes the image one that the speculative cache may keep, unless that is switched off.
    void enableCaching(Private::RenderTask_Imp* task, const TileID& tile, float cost);
    void setCacheData(const ref_ptr<Private::CacheData>& cacheData);
    Private::CacheData* getCacheData() const;

    /// After a hard stop for memory: every access to an image fails from now on.
    static void setThrowOutOfMemoryFlag();
    static void assertOrThrow(bool condition, const char* text, long line);

    std::ostream& operator<<(std::ostream& stream) const;

    static std::atomic<bool> m_throwOutOfMemory; ///< never cleared

private:
    friend class Private::ImageAllocator;
    friend class Private::SpeculativeCache;
    friend struct Private::ImageTestAccess;

    // Only the allocator and the cache know when an image has no owner left.
    ~Impl();

    void bringIntoMemory();
    void removeDiskFile();

    std::atomic<int32_t> m_referenceCount{0};
    EMULSION::Image m_image;
    std::size_t m_size = 0; // bytes of all rows
    std::string m_comment;
    std::atomic<int64_t> m_lockCount{0}; // written under m_mutex
    std::string m_diskFile;              // empty without a swap file
    Private::ImageAllocator* const m_allocator;

    // Guards m_lockCount, m_image.pixelPtr, m_diskFile, m_damage and m_cacheData.
    std::mutex m_mutex;

    bool m_isEmptyImage = false;
    ref_ptr<Private::CacheData> m_cacheData; // null: not for the cache

    // The allocator's: how it counted these pixels, and where their memory belongs.
    bool m_countsAsFileIn = false;
    Private::PixelSlab* m_slab = nullptr;

    EMULSION::Error m_damage = EMULSION::ERROR_NONE;
    std::string m_damageMessage;

    Private::ImageLink m_lockedLink{this};
    Private::ImageLink m_unlockedLink{this};
    Private::Counted<Private::Living::Images> m_counted;
};

}
