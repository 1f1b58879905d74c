#include "images/Images.h"

#include <gmock/gmock.h>

#include <UTIL/Exceptions.h>

using namespace QUILT;
using namespace QUILT::Private;
using testing::HasSubstr;

namespace
{

class HardLimitTest : public AllocatorTest
{};

}

TEST_F(HardLimitTest, StopsEveryAccessToImagesForGood)
{
    Bramble3::BzConfiguration::v1::Config().set("LANTERN_HARD_MEMORY_LIMIT", "");
    m_allocator->setMaxMemUsage(1600);
    ImageBuffer swapped = makeOf(800), locked = makeOf(800), other = makeOf(800);
    fill(swapped, 1);
    locked.lock();
    fill(other, 2); // room is made by swapping, which the limit does not forbid
    ASSERT_TRUE(isSwapped(swapped));
    other.lock();

    ImageBuffer last = makeOf(16, "FILEIN.x");
    testing::internal::CaptureStderr();
    EXPECT_THROW(last.lock(), UTIL::OutOfMemoryException);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                testing::AllOf(HasSubstr("   mem usage: 1616\n"),
                               HasSubstr("   num locked images: 2\n      0x"),
                               HasSubstr("Out of Memory: ImageAllocator overran available memory. "
                                         "at src/renderSystem/images/ImageAllocator:")));
    EXPECT_EQ(m_allocator->getMemUsage(), 1600);
    EXPECT_EQ(Access::fileIn(*m_allocator), 0);

    EXPECT_THROW(locked.getImage(), UTIL::OutOfMemoryException);
    EXPECT_THROW(makeOf(16), UTIL::OutOfMemoryException);
    locked.unlock();
    EXPECT_THROW(swapped.lock(),
                 UTIL::OutOfMemoryException); // there is a victim, not to be written
    EXPECT_EQ(m_allocator->getMemUsage(), 1600);
    EXPECT_EQ(Access::unlocked(*m_allocator), 1u);
    other.unlock();
}
