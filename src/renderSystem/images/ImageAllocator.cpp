#include "private/ImageAllocator.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <exception>
#include <iostream>
#include <limits>
#include <new>
#include <sstream>
#include <stdexcept>

#include <unistd.h>

#include <Bramble3/Configuration.h>

#include "private/Assert.h"

namespace QUILT::Private
{

namespace
{

using Bramble3::BzConfiguration::v1::Config;

constexpr char s_savingRecord[] = "[Image Allocator] : Image Disk Saving (On One Thread)";
constexpr char s_loadingRecord[] = "[Image Allocator] : Image Disk Loading (Across Threads)";

void raise(std::atomic<int64_t>& peak, int64_t value)
{
    if (value > peak)
        peak = value;
}

// A pixel that nobody has written is a signalling NaN with a telling payload.
void poison([[maybe_unused]] void* block, [[maybe_unused]] std::size_t size)
{
#ifdef QUILT_POISON_PIXELS
    constexpr uint32_t unwritten = 0x7fa0dead;
    std::fill_n(static_cast<uint32_t*>(block), size / sizeof unwritten, unwritten);
#endif
}

bool comesFromFile(const ImageBuffer::Impl& image)
{
    return image.getComment().find("FILEIN.") != std::string::npos;
}

}

// The time in which this thread evicts, with m_memMutex held.
class ImageAllocator::EvictionScope
{
public:
    explicit EvictionScope(ImageAllocator& allocator) : m_allocator(allocator)
    {
        m_allocator.m_evicting = true;
        m_allocator.m_evictingThread = std::this_thread::get_id();
    }
    ~EvictionScope()
    {
        m_allocator.m_evictingThread = std::thread::id();
        m_allocator.m_evicting = false;
    }
    EvictionScope(const EvictionScope&) = delete;
    EvictionScope& operator=(const EvictionScope&) = delete;

private:
    ImageAllocator& m_allocator;
};

ImageAllocator* ImageAllocator::instance()
{
    // The object outlives the end of main, for static handles that die later than it would; what it
    // keeps is freed then.
    static ImageAllocator* const allocator = new ImageAllocator;
    struct AtExit
    {
        ~AtExit() { allocator->shutDown(); }
    };
    static const AtExit atExit;
    return allocator;
}

ImageAllocator::ImageAllocator()
    : m_tmpDir(Config().get("LANTERN_TMPDIR")),
      m_speculativeCache(std::make_unique<SpeculativeCache>())
{}

ImageAllocator::~ImageAllocator()
{
    shutDown();
}

void ImageAllocator::shutDown()
{
    m_speculativeCache->setEnabled(false);
    m_maxKeptMemory = 0;
    clearSpeculativeCache();
    {
        // Of images that somebody still holds, be it a tile whose turn never came. Whoever is just
        // writing one holds the memory's mutex, and would bring it into being behind our back.
        const std::lock_guard memLock(m_memMutex);
        const std::lock_guard lock(m_swapFilesMutex);
        m_isShutDown = true;
        for (const std::string& path : m_swapFiles)
            unlink(path.c_str());
    }
    if (std::exchange(m_profiler.m_printAtDestruction, false))
        m_profiler.print(std::cout);
}

void ImageAllocator::allocatePixels(ImageBuffer::Impl* image)
{
    image->m_image.pixelPtr = nullptr;
    if (image->m_image.rowBytes == 0)
        return;
    const std::size_t size = image->getSize();
    const bool isFileIn = comesFromFile(*image);
    bool wantsSlab = false;
    PixelBlock block = reserve(int64_t(size), isFileIn, wantsSlab);
    if (!block)
        block = allocate(size, wantsSlab);
    if (!block)
    {
        const std::lock_guard lock(m_memMutex);
        uncount(int64_t(size), isFileIn);
        throw std::bad_alloc();
    }
    poison(block.memory, size);
    image->m_countsAsFileIn = isFileIn;
    image->m_slab = block.slab;
    image->m_image.pixelPtr = static_cast<float*>(block.memory);
}

// Fresh memory. When the system has none, what is kept goes back to it, and it is asked once more.
PixelBlock ImageAllocator::allocate(std::size_t size, bool asSlab)
{
    if (PixelSlab* const slab = asSlab ? PixelBlockPool::allocateSlab(size) : nullptr)
    {
        const std::lock_guard lock(m_memMutex);
        return m_pool.adopt(slab);
    }
    if (const PixelBlock block = PixelBlockPool::allocate(size))
        return block;
    releaseKeptMemory();
    return PixelBlockPool::allocate(size);
}

void ImageAllocator::releaseKeptMemory()
{
    {
        PixelBlockPool::Surplus blocks;
        const std::lock_guard lock(m_memMutex);
        m_pool.trim(0, blocks);
    }
    PixelBlockPool::Surplus slabs;
    const std::lock_guard lock(m_memMutex);
    m_pool.releaseIdleSlabs(slabs);
}

// Counts the bytes first and makes room for them afterwards, so that during eviction the figures
// hold the new image already. Returns kept memory for them when there is some.
PixelBlock ImageAllocator::reserve(int64_t size, bool isFileIn, bool& wantsSlab)
{
    PixelBlockPool::Surplus surplus;
    const std::lock_guard lock(m_memMutex);
    const int64_t budget = m_maxMemUsage;
    count(size, isFileIn);
    PixelBlock block = m_pool.take(std::size_t(size));
    m_pool.trim(room(budget), surplus);
    if (m_memUsage > budget)
    {
        try
        {
            makeRoom(budget);
        }
        catch (...)
        {
            if (block)
                m_pool.put(block, std::size_t(size), surplus);
            uncount(size, isFileIn);
            m_pool.trim(room(budget), surplus);
            throw;
        }
        if (!block)
            block = m_pool.take(std::size_t(size)); // what has just been freed
        m_pool.trim(room(budget), surplus);
    }
    wantsSlab = !block && m_pool.wantsSlab(std::size_t(size));
    raise(m_peakMemUsage, m_memUsage);
    return block;
}

void ImageAllocator::makeRoom(int64_t budget)
{
    const EvictionScope evicting(*this);
    m_speculativeCache->freeMemory(m_memUsage - budget);

    // The oldest image may be busy for a moment. It is not passed over: it is waited for, without
    // keeping a core busy when the moment grows long.
    constexpr int patience = 64;
    int busyTries = 0;
    while (m_memUsage > budget && hasUnlockedImages() && m_diskUsage < m_maxDiskUsage)
    {
        if (SaveToDisk())
            busyTries = 0;
        else if (++busyTries < patience)
            std::this_thread::yield();
        else
            std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    if (m_memUsage > budget && Config().has("LANTERN_HARD_MEMORY_LIMIT"))
        stopForMemory();
}

void ImageAllocator::stopForMemory()
{
    printStatus(true);
    ImageBuffer::Impl::setThrowOutOfMemoryFlag();
    throw UTIL::OutOfMemoryException("ImageAllocator overran available memory.", QUILT_SOURCE_PATH,
                                     __LINE__);
}

// One step of eviction. False when the image whose turn it is was busy.
bool ImageAllocator::SaveToDisk()
{
    std::unique_lock<std::mutex> victimLock;
    ImageBuffer::Impl* victim = nullptr;
    {
        const std::lock_guard lock(m_unlockedImagesMutex);
        victim = m_unlockedImages.front();
        if (!victim)
            return true;
        victimLock = std::unique_lock(victim->m_mutex, std::try_to_lock);
        if (!victimLock.owns_lock())
            return false;
        m_unlockedImages.remove(victim->m_unlockedLink);
    }
    // From here on the victim's mutex keeps it alive: its last owner waits for it.
    try
    {
        save(victim);
    }
    catch (...)
    {
        addToUnlocked(victim); // it is still in memory, for another try
        throw;
    }
    return true;
}

void ImageAllocator::save(ImageBuffer::Impl* victim)
{
    const auto start = std::chrono::steady_clock::now();
    if (!victim->saveToDisk())
    {
        std::cerr << "ImageAllocator::SaveToDisk failed\n";
        throw std::runtime_error("Saving failed");
    }
    const auto elapsed = std::chrono::steady_clock::now() - start;
    m_profiler.record(
        s_savingRecord,
        float(std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count()));
}

void ImageAllocator::freePixels(ImageBuffer::Impl* image)
{
    QUILT_ASSERT_TEXT(image->m_image.pixelPtr, "imagePtr->m_image.pixelPtr");
    PixelBlockPool::Surplus surplus; // leaves after the lock
    const std::unique_lock<std::mutex> lock = lockFigures();
    const PixelBlock block{std::exchange(image->m_image.pixelPtr, nullptr),
                           std::exchange(image->m_slab, nullptr)};
    m_pool.put(block, image->getSize(), surplus);
    uncount(int64_t(image->getSize()), image->m_countsAsFileIn);
    // What eviction frees may be just what is to be allocated; it trims at its end.
    if (!m_evicting)
        m_pool.trim(room(m_maxMemUsage), surplus);
}

void ImageAllocator::loadImage(ImageBuffer::Impl* image)
{
    const ProfileTimer timer(s_loadingRecord, &m_profiler);
    image->loadFromDisk();
}

void ImageAllocator::addToUnlocked(ImageBuffer::Impl* image)
{
    const std::lock_guard lock(m_unlockedImagesMutex);
    QUILT_ASSERT_TEXT(!image->m_unlockedLink.isListed(),
                      "find(m_unlockedImages, image) == m_unlockedImages.end()");
    m_unlockedImages.append(image->m_unlockedLink);
}

void ImageAllocator::addToLocked(ImageBuffer::Impl* image)
{
    const std::lock_guard lock(m_lockedImagesMutex);
    QUILT_ASSERT_TEXT(!image->m_lockedLink.isListed(),
                      "find(m_lockedImages, image) == m_lockedImages.end()");
    m_lockedImages.append(image->m_lockedLink);
}

void ImageAllocator::removeFromUnlocked(ImageBuffer::Impl* image)
{
    const std::lock_guard lock(m_unlockedImagesMutex);
    m_unlockedImages.remove(image->m_unlockedLink);
}

void ImageAllocator::removeFromLocked(ImageBuffer::Impl* image)
{
    const std::lock_guard lock(m_lockedImagesMutex);
    m_lockedImages.remove(image->m_lockedLink);
}

bool ImageAllocator::hasUnlockedImages()
{
    const std::lock_guard lock(m_unlockedImagesMutex);
    return !m_unlockedImages.isEmpty();
}

long ImageAllocator::addDiskUsage(long delta)
{
    const std::unique_lock<std::mutex> lock = lockFigures();
    const int64_t usage = m_diskUsage += delta;
    raise(m_peakDiskUsage, usage);
    QUILT_ASSERT(m_diskUsage >= 0);
    return usage;
}

bool ImageAllocator::addSwapFile(const std::string& path)
{
    const std::lock_guard lock(m_swapFilesMutex);
    if (m_isShutDown)
        return false;
    m_swapFiles.insert(path);
    addToLivingCount(Living::SwapFiles, 1);
    return true;
}

void ImageAllocator::removeSwapFile(const std::string& path)
{
    unlink(path.c_str());
    const std::lock_guard lock(m_swapFilesMutex);
    m_swapFiles.erase(path);
    addToLivingCount(Living::SwapFiles, -1);
}

void ImageAllocator::releaseImage(ImageBuffer::Impl* image) noexcept
{
    try
    {
        if (image->getCacheData() && !image->isDamaged() &&
            m_speculativeCache->shouldCache(image, getMemUsage(), m_maxMemUsage))
        {
            m_speculativeCache->add(image);
            return; // another thread may have found it by now
        }
    }
    catch (const std::exception&)
    {
        // The cache does not hold the image.
    }
    delete image;
}

long ImageAllocator::getMemUsage()
{
    const std::unique_lock<std::mutex> lock = lockFigures();
    return m_memUsage;
}

long ImageAllocator::getDiskUsage()
{
    const std::unique_lock<std::mutex> lock = lockFigures();
    return m_diskUsage;
}

long ImageAllocator::getKeptMemory()
{
    const std::unique_lock<std::mutex> lock = lockFigures();
    return long(m_pool.keptBytes());
}

void ImageAllocator::clearSpeculativeCache()
{
    m_speculativeCache->clear();
    releaseKeptMemory();
}

void ImageAllocator::printMemUsage()
{
    std::ostringstream text;
    text << "Image allocator memory usage: " << m_memUsage << "\n"
         << "Image allocator max memory usage: " << m_maxMemUsage << "\n";
    std::cerr << text.str();
    m_speculativeCache->printMemUsage();
}

void ImageAllocator::printStatus(bool listLockedImages)
{
    std::ostringstream text;
    text << "ImageAllocator: \n"
         << "   mem usage: " << m_memUsage << "\n"
         << "   max mem usage: " << m_maxMemUsage << "\n"
         << "   disk usage: " << m_diskUsage << "\n"
         << "   max disk usage: " << m_maxDiskUsage << "\n";
    {
        const std::lock_guard lock(m_unlockedImagesMutex);
        text << "   num unlocked images: " << m_unlockedImages.size() << "\n";
    }
    {
        const std::lock_guard lock(m_lockedImagesMutex);
        text << "   num locked images: " << m_lockedImages.size() << "\n";
        if (listLockedImages)
            m_lockedImages.forEach([&](const ImageBuffer::Impl* image) {
                text << "      " << static_cast<const void*>(image) << "\n";
            });
    }
    std::cerr << text.str();
}

void ImageAllocator::resetStatistics()
{
    m_profiler.clear();
    const std::unique_lock<std::mutex> lock = lockFigures();
    m_peakMemUsage = 0;
    m_peakFileInMemUsage = 0;
    m_speculativeCache->resetHits();
}

XmlElement ImageAllocator::getStatistics(unsigned threads)
{
    const auto bytes = [](int64_t size) {
        return formatByteSize(static_cast<unsigned long>(size), 0);
    };
    float saving = 0.0f, loading = 0.0f;
    unsigned long saved = 0, loaded = 0;
    m_profiler.sumByName(&saving, &saved, s_savingRecord);
    m_profiler.sumByName(&loading, &loaded, s_loadingRecord);
    loading /= float(std::max(threads, 1u));

    XmlElement statistics = Bramble3::XmlIO::v1::Element::create("Image Memory Management");
    statistics->setAttr("Peak Memory Usage", bytes(m_peakMemUsage));
    statistics->setAttr("Peak Memory Usage (FileIn)", bytes(m_peakFileInMemUsage));
    statistics->setAttr("Max Memory Allowed", bytes(m_maxMemUsage));
    statistics->setAttr("Peak Disk Usage", bytes(m_peakDiskUsage));
    statistics->setAttr("Tile Swap Count (to disk)", long(saved));
    statistics->setAttr("Tile Swap Time (to disk)", formatMilliseconds(double(saving)));
    statistics->setAttr("Tile Swap Count (from disk)", long(loaded));
    statistics->setAttr("Tile Swap Time (from disk)", formatMilliseconds(double(loading)));
    statistics->setAttr("Tile Swap Time (total)",
                        formatMilliseconds(double(saving) + double(loading)));
    statistics->addChild(m_speculativeCache->getStatistics());
    return statistics;
}

void ImageAllocator::count(int64_t size, bool isFileIn)
{
    if (isFileIn)
    {
        m_fileInMemUsage += size;
        raise(m_peakFileInMemUsage, m_fileInMemUsage);
    }
    m_memUsage += size;
}

void ImageAllocator::uncount(int64_t size, bool isFileIn)
{
    m_memUsage -= size;
    if (isFileIn)
        m_fileInMemUsage -= size;
    QUILT_ASSERT(m_memUsage >= 0);
    QUILT_ASSERT(m_fileInMemUsage >= 0);
}

// How much memory may be kept: what the budget leaves free, within a limit.
std::size_t ImageAllocator::room(int64_t budget) const
{
    const int64_t free = budget - m_memUsage;
    return std::size_t(std::max<int64_t>(0, std::min(free, m_maxKeptMemory.load())));
}

// Locks m_memMutex, unless this thread is the one that evicts and so holds it already.
std::unique_lock<std::mutex> ImageAllocator::lockFigures()
{
    if (m_evictingThread.load(std::memory_order_relaxed) == std::this_thread::get_id())
        return {};
    return std::unique_lock(m_memMutex);
}

}
