#include "images/Images.h"

#include <atomic>
#include <cerrno>
#include <malloc.h>
#include <new>

using namespace QUILT;
using namespace QUILT::Private;

namespace
{

std::atomic<int> s_failures{0}; // so many of the next calls fail

class MemoryFaultTest : public AllocatorTest
{};

}

extern "C" int posix_memalign(void** block, std::size_t alignment, std::size_t size) noexcept
{
    if (s_failures > 0)
    {
        --s_failures;
        return ENOMEM;
    }
    *block = memalign(alignment, size);
    return *block ? 0 : ENOMEM;
}

TEST_F(MemoryFaultTest, KeptMemoryGoesBeforeAnAllocationFails)
{
    constexpr int64_t block = PixelBlockPool::smallestKept;
    ImageBuffer first = makeOf(block);
    fill(first, 1);
    first.setNull();
    ASSERT_EQ(m_allocator->getKeptMemory(), block);
    ImageBuffer other = makeOf(3 * block);
    s_failures = 1;
    fill(other, 2);
    EXPECT_EQ(s_failures, 0);
    EXPECT_EQ(m_allocator->getKeptMemory(), 0);
    EXPECT_TRUE(holds(other, 2));
}

TEST_F(MemoryFaultTest, AnImageWithoutMemoryLeavesNoTrace)
{
    m_allocator->setMaxMemUsage(1024);
    ImageBuffer swapped = makeOf(1024), next = makeOf(1024, "FILEIN.x");
    fill(swapped, 1);
    s_failures = 2;
    EXPECT_THROW(next.lock(), std::bad_alloc);
    EXPECT_FALSE(next.getImpl()->isInRam());
    EXPECT_EQ(m_allocator->getMemUsage(), 0); // room had been made for it
    EXPECT_EQ(Access::fileIn(*m_allocator), 0);
    next.setNull();

    ASSERT_TRUE(isSwapped(swapped));
    ImageBuffer other = swapped;
    s_failures = 2;
    EXPECT_THROW(swapped.lock(), std::bad_alloc);
    EXPECT_THROW(other.lock(), std::bad_alloc); // nor does its other user get a null pointer
    EXPECT_EQ(swapFiles().size(), 1u);
    EXPECT_EQ(m_allocator->getDiskUsage(), 1024);
}
