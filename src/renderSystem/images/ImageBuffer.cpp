#include "QUILT/ImageBuffer.h"

#include <utility>

#include "private/Assert.h"
#include "private/ImageAllocator.h"
#include "private/ImageBuffer_Imp.h"

namespace QUILT
{

ImageBuffer::ImageBuffer(unsigned long channels, const UTIL::Rect& bounds,
                         const std::string& comment, unsigned long originalChannels)
    : m_impl(new Impl(channels, bounds, comment, Private::ImageAllocator::instance(),
                      originalChannels))
{
    m_impl->addReference();
}

ImageBuffer::ImageBuffer(const ref_ptr<Impl>& impl) : m_impl(impl.get())
{
    if (m_impl)
        m_impl->addReference();
}

ImageBuffer::ImageBuffer(const ImageBuffer& other) : m_impl(other.m_impl)
{
    if (m_impl)
        m_impl->addReference();
}

ImageBuffer::ImageBuffer(ImageBuffer&& other) noexcept
    : m_impl(std::exchange(other.m_impl, nullptr))
{}

ImageBuffer& ImageBuffer::operator=(const ImageBuffer& other)
{
    ImageBuffer copy(other);
    std::swap(m_impl, copy.m_impl);
    return *this;
}

ImageBuffer& ImageBuffer::operator=(ImageBuffer&& other) noexcept
{
    ImageBuffer moved(std::move(other));
    std::swap(m_impl, moved.m_impl);
    return *this;
}

ImageBuffer::~ImageBuffer()
{
    setNull();
}

void ImageBuffer::setNull()
{
    if (Impl* const impl = std::exchange(m_impl, nullptr))
        impl->releaseReference();
}

void ImageBuffer::lock()
{
    QUILT_ASSERT(m_impl);
    m_impl->lock();
}

void ImageBuffer::unlock()
{
    QUILT_ASSERT(m_impl);
    m_impl->unlock();
}

EMULSION::Image* ImageBuffer::getImage() const
{
    QUILT_ASSERT(m_impl);
    return m_impl->getImage();
}

void ImageBuffer::setComment(const std::string& comment)
{
    QUILT_ASSERT(m_impl);
    m_impl->setComment(comment);
}

unsigned long ImageBuffer::getChannels() const
{
    QUILT_ASSERT(m_impl);
    return m_impl->getChannels();
}

unsigned long ImageBuffer::getOriginalChannels() const
{
    QUILT_ASSERT(m_impl);
    return m_impl->getOriginalChannels();
}

UTIL::Rect ImageBuffer::getBounds() const
{
    QUILT_ASSERT(m_impl);
    return m_impl->getBounds();
}

std::string ImageBuffer::getComment() const
{
    return m_impl ? m_impl->getComment() : "unallocated image buffer";
}

std::size_t ImageBuffer::getSize() const
{
    return m_impl ? m_impl->getSize() : 0;
}

}
