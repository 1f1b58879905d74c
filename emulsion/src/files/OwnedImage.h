#pragma once

#include <memory>

#include "EMULSION/Image.h"
#include "Rows.h"

namespace EMULSION::Private
{

/// An image with memory of its own, which is not cleared.
struct OwnedImage
{
    OwnedImage(uint64_t channels, const UTIL::Rect& bounds)
    {
        const auto width = static_cast<uint64_t>(bounds.width());
        image.channels = channels;
        image.bounds = bounds;
        image.rowBytes = width * pixelBytes(channels);
        floats = std::make_unique_for_overwrite<float[]>(image.rowBytes / sizeof(float) *
                                                         static_cast<uint64_t>(bounds.height()));
        image.pixelPtr = floats.get();
    }

    Image image;
    std::unique_ptr<float[]> floats;
};

}
