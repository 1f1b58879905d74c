#include "files/exr/PackedRows.h"

#include "EMULSION/Plumbing.h"
#include "files/exr/SliceBase.h"
#include "files/HalfRows.h"
#include "files/OwnedImage.h"

namespace EMULSION::Private
{

namespace
{

// A slice whose pixel `first` is at `start`, rows going by `yStride`.
Imf::Slice sliceFrom(Imf::PixelType type, const void* start, const Imath::V2i& first,
                     uint64_t xStride, uint64_t yStride)
{
    return Imf::Slice(type, sliceBase(start, first.x, xStride, first.y, yStride), xStride, yStride);
}

}

PackedRows::PackedRows(std::vector<std::string> names, uint64_t channels, bool asHalf)
    : m_names(std::move(names)), m_channels(channels), m_asHalf(asHalf)
{}

uint64_t PackedRows::bytesOfRow(int64_t width) const
{
    return static_cast<uint64_t>(width) * pixelBytes(m_channels);
}

Imf::FrameBuffer PackedRows::frameBuffer(const Image& image, const UTIL::Rect& part,
                                         const Imath::V2i& first)
{
    if (!m_asHalf)
        return frameBufferOfFloats(image, part, first);
    convert(image, part);
    Imf::FrameBuffer buffer;
    const uint64_t pixel = m_names.size() * sizeof(uint16_t);
    const uint64_t row = static_cast<uint64_t>(part.width()) * pixel;
    for (size_t i = 0; i < m_names.size(); ++i)
        buffer.insert(m_names[i], sliceFrom(Imf::HALF, m_halves.data() + i, first, pixel, row));
    return buffer;
}

// A channel without a slice is written as 0.
Imf::FrameBuffer PackedRows::frameBufferOfFloats(const Image& image, const UTIL::Rect& part,
                                                 const Imath::V2i& first) const
{
    Imf::FrameBuffer buffer;
    const float* const corner = pixelOf(image, part.x0, part.y1 - 1);
    for (size_t i = 0, channel = 1; channel <= m_channels; channel <<= 1)
    {
        if (!(m_channels & channel))
            continue;
        if (image.channels & channel)
            buffer.insert(m_names[i],
                          sliceFrom(Imf::FLOAT, corner + channelIndex(image.channels, channel),
                                    first, pixelBytes(image.channels), 0 - image.rowBytes));
        ++i;
    }
    return buffer;
}

// Halves from the top row down.
void PackedRows::convert(const Image& image, const UTIL::Rect& part)
{
    const auto count = static_cast<size_t>(part.width() * channelCount(m_channels));
    m_halves.resize(count * static_cast<size_t>(part.height()));
    const OwnedImage row(m_channels, UTIL::Rect(part.x0, 0, part.x1, 1));
    uint16_t* to = m_halves.data();
    for (int64_t y = part.y1 - 1; y >= part.y0; --y, to += count)
    {
        const float* from = pixelOf(image, part.x0, y);
        if (image.channels != m_channels)
        {
            Image packed = row.image;
            packed.bounds.y0 = y;
            packed.bounds.y1 = y + 1;
            Copy(&packed, &image);
            from = packed.pixelPtr;
        }
        floatsToHalves(to, from, count);
    }
}

}
