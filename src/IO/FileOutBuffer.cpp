#include "FileOutBuffer.h"

#include <algorithm>
#include <ranges>

#include <EMULSION/Plumbing.h>

#include "private/ImageLock.h"
#include "QUILT/Exceptions.h"

namespace QUILT::Private
{

namespace
{

// A band is about so many pixels: enough for large writes, few against any budget.
constexpr int64_t s_pixelsOfBand = 1 << 19;

}

FileOutBuffer::FileOutBuffer(unsigned long channels, const UTIL::Rect& bounds,
                             const Imath::Color4<float>& background, const UTIL::Region& covered)
    : m_bounds(bounds), m_background(background), m_covered(covered),
      m_rows(std::max<int64_t>(s_pixelsOfBand / bounds.width(), 1))
{
    for (int64_t y = bounds.y0; y < bounds.y1; y += m_rows)
    {
        auto band = std::make_unique<Band>();
        const UTIL::Rect rows(bounds.x0, y, bounds.x1, std::min(y + m_rows, bounds.y1));
        band->image = ImageBuffer(channels, rows, "FileOutBuffer", 15);
        m_bands.push_back(std::move(band));
    }
}

void FileOutBuffer::add(const EMULSION::Image* tile)
{
    const UTIL::Rect common = tile->bounds.intersect(m_bounds);
    if (common.isNull())
        return;
    const int64_t first = (common.y0 - m_bounds.y0) / m_rows;
    const int64_t last = (common.y1 - 1 - m_bounds.y0) / m_rows;
    for (int64_t i = first; i <= last; ++i)
    {
        Band& band = *m_bands[static_cast<size_t>(i)];
        const ImageLock lock(band.image);
        std::call_once(band.prepared, [&] { prepare(band); });
        EMULSION::CopyInto(lock.image(), tile);
    }
}

// Before the first tile, and only where tiles leave something: the band is locked.
void FileOutBuffer::prepare(Band& band)
{
    if (!m_covered.contains(band.image.getBounds()))
        EMULSION::Fill(band.image.getImage(), m_background.getValue());
}

void FileOutBuffer::write(EMULSION::WriteImageFunction& writer)
{
    for (const std::unique_ptr<Band>& band : m_bands | std::views::reverse)
    {
        {
            const ImageLock lock(band->image);
            std::call_once(band->prepared, [&] { prepare(*band); });
            CheckError();
            writer(lock.image());
            CheckError();
        }
        band->image.setNull();
    }
}

}
