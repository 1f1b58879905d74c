#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include <EMULSION/WriteImage.h>
#include <ImathColor.h>

#include "QUILT/ImageBuffer.h"
#include "UTIL/Region.h"

namespace QUILT::Private
{

/// A picture on its way into a file, in bands of rows: each is an image of its own, locked only
/// while a tile is copied into it, so that a picture larger than the memory budget waits in swap
/// files.
class FileOutBuffer
{
public:
    /// \param bounds      of the picture, not null
    /// \param background  what no tile covers
    /// \param covered     what tiles are going to cover
    FileOutBuffer(unsigned long channels, const UTIL::Rect& bounds,
                  const Imath::Color4<float>& background, const UTIL::Region& covered);

    /// Copies a tile's pixels. Any number of threads may, with tiles that do not overlap.
    void add(const EMULSION::Image* tile);

    /// Hands the picture to the writer from the top down, giving up its memory on the way.
    void write(EMULSION::WriteImageFunction& writer);

private:
    struct Band
    {
        ImageBuffer image;
        std::once_flag prepared;
    };

    void prepare(Band& band);

    const UTIL::Rect m_bounds;
    const Imath::Color4<float> m_background;
    const UTIL::Region m_covered;
    int64_t m_rows; // of a band; the last may have fewer
    std::vector<std::unique_ptr<Band>> m_bands;
};

}
