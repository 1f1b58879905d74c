#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_set>
#include <utility>
#include <vector>

#include "private/ImageBuffer_Imp.h"
#include "private/ImageList.h"
#include "private/PixelBlockPool.h"
#include "private/ProfileRecorder.h"
#include "private/SpeculativeCache.h"
#include "QUILT/ImageBuffer.h"

namespace QUILT::Private
{

/// The memory budget of all pixels in the process, and the swap files that hold what exceeds it.
///
/// Whoever locks an image whose pixels are not in memory makes room for them on its own thread:
/// members of the speculative cache go first, then images that nobody has locked are written to
/// swap files, the longest unlocked first. What does not help overruns the budget, or stops
/// everything when LANTERN_HARD_MEMORY_LIMIT is configured. Figures are in bytes.
///
/// Freed pixel memory is kept for the next images of its size as far as the budget has room for it.
/// It counts as free: it is given up before anything else is, and no image ever makes way for it.
///
/// Locks, from outside in: m_mutex of the image that is being locked, unlocked or released;
/// m_memMutex, held across eviction, so that one thread evicts at a time; the cache's mutex; the
/// mutexes of the two lists, never both at once; m_mutex of a victim, by try-lock only. Every
/// operation is safe from any thread.
class ImageAllocator
{
public:
    static constexpr int64_t defaultMaxMemUsage = int64_t(256) << 20;
    static constexpr int64_t defaultMaxDiskUsage = int64_t(8) << 30;
    static constexpr int64_t defaultMaxKeptMemory = int64_t(512) << 20;

    /// The one of the process, made on first use. At the process's end it frees what it keeps and
    /// keeps nothing any more.
    static ImageAllocator* instance();

    /// One of its own for a test; all of its images die before it.
    ImageAllocator();
    ~ImageAllocator();
    ImageAllocator(const ImageAllocator&) = delete;
    ImageAllocator& operator=(const ImageAllocator&) = delete;

    // For images

    const std::string& getTmpDir() const { return m_tmpDir; }

    /// Reserves the image's bytes, making room for them, and allocates them. When it throws, the
    /// reservation has been given back and the image has no pixels.
    void allocatePixels(ImageBuffer::Impl* image);
    void freePixels(ImageBuffer::Impl* image);
    void loadImage(ImageBuffer::Impl* image);

    void addToUnlocked(ImageBuffer::Impl* image);
    void addToLocked(ImageBuffer::Impl* image);
    void removeFromUnlocked(ImageBuffer::Impl* image); ///< one that is not there is no error
    void removeFromLocked(ImageBuffer::Impl* image);   ///< the same

    long addDiskUsage(long delta); ///< returns the new usage

    /// A swap file that is about to be written. It is removed at the process's end at the latest;
    /// from then on the answer is false, and nothing is to be written.
    bool addSwapFile(const std::string& path);
    void removeSwapFile(const std::string& path);

    /// Takes an image that has lost its last owner: into the speculative cache, or to its end.
    void releaseImage(ImageBuffer::Impl* image) noexcept;

    // For the render manager

    long getMemUsage();
    long getDiskUsage();
    long getFileInMemUsage() const { return m_fileInMemUsage; }
    long getPeakFileInMemUsage() const { return m_peakFileInMemUsage; }
    long getMaxMemUsage() const { return m_maxMemUsage; }
    long getMaxDiskUsage() const { return m_maxDiskUsage; }
    long getPeakMemUsage() const { return m_peakMemUsage; }   ///< since resetStatistics
    long getPeakDiskUsage() const { return m_peakDiskUsage; } ///< since the start

    /// Takes effect at the next reservation.
    void setMaxMemUsage(long bytes) { m_maxMemUsage = bytes; }
    void setMaxDiskUsage(long bytes) { m_maxDiskUsage = bytes; }

    /// How much freed pixel memory may be kept at most, whatever the budget.
    void setMaxKeptMemory(long bytes) { m_maxKeptMemory = bytes; }
    long getKeptMemory();

    void printMemUsage(); ///< to standard error
    void printStatus(bool listLockedImages);
    void resetStatistics();

    /// The element "Image Memory Management". Loading runs on all threads at once, so its time is
    /// divided by their number. Takes no lock that a thread holds while it writes swap files.
    XmlElement getStatistics(unsigned threads);
    XmlElement getSpeculativeCacheContents() { return m_speculativeCache->getContents(); }

    bool getSpeculativeCachingEnable() const { return m_speculativeCache->isEnabled(); }
    void setSpeculativeCachingEnable(bool enable) { m_speculativeCache->setEnabled(enable); }

    /// Gives up the kept memory, too.
    void clearSpeculativeCache();
    void updateCachePriorities(const SpeculativeCache::TaskProbabilities& tasks, float factor,
                               const SpeculativeCache::Identities* current = nullptr)
    {
        m_speculativeCache->updatePriorities(tasks, factor, current);
    }
    bool canHitCache() const { return m_speculativeCache->canHit(); }
    ImageBuffer getCachedImage(const CacheKey& key)
    {
        return m_speculativeCache->getCachedImage(key);
    }
    SpeculativeCache& getSpeculativeCache() { return *m_speculativeCache; }

private:
    friend struct ImageTestAccess;
    class EvictionScope;

    void shutDown();
    PixelBlock reserve(int64_t size, bool isFileIn, bool& wantsSlab);
    PixelBlock allocate(std::size_t size, bool asSlab);
    void releaseKeptMemory();
    void makeRoom(int64_t budget);
    bool SaveToDisk();
    void save(ImageBuffer::Impl* victim);
    [[noreturn]] void stopForMemory();

    bool hasUnlockedImages();
    void count(int64_t size, bool isFileIn);
    void uncount(int64_t size, bool isFileIn);
    std::size_t room(int64_t budget) const;
    std::unique_lock<std::mutex> lockFigures();

    const std::string m_tmpDir;

    std::mutex m_lockedImagesMutex;   // guards m_lockedImages
    ImageList m_lockedImages;         // in the order of locking
    std::mutex m_unlockedImagesMutex; // guards m_unlockedImages
    ImageList m_unlockedImages;       // in the order of the last unlock

    std::mutex m_swapFilesMutex; // a leaf lock: guards the next two
    std::unordered_set<std::string> m_swapFiles;
    bool m_isShutDown = false;

    // Guards the usage figures, which are atomic so that reports may read them while a thread holds
    // the mutex for as long as it takes to write a swap file.
    std::mutex m_memMutex;
    std::atomic<int64_t> m_memUsage{0}; // pixels in memory, reservations included
    std::atomic<int64_t> m_peakMemUsage{0};
    std::atomic<int64_t> m_fileInMemUsage{0}; // of those, pixels from image files
    std::atomic<int64_t> m_peakFileInMemUsage{0};
    std::atomic<int64_t> m_diskUsage{0};
    std::atomic<int64_t> m_peakDiskUsage{0};
    PixelBlockPool m_pool; // guarded by m_memMutex

    // True while a thread evicts; its nested calls find that they hold m_memMutex already. Both are
    // written under m_memMutex. Another thread that reads the identity finds one that is not its
    // own, whichever it is.
    bool m_evicting = false;
    std::atomic<std::thread::id> m_evictingThread{};

    std::atomic<int64_t> m_maxMemUsage{defaultMaxMemUsage};
    std::atomic<int64_t> m_maxDiskUsage{defaultMaxDiskUsage};
    std::atomic<int64_t> m_maxKeptMemory{defaultMaxKeptMemory};

    ProfileRecorder m_profiler;
    std::unique_ptr<SpeculativeCache> m_speculativeCache;
};

}
