#pragma once

#include <vector>

#include "EMULSION/Image.h"
#include "files/OwnedImage.h"

namespace EMULSION::Private
{

/// Smaller versions of a picture whose rows come one by one from the top: each of half the size,
/// rounded down, of the one before. A pixel is the mean of what it covers of the level before,
/// where sides are odd with parts of pixels (a box filter).
class MipLevels
{
public:
    MipLevels(uint64_t channels, int64_t width, int64_t height);

    /// The next row of the full picture.
    void add(const float* row);

    /// Level 1 and up, when all rows have come. Its bounds begin at (0, 0).
    const Image& level(int number) const
    {
        return m_levels[static_cast<size_t>(number - 1)].pixels.image;
    }

private:
    struct Level
    {
        Level(uint64_t channels, int64_t sourceWidth_, int64_t sourceHeight_);

        OwnedImage pixels;
        int64_t sourceWidth, sourceHeight; // of the level before
        int64_t sourceRow = 0;             // the next to come
        std::vector<float> narrowed;       // a row of the level before, at our width
    };

    void addTo(size_t index, const float* row);

    std::vector<Level> m_levels;
};

}
