#include "images/Images.h"

#include <limits>
#include <new>
#include <sstream>

#include <gmock/gmock.h>

using namespace QUILT;
using namespace QUILT::Private;
using testing::HasSubstr;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;
using UTIL::Rect;

namespace
{

class ImageBufferTest : public AllocatorTest
{};

}

TEST_F(ImageBufferTest, CountsRowsRoundedUpTo16Bytes)
{
    EXPECT_EQ(make(Rect(0, 0, 1, 3)).getSize(), 48u);
    const ImageBuffer rgb(ref_ptr<ImageBuffer::Impl>(
        new ImageBuffer::Impl(7, Rect(-2, -3, 3, -1), "five pixels", m_allocator.get(), 15)));
    EXPECT_EQ(rgb.getSize(), 128u);
    EXPECT_EQ(rgb.getChannels(), 7u);
    EXPECT_EQ(rgb.getOriginalChannels(), 15u);
    EXPECT_EQ(rgb.getBounds(), Rect(-2, -3, 3, -1));
    EXPECT_EQ(rgb.getComment(), "five pixels");
    EXPECT_EQ(ImageBuffer().getComment(), "unallocated image buffer");
    EXPECT_EQ(ImageBuffer().getSize(), 0u);
}

TEST_F(ImageBufferTest, OfNoBytesTakesPartWithoutMemory)
{
    const int64_t far = int64_t(1) << 60;
    for (const Rect& bounds : {Rect(0, 0, 0, 5), Rect(0, 0, 5, 0), Rect(5, 5, 0, 0),
                               Rect(5, 0, 0, 5), Rect(-far, 0, far, 0)})
    {
        ImageBuffer image = make(bounds);
        EXPECT_EQ(image.getSize(), 0u);
        EXPECT_EQ(image.getImage()->pixelPtr, nullptr);
        image.lock();
        EXPECT_EQ(Access::lockCountOf(image), 0);
        EXPECT_EQ(Access::locked(*m_allocator), 0u);
        image.unlock();
        image.unlock();
    }
}

TEST_F(ImageBufferTest, TooLargeOrOfAnImpossibleMaskIsRefused)
{
    const int64_t side = int64_t(1) << 40;
    const int64_t lowest = std::numeric_limits<int64_t>::min();
    for (const Rect& bounds : {Rect(0, 0, side, side), Rect(-side, 0, side, 3),
                               Rect(0, lowest, 1, 9), Rect(lowest, 0, 9, 1)})
    {
        CaptureStderr();
        EXPECT_THROW(make(bounds), std::bad_alloc) << bounds;
        EXPECT_THAT(GetCapturedStderr(),
                    HasSubstr(std::to_string(uint64_t(bounds.width())) + " by " +
                              std::to_string(uint64_t(bounds.height())) + " pixels"));
    }
    CaptureStderr();
    EXPECT_THAT(
        failureOf([&] { new ImageBuffer::Impl(16, Rect(0, 0, 1, 1), "", m_allocator.get(), 15); }),
        HasSubstr("assertion(EMULSION::IsChannelMaskValid(imgChannels)) failed at "
                  "src/renderSystem/images/ImageBuffer_Imp:"));
    EXPECT_THAT(GetCapturedStderr(), HasSubstr("Invalid Channel Mask 16\n"));

    EMULSION::SetError(EMULSION::ERROR_FILE_READ, "what came before");
    EXPECT_EQ(failureOf([&] { make(Rect(0, 0, 1, 1)); }), "what came before");
    EXPECT_EQ(EMULSION::GetError(), EMULSION::ERROR_NONE);
}

TEST_F(ImageBufferTest, LocksAddUp)
{
    ImageBuffer image = makeOf(64);
    EXPECT_THAT(failureOf([&] { image.getImage(); }),
                HasSubstr("m_lockCount > 0 || m_isEmptyImage"));
    image.lock();
    image.lock();
    EXPECT_NE(image.getImage()->pixelPtr, nullptr);
    image.unlock();
    EXPECT_EQ(Access::locked(*m_allocator), 1u);
    EXPECT_EQ(Access::unlocked(*m_allocator), 0u);
    image.unlock();
    EXPECT_EQ(Access::locked(*m_allocator), 0u);
    EXPECT_EQ(Access::unlocked(*m_allocator), 1u);
    EXPECT_THAT(failureOf([&] { image.unlock(); }), HasSubstr("assertion(m_lockCount > 0)"));
    EXPECT_EQ(Access::lockCountOf(image), 0);
    std::ostringstream text;
    *image.getImpl() << text;
    EXPECT_THAT(text.str(), testing::MatchesRegex("Buf: 0x[0-9a-f]+ lockCount: 0 comment: "));

    EXPECT_THAT(failureOf([&] { m_allocator->addToUnlocked(image.getImpl()); }),
                HasSubstr("find(m_unlockedImages, image) == m_unlockedImages.end()"));
    image.lock();
    EXPECT_THAT(failureOf([&] { m_allocator->addToLocked(image.getImpl()); }),
                HasSubstr("find(m_lockedImages, image) == m_lockedImages.end()"));
    CaptureStderr();
    image.setNull(); // locked, and freed all the same
    EXPECT_THAT(GetCapturedStderr(), HasSubstr("ImageBuffer destroyed but lock count > 0"));
}

TEST_F(ImageBufferTest, HandlesCountOwners)
{
    ImageBuffer image = makeOf(16);
    const ImageBuffer::Impl* const impl = image.getImpl();
    {
        ImageBuffer copy(image), moved(std::move(copy)), assigned;
        assigned = moved;
        EXPECT_EQ(impl->refCount(), 3);
        ImageBuffer& itself = assigned;
        assigned = itself;
        assigned = std::move(itself);
        EXPECT_EQ(assigned.getImpl(), impl);
        EXPECT_TRUE(copy.isNull()); // NOLINT(clang-analyzer-cplusplus.Move)
        moved.setNull();
        EXPECT_EQ(impl->refCount(), 2);
    }
    EXPECT_EQ(impl->refCount(), 1);
    EXPECT_TRUE(ImageBuffer(ref_ptr<ImageBuffer::Impl>()).isNull());
}
