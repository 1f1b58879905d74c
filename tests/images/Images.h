#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include <Bramble3/Configuration.h>
#include <EMULSION/Error.h>

#include "private/ImageAllocator.h"
#include "private/ImageBuffer_Imp.h"
#include "private/LivingCounts.h"

namespace QUILT::Private
{

// What only tests may look at.
struct ImageTestAccess
{
    static std::mutex& mutexOf(const ImageBuffer& image) { return image.getImpl()->m_mutex; }
    static int64_t lockCountOf(const ImageBuffer& image) { return image.getImpl()->m_lockCount; }
    static std::string diskFileOf(const ImageBuffer& image) { return image.getImpl()->m_diskFile; }
    static std::size_t locked(ImageAllocator& a) { return a.m_lockedImages.size(); }
    static std::size_t unlocked(ImageAllocator& a) { return a.m_unlockedImages.size(); }
    static int64_t fileIn(ImageAllocator& a) { return a.m_fileInMemUsage; }
    static int64_t peak(ImageAllocator& a) { return a.m_peakMemUsage; }
    static int64_t peakFileIn(ImageAllocator& a) { return a.m_peakFileInMemUsage; }
    static int64_t peakDisk(ImageAllocator& a) { return a.m_peakDiskUsage; }
    static uint64_t hits(SpeculativeCache& c) { return c.m_hits; }
    static std::size_t members(SpeculativeCache& c) { return c._cache.size(); }
};

// An allocator of its own with an empty swap folder. At the end nothing may be left of its images.
class AllocatorTest : public testing::Test
{
protected:
    using Access = ImageTestAccess;

    AllocatorTest()
    {
        char name[] = "/tmp/quilt_images_XXXXXX";
        m_folder = mkdtemp(name);
        Bramble3::BzConfiguration::v1::Config().set("LANTERN_TMPDIR", m_folder);
        m_allocator = std::make_unique<ImageAllocator>();
    }

    void TearDown() override
    {
        EMULSION::ClearError();
        m_allocator->clearSpeculativeCache();
        EXPECT_EQ(m_allocator->getMemUsage(), 0);
        EXPECT_EQ(m_allocator->getDiskUsage(), 0);
        EXPECT_EQ(Access::fileIn(*m_allocator), 0);
        EXPECT_EQ(Access::locked(*m_allocator), 0u);
        EXPECT_EQ(Access::unlocked(*m_allocator), 0u);
        EXPECT_EQ(livingCount(Living::Images), 0);
        EXPECT_EQ(livingCount(Living::SwapFiles), 0);
        EXPECT_EQ(swapFiles().size(), 0u);
        std::filesystem::remove_all(m_folder);
    }

    ImageBuffer make(const UTIL::Rect& bounds, const std::string& comment = "")
    {
        return ImageBuffer(ref_ptr<ImageBuffer::Impl>(
            new ImageBuffer::Impl(15, bounds, comment, m_allocator.get(), 15)));
    }

    // One row of that many bytes, a multiple of 16.
    ImageBuffer makeOf(int64_t bytes, const std::string& comment = "")
    {
        return make(UTIL::Rect(0, 0, bytes / 16, 1), comment);
    }

    // An image as a tile leaves it behind.
    ImageBuffer makeFor(const std::string& cacheID, int64_t bytes, float cost,
                        float probability = 1.0f, const std::string& task = "task")
    {
        ImageBuffer image = makeOf(bytes);
        image.getImpl()->setCacheData(
            new CacheData(CacheKey{cacheID, TileID(3, -4, 8, 8)}, task, "Type", probability, cost));
        fill(image, uint32_t(std::hash<std::string>()(cacheID)));
        return image;
    }

    ImageBuffer find(const std::string& cacheID)
    {
        return m_allocator->getCachedImage(CacheKey{cacheID, TileID(3, -4, 16, 16)});
    }

    static void fill(ImageBuffer& image, uint32_t seed)
    {
        image.lock();
        uint32_t* const words = reinterpret_cast<uint32_t*>(image.getImage()->pixelPtr);
        for (std::size_t i = 0; i < image.getSize() / sizeof *words; ++i)
            words[i] = seed + uint32_t(i) * 2654435761u;
        image.unlock();
    }

    // True when the image, once locked, holds what fill left in it.
    static bool holds(ImageBuffer& image, uint32_t seed)
    {
        image.lock();
        const uint32_t* const words = reinterpret_cast<uint32_t*>(image.getImage()->pixelPtr);
        bool same = true;
        for (std::size_t i = 0; i < image.getSize() / sizeof *words; ++i)
            same &= words[i] == seed + uint32_t(i) * 2654435761u;
        image.unlock();
        return same;
    }

    static bool isSwapped(const ImageBuffer& image) { return !Access::diskFileOf(image).empty(); }

    std::vector<std::filesystem::path> swapFiles() const
    {
        std::vector<std::filesystem::path> files;
        if (std::filesystem::exists(m_folder))
            for (const auto& entry : std::filesystem::directory_iterator(m_folder))
                files.push_back(entry.path());
        return files;
    }

    std::string m_folder;
    std::unique_ptr<ImageAllocator> m_allocator;
};

// The text of what is thrown, or that nothing was.
std::string failureOf(const auto& work)
{
    try
    {
        work();
    }
    catch (const std::exception& failure)
    {
        return failure.what();
    }
    return "nothing was thrown";
}

}
