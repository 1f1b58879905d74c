#include "images/Images.h"

#include <array>
#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <random>
#include <stdexcept>
#include <thread>

#include <sys/mount.h>

#include <Bramble3/Log.h>

#include "support/FileSizeLimit.h"

using namespace QUILT;
using namespace QUILT::Private;

namespace
{

constexpr int s_threadCount = 8;

class ImageStressTest : public AllocatorTest
{
protected:
    using Work = std::function<void(std::mt19937&)>;

    // Repeats the work of every thread for some time. `makeWork` makes the work of one thread, with
    // what it holds, and is called on it.
    void run(const std::function<Work(int)>& makeWork)
    {
        const char* const seconds = std::getenv("QUILT_STRESS_SECONDS");
        const auto end =
            std::chrono::steady_clock::now() +
            std::chrono::milliseconds(int(1000 * (seconds ? std::atof(seconds) : 2.0)));
        const char* const given = std::getenv("QUILT_TEST_SEED");
        const unsigned seed = given ? unsigned(std::atol(given)) : std::random_device()();
        SCOPED_TRACE("QUILT_TEST_SEED=" + std::to_string(seed));
        {
            std::vector<std::jthread> threads;
            for (int index = 0; index < s_threadCount; ++index)
                threads.emplace_back([&, index] {
                    std::mt19937 random(seed + unsigned(index));
                    const Work work = makeWork(index);
                    while (std::chrono::steady_clock::now() < end)
                        work(random);
                });
        }
        EXPECT_EQ(m_wrongImages, 0);
    }

    void expectHolds(ImageBuffer& image, uint32_t seed)
    {
        if (!holds(image, seed))
            ++m_wrongImages;
    }

    // What one thread does with images of its own: it makes, checks, overwrites and drops them. A
    // lock that fails costs the image and counts.
    Work workOnOwnImages(std::size_t mostImages, int64_t mostBytes)
    {
        auto images = std::make_shared<std::map<uint32_t, ImageBuffer>>();
        return [=, this](std::mt19937& random) {
            const uint32_t seed = uint32_t(random());
            if (images->size() < mostImages)
            {
                ImageBuffer image = makeOf(16 * int64_t(1 + random() % (mostBytes / 16)),
                                           random() % 2 ? "FILEIN.x" : "");
                if (attempt([&] { fill(image, seed); }))
                    images->emplace(seed, image);
                return;
            }
            const auto chosen = std::next(images->begin(), long(random() % images->size()));
            ImageBuffer image = chosen->second;
            const bool survived = attempt([&] { expectHolds(image, chosen->first); });
            if (!survived || random() % 4 == 0)
                images->erase(chosen);
        };
    }

    bool attempt(const std::function<void()>& work)
    {
        try
        {
            work();
            return true;
        }
        catch (const std::runtime_error& failure)
        {
            EXPECT_STREQ(failure.what(), "Saving failed");
            ++m_failures;
            return false;
        }
    }

    std::atomic<long> m_wrongImages{0};
    std::atomic<long> m_failures{0};
};

}

TEST_F(ImageStressTest, PixelsComeBackAsTheyWere)
{
    m_allocator->setMaxMemUsage(1 << 18);
    run([this](int) { return workOnOwnImages(12, 100000); });
    EXPECT_EQ(m_failures, 0);
    EXPECT_GT(Access::peakDisk(*m_allocator), 0);
}

// Handles to the same few images are copied, dropped, locked and replaced, in memory for three.
TEST_F(ImageStressTest, HandlesAreSharedByAllThreads)
{
    struct Slot
    {
        std::mutex mutex;
        ImageBuffer image;
        uint32_t seed = 0;
    };
    constexpr int64_t size = PixelBlockPool::smallestKept;
    m_allocator->setMaxMemUsage(3 * size);
    std::array<Slot, 6> slots;
    run([&](int) {
        return [&](std::mt19937& random) {
            Slot& slot = slots[random() % slots.size()];
            ImageBuffer image;
            uint32_t seed = uint32_t(random());
            if (random() % 8 == 0)
            {
                image = makeOf(size);
                fill(image, seed);
                const std::lock_guard lock(slot.mutex);
                std::swap(slot.image, image);
                slot.seed = seed;
                return;
            }
            {
                const std::lock_guard lock(slot.mutex);
                image = slot.image;
                seed = slot.seed;
            }
            if (!image.isNull())
                expectHolds(image, seed);
        };
    });
    EXPECT_GT(Access::peakDisk(*m_allocator), 0);
}

TEST_F(ImageStressTest, TheCacheIsFilledSearchedRankedAndClearedAtOnce)
{
    m_allocator->setMaxMemUsage(1 << 17);
    std::atomic<long> found{0};
    run([&](int index) -> Work {
        if (index == 0)
            return [&](std::mt19937& random) {
                m_allocator->updateCachePriorities({{"task", float(random() % 3)}}, 0.0f);
                m_allocator->getSpeculativeCacheContents();
                m_allocator->getStatistics(2);
                if (random() % 50 == 0)
                    m_allocator->clearSpeculativeCache();
                m_allocator->setSpeculativeCachingEnable(random() % 10 != 0);
            };
        return [&](std::mt19937& random) {
            const std::string id = "id" + std::to_string(random() % 40);
            ImageBuffer image = find(id);
            if (image.isNull())
                image = makeFor(id, 8192, float(random() % 4));
            else
                ++found;
            expectHolds(image, uint32_t(std::hash<std::string>()(id)));
        };
    });
    EXPECT_GT(found, 0);
}

// A swap folder of 1 MiB, where that can be had, or files of at most 64 KiB: writing fails now and
// then, and what fails is told.
TEST_F(ImageStressTest, ADiskThatFillsUpLosesNoPixels)
{
    const bool isMounted = mount("tmpfs", m_folder.c_str(), "tmpfs", 0, "size=1m") == 0;
    std::optional<QUILT::Test::FileSizeLimit> limit;
    if (!isMounted)
        limit.emplace(65536);
    Bramble3::internal::BzLogging::setSink([](const std::string&, const std::string&, int) {});
    testing::internal::CaptureStderr();
    m_allocator->setMaxMemUsage(1 << 19);
    run([this](int) { return workOnOwnImages(4, 100000); });
    testing::internal::GetCapturedStderr();
    Bramble3::internal::BzLogging::setSink({});
    EXPECT_GT(m_failures, 0);
    EXPECT_EQ(swapFiles().size(), 0u);
    limit.reset();
    if (isMounted)
    {
        EXPECT_EQ(umount(m_folder.c_str()), 0);
    }
}
