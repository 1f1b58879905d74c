#pragma once

#include <EMULSION/Channels.h>
#include <EMULSION/Error.h>
#include <EMULSION/Image.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/Random.h"

namespace EMULSION
{

inline void PrintTo(const Image& image, std::ostream* stream)
{
    *stream << GetChannelMaskName(image.channels) << " " << testing::PrintToString(image.bounds)
            << ", rows " << image.rowBytes;
}

}

namespace EmulsionTest
{

using EMULSION::Image;
using UTIL::Rect;

using QUILT::Test::Random;

/// Any bits, so many NaNs, infinities, denormals and negative zeros are among them.
inline float anyFloat(Random& random)
{
    static constexpr uint32_t special[] = {0x7fc00001, 0xff800001, 0x80000000, 0x00000001};
    return std::bit_cast<float>(random.oneIn(8) ? special[random.between(0, 3)]
                                                : static_cast<uint32_t>(random.bits()));
}

/// An image in the middle of a block of random floats, with an odd start and gaps between its rows.
/// All of the block is compared, so that a stray write is found wherever it lands.
class TestImage
{
public:
    TestImage(Random& random, uint64_t channels, const Rect& bounds)
    {
        const int64_t rowFloats = std::popcount(channels) * bounds.width() + random.between(0, 3);
        const int64_t start = random.between(1, 9);
        // Often nothing behind the last row, so that the address sanitizer sees who reads there.
        const int64_t size = rowFloats * (bounds.height() - 1) +
                             std::popcount(channels) * bounds.width() +
                             random.between(0, 1) * random.between(1, 9);
        m_floats.resize(static_cast<size_t>(start + std::max<int64_t>(size, 0)));
        for (float& value : m_floats)
            value = anyFloat(random);
        image.channels = channels;
        image.bounds = bounds;
        image.rowBytes = static_cast<uint64_t>(rowFloats) * sizeof(float);
        image.pixelPtr = m_floats.data() + start;
    }
    TestImage(const TestImage&) = delete;
    TestImage& operator=(const TestImage&) = delete;

    const std::vector<float>& floats() const { return m_floats; }
    void setFloat(size_t place, float value) { m_floats[place] = value; }

    /// The place in floats() of a channel of a pixel; -1 when there is none.
    int64_t find(int64_t x, int64_t y, uint64_t channel) const
    {
        const Rect& b = image.bounds;
        if (!(image.channels & channel) || x < b.x0 || x >= b.x1 || y < b.y0 || y >= b.y1)
            return -1;
        return image.pixelPtr - m_floats.data() +
               (y - b.y0) * static_cast<int64_t>(image.rowBytes / sizeof(float)) +
               (x - b.x0) * std::popcount(image.channels) +
               std::popcount(image.channels & (channel - 1));
    }

    Image image;

private:
    std::vector<float> m_floats;
};

/// Calls visit(x, y, channel, place) for each float of the image, `place` being its index in
/// floats().
template <class Visit>
void forEachFloat(const TestImage& image, const Visit& visit)
{
    const Rect& bounds = image.image.bounds;
    for (int64_t y = bounds.y0; y < bounds.y1; ++y)
        for (int64_t x = bounds.x0; x < bounds.x1; ++x)
            for (int channel = 0; channel < 4; ++channel)
                if (const int64_t place = image.find(x, y, uint64_t(1) << channel); place >= 0)
                    visit(x, y, channel, static_cast<size_t>(place));
}

inline bool sameBits(const std::vector<float>& a, const std::vector<float>& b)
{
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

/// Checks the pending error and that its text holds `text`, and clears it.
inline void expectError(EMULSION::Error code, const std::string& text)
{
    EXPECT_EQ(EMULSION::GetError(), code) << EMULSION::GetErrorMessage();
    EXPECT_NE(EMULSION::GetErrorMessage().find(text), std::string::npos)
        << "\"" << EMULSION::GetErrorMessage() << "\" lacks \"" << text << "\"";
    EMULSION::ClearError();
}

}
