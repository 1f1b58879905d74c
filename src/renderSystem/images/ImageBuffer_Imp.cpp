#include "private/ImageBuffer_Imp.h"

#include <filesystem>
#include <iostream>
#include <new>
#include <optional>
#include <random>
#include <utility>

#include <Bramble3/Log.h>
#include <EMULSION/Channels.h>
#include <EMULSION/Raw.h>

#include "private/Assert.h"
#include "private/ImageAllocator.h"
#include "private/SpeculativeCache.h"
#include "QUILT/Exceptions.h"

namespace QUILT
{

namespace
{

constexpr uint64_t s_rowAlignment = 16;
constexpr uint64_t s_largestImage = uint64_t(1) << 46; // bytes

// Bytes of a row, with what aligns the next one; nothing when the row alone is too large.
std::optional<uint64_t> rowBytesFor(int64_t width, uint64_t pixelBytes)
{
    uint64_t bytes = 0;
    if (width < 0 || __builtin_mul_overflow(uint64_t(width), pixelBytes, &bytes) ||
        bytes > s_largestImage)
        return std::nullopt;
    return (bytes + s_rowAlignment - 1) / s_rowAlignment * s_rowAlignment;
}

// A name that no other file has: four groups of four random digits.
std::string newSwapFilePath(const std::string& folder)
{
    std::random_device random;
    std::string name = "lantern_cacheFile";
    for (int group = 0; group < 4; ++group)
    {
        if (group > 0)
            name += '-';
        const unsigned value = random();
        for (int shift = 0; shift < 16; shift += 4)
            name += "0123456789abcdef"[value >> shift & 15];
    }
    return (std::filesystem::path(folder) / name).string();
}

}

std::atomic<bool> ImageBuffer::Impl::m_throwOutOfMemory{false};

ImageBuffer::Impl::Impl(unsigned long imgChannels, const UTIL::Rect& bounds, std::string comment,
                        Private::ImageAllocator* allocator, unsigned long originalChannels)
    : m_comment(std::move(comment)), m_allocator(allocator)
{
    m_image.bounds = bounds;
    CheckError();
    const bool isValid = EMULSION::IsChannelMaskValid(imgChannels);
    if (!isValid)
        std::cerr << "Invalid Channel Mask " + std::to_string(imgChannels) + "\n";
    assertOrThrow(isValid, "EMULSION::IsChannelMaskValid(imgChannels)", __LINE__);
    m_image.channels = imgChannels;
    m_image.originalChannels = originalChannels;
    unsigned long pixelBytes = 0;
    EMULSION::GetPixelBytes(&pixelBytes, imgChannels);
    assertOrThrow(EMULSION::GetError() == EMULSION::ERROR_NONE,
                  "EMULSION::GetError() == EMULSION::ERROR_NONE", __LINE__);

    const std::optional<uint64_t> rowBytes = rowBytesFor(bounds.width(), pixelBytes);
    uint64_t size = 0;
    if (!bounds.isNull() &&
        (!rowBytes || __builtin_mul_overflow(*rowBytes, uint64_t(bounds.height()), &size) ||
         size > s_largestImage))
    {
        std::cerr << "An image of " + std::to_string(uint64_t(bounds.width())) + " by " +
                         std::to_string(uint64_t(bounds.height())) + " pixels of " +
                         std::to_string(pixelBytes) + " bytes is too large\n";
        throw std::bad_alloc();
    }
    m_image.rowBytes = rowBytes.value_or(0);
    m_size = size;
    m_isEmptyImage = size == 0;
}

ImageBuffer::Impl::~Impl()
{
    try
    {
        // It is free: nobody else can reach the image. By try-lock, because trimming the cache
        // comes here with m_memMutex held, which otherwise is taken after m_mutex.
        const std::unique_lock lock(m_mutex, std::try_to_lock);
        if (m_lockCount != 0)
        {
            Bramble3::internal::BzLogging::BzLog("ImageBuffer::Impl")
                .log("ImageBuffer destroyed but lock count > 0", 50);
            m_allocator->removeFromLocked(this);
        }
        if (!m_diskFile.empty())
            removeDiskFile();
        if (m_image.pixelPtr)
            m_allocator->freePixels(this);
    }
    catch (const std::exception&)
    {
        // An assertion, which has told of itself on standard error, must not leave a destructor.
    }
}

void ImageBuffer::Impl::releaseReference() noexcept
{
    // acq_rel: whoever destroys the image sees what the other owners did to it.
    if (m_referenceCount.fetch_sub(1, std::memory_order_acq_rel) != 1)
        return;
    {
        const std::lock_guard lock(m_mutex);
        m_allocator->removeFromUnlocked(this);
    }
    m_allocator->releaseImage(this);
}

void ImageBuffer::Impl::lock()
{
    const std::lock_guard lock(m_mutex);
    if (m_isEmptyImage)
        return;
    // The lock that failed for lack of memory has left its count behind, and no pixels.
    if (m_lockCount > 0 && !isInRam())
        throw std::bad_alloc();
    if (++m_lockCount == 1)
        bringIntoMemory();
    if (isDamaged())
        EMULSION::SetError(m_damage, m_damageMessage);
}

void ImageBuffer::Impl::bringIntoMemory()
{
    m_allocator->removeFromUnlocked(this);
    if (!isInRam())
    {
        m_allocator->allocatePixels(this);
        if (!m_diskFile.empty() && !isDamaged())
            m_allocator->loadImage(this);
    }
    m_allocator->addToLocked(this);
}

void ImageBuffer::Impl::unlock()
{
    const std::lock_guard lock(m_mutex);
    if (m_isEmptyImage)
        return;
    QUILT_ASSERT(m_lockCount > 0);
    if (--m_lockCount == 0)
    {
        m_allocator->addToUnlocked(this);
        m_allocator->removeFromLocked(this);
    }
}

EMULSION::Image* ImageBuffer::Impl::getImage()
{
    assertOrThrow(m_lockCount > 0 || m_isEmptyImage, "m_lockCount > 0 || m_isEmptyImage", __LINE__);
    return &m_image;
}

bool ImageBuffer::Impl::saveToDisk()
{
    if (m_isEmptyImage)
        return false;
    assertOrThrow(m_lockCount == 0, "m_lockCount == 0", __LINE__);
    assertOrThrow(m_image.pixelPtr != nullptr, "m_image.pixelPtr != 0", __LINE__);
    if (!isDamaged())
    {
        const std::string path = newSwapFilePath(m_allocator->getTmpDir());
        if (!m_allocator->addSwapFile(path))
            return false;
        const EMULSION::ErrorScope scope; // what is pending already is not this file's failure
        EMULSION::ClearError();
        EMULSION::WriteRAW(path.c_str(), &m_image);
        const EMULSION::Error error = EMULSION::GetError();
        if (error != EMULSION::ERROR_NONE && error != EMULSION::ERROR_CANCELLED)
        {
            std::cerr << EMULSION::GetErrorMessage() + "\n";
            m_allocator->removeSwapFile(path);
            return false;
        }
        m_diskFile = path;
        m_allocator->addDiskUsage(long(m_size));
    }
    m_allocator->freePixels(this);
    return true;
}

void ImageBuffer::Impl::loadFromDisk()
{
    {
        const EMULSION::ErrorScope scope; // what is pending already does not damage the image
        EMULSION::ClearError();
        EMULSION::ReadRAW(&m_image, m_diskFile.c_str());
        m_damage = EMULSION::GetError();
        m_damageMessage = EMULSION::GetErrorMessage();
    }
    if (isDamaged())
        EMULSION::SetError(m_damage, m_damageMessage);
    else
        removeDiskFile();
}

void ImageBuffer::Impl::removeDiskFile()
{
    m_allocator->removeSwapFile(m_diskFile);
    m_diskFile.clear();
    m_allocator->addDiskUsage(-long(m_size));
}

void ImageBuffer::Impl::enableCaching(Private::RenderTask_Imp* task, const TileID& tile, float cost)
{
    if (m_allocator->getSpeculativeCachingEnable())
        setCacheData(new Private::CacheData(task, tile, cost));
}

void ImageBuffer::Impl::setCacheData(const ref_ptr<Private::CacheData>& cacheData)
{
    const std::lock_guard lock(m_mutex);
    m_cacheData = cacheData;
}

Private::CacheData* ImageBuffer::Impl::getCacheData() const
{
    return m_cacheData.get();
}

void ImageBuffer::Impl::setThrowOutOfMemoryFlag()
{
    m_throwOutOfMemory = true;
}

void ImageBuffer::Impl::assertOrThrow(bool condition, const char* text, long line)
{
    if (m_throwOutOfMemory.load(std::memory_order_relaxed))
        throw UTIL::OutOfMemoryException("ImageAllocator overran available memory.",
                                         QUILT_SOURCE_PATH, line);
    if (!condition)
        throw UTIL::AssertException(text, QUILT_SOURCE_PATH, line);
}

std::ostream& ImageBuffer::Impl::operator<<(std::ostream& stream) const
{
    return stream << "Buf: " << static_cast<const void*>(this)
                  << " lockCount: " << std::to_string(m_lockCount) << " comment: " << m_comment;
}

}
