#include "files/exr/MipLevels.h"

#include <algorithm>

#include "EMULSION/Plumbing.h"

namespace EMULSION::Private
{

namespace
{

int64_t halved(int64_t side)
{
    return std::max<int64_t>(side / 2, 1);
}

// Calls add(i, weight) for the places among `count` that the place `at` among `sourceCount` covers,
// the weights of all that fall on one place summing to 1.
void forEachCovered(int64_t at, int64_t sourceCount, int64_t count, const auto& add)
{
    // In units of 1 / count of a source pixel: a source pixel is `count` long, ours sourceCount.
    const int64_t begin = at * count, end = begin + count;
    for (int64_t i = begin / sourceCount; i * sourceCount < end; ++i)
    {
        const int64_t covered =
            std::min(end, (i + 1) * sourceCount) - std::max(begin, i * sourceCount);
        add(i, static_cast<float>(covered) / static_cast<float>(sourceCount));
    }
}

}

MipLevels::Level::Level(uint64_t channels, int64_t sourceWidth_, int64_t sourceHeight_)
    : pixels(channels, UTIL::Rect(0, 0, halved(sourceWidth_), halved(sourceHeight_))),
      sourceWidth(sourceWidth_), sourceHeight(sourceHeight_),
      narrowed(static_cast<size_t>(pixels.image.bounds.width() * channelCount(channels)))
{
    Clear(&pixels.image);
}

MipLevels::MipLevels(uint64_t channels, int64_t width, int64_t height)
{
    for (; width > 1 || height > 1; width = halved(width), height = halved(height))
        m_levels.emplace_back(channels, width, height);
}

void MipLevels::add(const float* row)
{
    if (!m_levels.empty())
        addTo(0, row);
}

void MipLevels::addTo(size_t index, const float* row)
{
    Level& level = m_levels[index];
    const Image& image = level.pixels.image;
    const int64_t channels = channelCount(image.channels);
    std::fill(level.narrowed.begin(), level.narrowed.end(), 0.0f);
    for (int64_t x = 0; x < level.sourceWidth; ++x)
        forEachCovered(x, level.sourceWidth, image.bounds.width(), [&](int64_t to, float weight) {
            for (int64_t c = 0; c < channels; ++c)
                level.narrowed[static_cast<size_t>(to * channels + c)] +=
                    weight * row[x * channels + c];
        });
    const int64_t height = image.bounds.height();
    forEachCovered(level.sourceRow, level.sourceHeight, height, [&](int64_t to, float weight) {
        float* const sum = rowOf(image, height - 1 - to);
        for (size_t i = 0; i < level.narrowed.size(); ++i)
            sum[i] += weight * level.narrowed[i];
    });
    // Which rows are whole now: those that end where this row of the level before ends, or before.
    const int64_t before = level.sourceRow * height / level.sourceHeight;
    const int64_t now = ++level.sourceRow * height / level.sourceHeight;
    if (index + 1 < m_levels.size())
        for (int64_t to = before; to < now; ++to)
            addTo(index + 1, rowOf(image, height - 1 - to));
}

}
