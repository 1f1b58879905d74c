#pragma once

#include "QUILT/ImageBuffer.h"

namespace QUILT::Private
{

/// Keeps an image's pixels in memory for a scope, exceptions included.
class ImageLock
{
public:
    explicit ImageLock(ImageBuffer image) : m_image(std::move(image)) { m_image.lock(); }
    ~ImageLock() { m_image.unlock(); }
    ImageLock(const ImageLock&) = delete;
    ImageLock& operator=(const ImageLock&) = delete;

    const EMULSION::Image* image() const { return m_image.getImage(); }

private:
    ImageBuffer m_image;
};

}
