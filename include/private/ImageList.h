#pragma once

#include <cstddef>

#include "QUILT/ImageBuffer.h"

namespace QUILT::Private
{

/// An image's place in one of the allocator's lists.
struct ImageLink
{
    explicit ImageLink(ImageBuffer::Impl* image_) : image(image_) {}
    ImageLink(const ImageLink&) = delete;
    ImageLink& operator=(const ImageLink&) = delete;

    bool isListed() const { return next != nullptr; }

    ImageBuffer::Impl* const image;
    ImageLink* previous = nullptr;
    ImageLink* next = nullptr;
};

/// Images in the order in which they were appended. It links what stands in the images, so that
/// appending and removing neither search nor allocate, however many images there are.
///
/// Not locked; a link is guarded like the list that it is in.
class ImageList
{
public:
    ImageList() { m_ends.previous = m_ends.next = &m_ends; }

    bool isEmpty() const { return m_size == 0; }
    std::size_t size() const { return m_size; }
    ImageBuffer::Impl* front() const { return m_ends.next->image; } ///< null when empty

    void append(ImageLink& link)
    {
        link.previous = m_ends.previous;
        link.next = &m_ends;
        link.previous->next = link.next->previous = &link;
        ++m_size;
    }

    /// A link that is not listed stays so.
    void remove(ImageLink& link)
    {
        if (!link.isListed())
            return;
        link.previous->next = link.next;
        link.next->previous = link.previous;
        link.previous = link.next = nullptr;
        --m_size;
    }

    void forEach(const auto& visit) const
    {
        for (const ImageLink* link = m_ends.next; link != &m_ends; link = link->next)
            visit(link->image);
    }

private:
    ImageLink m_ends{nullptr}; // closes the ring
    std::size_t m_size = 0;
};

}
