#pragma once

#include <string>
#include <vector>

#include <ImathVec.h>
#include <ImfFrameBuffer.h>

#include "EMULSION/Image.h"

namespace EMULSION::Private
{

/// Rows of an image in the pixel type of a file: OpenEXR writes what it gets, unconverted.
class PackedRows
{
public:
    /// `names` are the file's for the channels of the mask.
    PackedRows(std::vector<std::string> names, uint64_t channels, bool asHalf);

    /// Places for the pixels of `part` of the image, its upper left one being `first` in the file.
    /// Floats that stand as they should stay where they are; others are kept here until the next
    /// call. Channels that the image lacks are 0.
    Imf::FrameBuffer frameBuffer(const Image& image, const UTIL::Rect& part,
                                 const Imath::V2i& first);

    uint64_t bytesOfRow(int64_t width) const;

private:
    Imf::FrameBuffer frameBufferOfFloats(const Image& image, const UTIL::Rect& part,
                                         const Imath::V2i& first) const;
    void convert(const Image& image, const UTIL::Rect& part);

    const std::vector<std::string> m_names;
    const uint64_t m_channels;
    const bool m_asHalf;
    std::vector<uint16_t> m_halves;
};

}
