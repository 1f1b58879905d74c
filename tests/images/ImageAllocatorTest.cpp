#include "images/Images.h"

#include <ctime>
#include <fstream>
#include <latch>
#include <random>
#include <thread>

#include <gmock/gmock.h>

using namespace QUILT;
using namespace QUILT::Private;
using testing::HasSubstr;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

namespace
{

class ImageAllocatorTest : public AllocatorTest
{
protected:
    // Makes the image leave memory, by an image that takes the whole budget for a moment.
    void swapOut(const ImageBuffer& image)
    {
        const long budget = m_allocator->getMaxMemUsage();
        m_allocator->setMaxMemUsage(long(image.getSize()));
        ImageBuffer other = makeOf(int64_t(image.getSize()));
        other.lock();
        other.unlock();
        m_allocator->setMaxMemUsage(budget);
        ASSERT_TRUE(isSwapped(image));
    }
};

}

TEST_F(ImageAllocatorTest, TheLongestUnlockedGoesFirstAndComesBackUnchanged)
{
    m_allocator->setMaxMemUsage(3000);
    std::vector<ImageBuffer> images;
    for (uint32_t i = 0; i < 3; ++i)
    {
        images.push_back(make(UTIL::Rect(-1, 0, 9, 6))); // 960 bytes
        fill(images.back(), i);
    }
    ImageBuffer rest = makeOf(112);
    fill(rest, 9);
    images[0].lock();
    images[0].unlock(); // now images[1] has waited longest
    EXPECT_EQ(m_allocator->getMemUsage(), 2992);
    EXPECT_EQ(m_allocator->getDiskUsage(), 0);

    m_allocator->setMaxMemUsage(3008);
    ImageBuffer exact = makeOf(16); // the budget, and not more
    exact.lock();
    EXPECT_EQ(m_allocator->getDiskUsage(), 0);
    ImageBuffer one = makeOf(16);
    one.lock();
    EXPECT_TRUE(isSwapped(images[1]));
    EXPECT_FALSE(isSwapped(images[0]) || isSwapped(images[2]));
    EXPECT_EQ(m_allocator->getDiskUsage(), 960);
    EXPECT_EQ(m_allocator->getMemUsage(), 2064);
    const auto files = swapFiles();
    ASSERT_EQ(files.size(), 1u);
    EXPECT_THAT(files[0].filename().string(),
                testing::MatchesRegex("lantern_cacheFile[0-9a-f]{4}(-[0-9a-f]{4}){3}"));

    EXPECT_TRUE(holds(images[1], 1)); // swaps another one in its place, or fits
    EXPECT_FALSE(isSwapped(images[1]));
    EXPECT_TRUE(holds(images[0], 0) && holds(images[2], 2) && holds(rest, 9));
    swapOut(images[2]);
    images[2].setNull(); // takes its file along
    exact.unlock();
    one.unlock();
}

TEST_F(ImageAllocatorTest, OverrunsTheBudgetWhenNothingHelps)
{
    m_allocator->setMaxMemUsage(1000);
    ImageBuffer a = makeOf(800, "FILEIN.a"), b = makeOf(800), c = makeOf(800);
    a.lock();
    a.setComment("something else"); // what was counted is what is taken back
    b.lock();
    EXPECT_EQ(m_allocator->getMemUsage(), 1600);
    EXPECT_EQ(Access::peak(*m_allocator), 1600);
    EXPECT_EQ(Access::fileIn(*m_allocator), 800);
    a.unlock();
    m_allocator->setMaxDiskUsage(0);
    c.lock();
    EXPECT_FALSE(isSwapped(a));
    a.setNull();
    EXPECT_EQ(Access::fileIn(*m_allocator), 0);
    EXPECT_EQ(Access::peakFileIn(*m_allocator), 800);

    m_allocator->setMaxDiskUsage(1); // tested before each file, against what there is so far
    b.unlock();
    ImageBuffer d = makeOf(800);
    d.lock();
    EXPECT_TRUE(isSwapped(b));
    m_allocator->resetStatistics();
    EXPECT_EQ(Access::peak(*m_allocator), 0);
    EXPECT_EQ(Access::peakDisk(*m_allocator), 800);
    CaptureStderr();
    m_allocator->printStatus(true);
    EXPECT_THAT(
        GetCapturedStderr(),
        testing::MatchesRegex("ImageAllocator: \n   mem usage: 1600\n   max mem usage: 1000\n"
                              "   disk usage: 800\n   max disk usage: 1\n"
                              "   num unlocked images: 0\n   num locked images: 2\n"
                              "      0x[0-9a-f]+\n      0x[0-9a-f]+\n"));
    c.unlock();
    d.unlock();
}

// The folder vanishes; a file stands in its place; it comes back.
TEST_F(ImageAllocatorTest, AFailedSwapOutLosesNothing)
{
    m_allocator->setMaxMemUsage(1600);
    ImageBuffer oldest = makeOf(800), next = makeOf(800);
    fill(oldest, 1);
    fill(next, 2);
    std::filesystem::remove(m_folder);
    for (const bool fileInItsPlace : {false, true})
    {
        if (fileInItsPlace)
            std::ofstream(m_folder).put('x');
        CaptureStderr();
        {
            ImageBuffer image = makeOf(160, "FILEIN.b");
            EXPECT_EQ(failureOf([&] { image.lock(); }), "Saving failed");
            EXPECT_EQ(Access::lockCountOf(image), 1);
            EXPECT_FALSE(image.getImpl()->isInRam());
            EXPECT_THROW(image.lock(), std::bad_alloc); // and not a null pointer for the next user
        }
        EXPECT_THAT(GetCapturedStderr(), HasSubstr("ImageAllocator::SaveToDisk failed\n"));
        EXPECT_EQ(EMULSION::GetError(), EMULSION::ERROR_NONE);
        EXPECT_EQ(m_allocator->getMemUsage(), 1600);
        EXPECT_EQ(Access::fileIn(*m_allocator), 0);
        EXPECT_EQ(Access::unlocked(*m_allocator), 2u);
    }
    std::filesystem::remove(m_folder);
    std::filesystem::create_directory(m_folder);
    ImageBuffer image = makeOf(160);
    fill(image, 3); // each failure has sent one to the back of the list
    EXPECT_TRUE(isSwapped(oldest));
    EXPECT_TRUE(holds(oldest, 1) && holds(next, 2) && holds(image, 3));
}

TEST_F(ImageAllocatorTest, DamagedPixelsFailEveryUserAndStayOutOfTheCache)
{
    ImageBuffer image = makeFor("id", 4096, 5.0f);
    swapOut(image);
    {
        std::fstream file(swapFiles().at(0), std::ios::in | std::ios::out | std::ios::binary);
        file.seekg(-100, std::ios::end);
        const int byte = file.get();
        file.seekp(-100, std::ios::end);
        file.put(char(byte ^ 4));
    }
    const auto use = [](ImageBuffer handle) {
        handle.lock();
        EXPECT_EQ(EMULSION::GetError(), EMULSION::ERROR_FILE_FORMAT);
        EXPECT_THAT(EMULSION::GetErrorMessage(), HasSubstr("lantern_cacheFile"));
        EXPECT_NE(handle.getImage()->pixelPtr, nullptr);
        EMULSION::ClearError();
        handle.unlock();
    };
    image.lock();
    std::thread(use, image).join(); // while it is locked by another one
    image.unlock();
    EMULSION::ClearError();
    use(image);
    EXPECT_EQ(swapFiles().size(), 1u);
    EXPECT_EQ(m_allocator->getDiskUsage(), 4096);
    swapOut(image); // no second file
    EXPECT_EQ(swapFiles().size(), 1u);
    EXPECT_EQ(m_allocator->getDiskUsage(), 4096);
    use(image);
    image.setNull();
    EXPECT_TRUE(find("id").isNull());
}

TEST_F(ImageAllocatorTest, WaitsForABusyVictimWithoutBurningACore)
{
    m_allocator->setMaxMemUsage(2048);
    ImageBuffer oldest = makeOf(1024), younger = makeOf(1024);
    fill(oldest, 1);
    fill(younger, 2);
    std::unique_lock busy(Access::mutexOf(oldest));
    timespec used{};
    std::thread evictor([&] {
        ImageBuffer image = makeOf(1024);
        image.lock();
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
        image.unlock();
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(100)); // the length of the wait
    EXPECT_TRUE(swapFiles().empty());
    busy.unlock();
    evictor.join();
    EXPECT_TRUE(isSwapped(oldest));
    EXPECT_FALSE(isSwapped(younger));
    EXPECT_LT(double(used.tv_sec) + 1e-9 * double(used.tv_nsec), 0.05);
}

// Images of a few sizes come and go at random. As long as what they hold fits the budget nothing is
// written to disk, and what is kept beside it stays within the budget, too.
TEST_F(ImageAllocatorTest, KeptMemoryCountsAsFree)
{
    constexpr int64_t block = PixelBlockPool::smallestKept;
    constexpr long budget = 12 * block;
    m_allocator->setMaxMemUsage(budget);
    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    std::vector<ImageBuffer> images;
    int64_t held = 0, mostKept = 0;
    for (int step = 0; step < 3000; ++step)
    {
        const int64_t size = block * int64_t(1 + random() % 3) - 16;
        if (random() % 2 && held + size <= budget)
        {
            images.push_back(makeOf(size));
            images.back().lock();
            const uint32_t first = *reinterpret_cast<uint32_t*>(images.back().getImage()->pixelPtr);
#ifdef QUILT_POISON_PIXELS
            EXPECT_EQ(first, 0x7fa0deadu); // memory that has been used before, too
#else
            (void)first;
#endif
            images.back().unlock();
            fill(images.back(), uint32_t(step));
            held += size;
        }
        else if (!images.empty())
        {
            const std::size_t index = random() % images.size();
            held -= int64_t(images[index].getSize());
            images.erase(images.begin() + long(index));
        }
        const int64_t kept = m_allocator->getKeptMemory();
        mostKept = std::max(mostKept, kept);
        ASSERT_EQ(m_allocator->getMemUsage(), held);
        ASSERT_LE(held + kept, budget);
        ASSERT_EQ(Access::peakDisk(*m_allocator), 0);
    }
    EXPECT_GT(mostKept, 0);
    images.clear();

    ImageBuffer image = makeOf(block);
    image.lock();
    const float* const pixels = image.getImage()->pixelPtr;
    image.unlock();
    image.setNull();
    ImageBuffer next = makeOf(block);
    next.lock();
    EXPECT_EQ(next.getImage()->pixelPtr, pixels);
    next.unlock();
    m_allocator->clearSpeculativeCache();
    EXPECT_EQ(m_allocator->getKeptMemory(), 0);
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
// Sizes change from phase to phase, so that memory kept for one is in the way of the next.
TEST_F(ImageAllocatorTest, TheProcessStaysWithinTheBudget)
{
    const auto resident = [] {
        long size = 0, pages = 0;
        std::ifstream("/proc/self/statm") >> size >> pages;
        return pages * sysconf(_SC_PAGESIZE);
    };
    constexpr long budget = 64 << 20;
    m_allocator->setMaxMemUsage(budget);
    std::mt19937 random(7);
    const long before = resident();
    long most = 0;
    for (int phase = 0; phase < 8; ++phase)
    {
        const int64_t sizes[] = {int64_t(65536 + 4096 * (random() % 600)),
                                 int64_t(65536 + 4096 * (random() % 600)),
                                 int64_t(65536 + 4096 * (random() % 1500))};
        std::vector<ImageBuffer> images;
        for (int step = 0; step < 100; ++step)
        {
            const int64_t size = sizes[random() % 3];
            while (m_allocator->getMemUsage() + size > budget || random() % 4 == 0)
            {
                if (images.empty())
                    break;
                std::swap(images[random() % images.size()], images.back());
                images.pop_back();
            }
            images.push_back(makeOf(size));
            fill(images.back(), 1);
            most = std::max(most, resident() - before);
        }
    }
    EXPECT_LT(most, budget + budget / 4);
    EXPECT_EQ(Access::peakDisk(*m_allocator), 0);
}
#endif

TEST_F(ImageAllocatorTest, ReportsItsFigures)
{
    ImageBuffer image = makeOf(2048);
    fill(image, 1);
    swapOut(image);
    EXPECT_TRUE(holds(image, 1));
    const XmlElement report = m_allocator->getStatistics(4);
    EXPECT_EQ(report->getName(), "Image Memory Management");
    EXPECT_EQ(*report->findAttr("Peak Memory Usage"), "2 KB");
    EXPECT_EQ(*report->findAttr("Max Memory Allowed"), "256 MB");
    EXPECT_EQ(*report->findAttr("Peak Disk Usage"), "2 KB");
    EXPECT_EQ(*report->findAttr("Tile Swap Count (to disk)"), "1");
    EXPECT_EQ(*report->findAttr("Tile Swap Count (from disk)"), "1");
    EXPECT_EQ(report->getChildren().at(0)->getName(), "Speculative Cache");
    m_allocator->resetStatistics();
    EXPECT_EQ(*m_allocator->getStatistics(4)->findAttr("Tile Swap Time (total)"), "0.00 us");
}
