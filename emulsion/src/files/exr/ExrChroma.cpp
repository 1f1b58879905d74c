#include "files/exr/ExrChroma.h"

#include <algorithm>
#include <memory>
#include <vector>

#include <ImathFun.h>
#include <ImfRgbaYca.h>
#include <ImfStandardAttributes.h>

#include "files/ChannelNames.h"
#include "files/exr/SliceBase.h"
#include "Rows.h"

namespace EMULSION::Private
{

namespace
{

using Imf::Rgba;

// Rows of half pixels of a part, with room for what the horizontal filter needs on both sides. Red
// and blue hold the chroma, green the luminance.
class ChromaRows
{
public:
    ChromaRows(Imf::InputPart& input, const ExrPart& part, int first, int last)
        : m_window(part.header().dataWindow()), m_width(m_window.max.x - m_window.min.x + 1),
          m_first(first), m_stride(m_width + 2 * s_pad),
          m_pixels(static_cast<size_t>(m_stride) * static_cast<size_t>(last - first + 1))
    {
        read(input, part, last);
        std::vector<Rgba> scratch(static_cast<size_t>(m_width));
        for (int y = first; y <= last; ++y)
            if (y % 2 == 0)
                fillRow(row(y), scratch.data());
    }

    int width() const { return m_width; }

    // The first pixel of a row; beyond the data window that of the nearest one with chroma.
    Rgba* row(int y)
    {
        const int inside = y < m_window.min.y   ? m_window.min.y
                           : y > m_window.max.y ? m_window.max.y - 1
                                                : y;
        return m_pixels.data() + static_cast<ptrdiff_t>(inside - m_first) * m_stride + s_pad;
    }

private:
    static constexpr int s_pad = Imf::RgbaYca::N2;

    void read(Imf::InputPart& input, const ExrPart& part, int last)
    {
        const auto& names = part.picture().description.channelNames;
        const auto found = findLuminanceChroma(names).value();
        const size_t pixel = sizeof(Rgba), line = static_cast<size_t>(m_stride) * pixel;
        const auto base = [&](const void* place) {
            return sliceBase(place, m_window.min.x, pixel, m_first, line);
        };
        Rgba* const start = m_pixels.data() + s_pad;
        Imf::FrameBuffer buffer;
        buffer.insert(names[found[0]], Imf::Slice(Imf::HALF, base(&start->g), pixel, line));
        buffer.insert(names[found[1]],
                      Imf::Slice(Imf::HALF, base(&start->r), 2 * pixel, 2 * line, 2, 2));
        buffer.insert(names[found[2]],
                      Imf::Slice(Imf::HALF, base(&start->b), 2 * pixel, 2 * line, 2, 2));
        input.setFrameBuffer(buffer);
        input.readPixels(m_first, last);
    }

    void fillRow(Rgba* pixels, Rgba* scratch) const
    {
        std::fill_n(pixels - s_pad, s_pad, pixels[0]);
        std::fill_n(pixels + m_width, s_pad, pixels[m_width - 2]);
        Imf::RgbaYca::reconstructChromaHoriz(m_width, pixels - s_pad, scratch);
        std::copy_n(scratch, m_width, pixels);
    }

    const Imath::Box2i m_window;
    const int m_width;
    const int m_first;
    const int m_stride;
    std::vector<Rgba> m_pixels;
};

// A row of colours before saturation is looked at.
void makeRow(ChromaRows& rows, const Imath::V3f& weights, int y, Rgba* colours)
{
    if (y % 2 == 0)
    {
        Imf::RgbaYca::YCAtoRGBA(weights, rows.width(), rows.row(y), colours);
        return;
    }
    const Rgba* around[Imf::RgbaYca::N];
    for (int i = 0; i < Imf::RgbaYca::N; ++i)
        around[i] = rows.row(y - Imf::RgbaYca::N2 + i);
    Imf::RgbaYca::reconstructChromaVert(rows.width(), around, colours);
    Imf::RgbaYca::YCAtoRGBA(weights, rows.width(), colours, colours);
}

void storeRow(const ExrChannelPlan& plan, const Image& image, int64_t y, const Rgba* colours)
{
    for (const auto& [channel, colour] : plan.colours())
    {
        const half Rgba::*const member = colour == 0 ? &Rgba::r : colour == 1 ? &Rgba::g : &Rgba::b;
        float* to = rowOf(image, y) + channelIndex(image.channels, channel);
        for (int64_t x = 0; x < image.bounds.width(); ++x, to += channelCount(image.channels))
            *to = colours[x].*member;
    }
}

}

Imath::V3f luminanceWeights(const Imf::Header& header)
{
    Imf::Chromaticities chromaticities; // Rec. 709 unless the header says otherwise
    if (Imf::hasChromaticities(header))
        chromaticities = Imf::chromaticities(header);
    return Imf::RgbaYca::computeYw(chromaticities);
}

void readSubsampled(Imf::InputPart& input, const ExrPart& part,
                    const ExrChannelPlan::Subsampled& channel, const Image& image)
{
    const int xStep = channel.xSampling, yStep = channel.ySampling;
    const int top = part.fileRow(image.bounds.y1 - 1), bottom = part.fileRow(image.bounds.y0);
    const int left = part.header().dataWindow().min.x;
    const int firstRow = Imath::divp(top, yStep), firstColumn = Imath::divp(left, xStep);
    const int64_t samples = (image.bounds.width() - 1) / xStep + 1;
    const int64_t lines = Imath::divp(bottom, yStep) - firstRow + 1;
    const size_t line = static_cast<size_t>(samples) * sizeof(float);
    std::vector<float> values(static_cast<size_t>(samples * lines));
    Imf::FrameBuffer buffer;
    buffer.insert(channel.name,
                  Imf::Slice(Imf::FLOAT,
                             sliceBase(values.data(), firstColumn, sizeof(float), firstRow, line),
                             sizeof(float), line, xStep, yStep));
    input.setFrameBuffer(buffer);
    input.readPixels(firstRow * yStep, bottom);
    for (int f = top; f <= bottom; ++f)
    {
        const float* const from = values.data() + (Imath::divp(f, yStep) - firstRow) * samples;
        float* to = rowOf(image, part.flip() - f) + channelIndex(image.channels, channel.channel);
        for (int64_t x = 0; x < image.bounds.width(); ++x, to += channelCount(image.channels))
            *to = from[x / xStep];
    }
}

void readColours(Imf::InputPart& input, const ExrPart& part, const ExrChannelPlan& plan,
                 const Image& image)
{
    static constexpr int reach = Imf::RgbaYca::N2 + 1;
    const Imath::Box2i& window = part.header().dataWindow();
    const int top = part.fileRow(image.bounds.y1 - 1), bottom = part.fileRow(image.bounds.y0);
    ChromaRows rows(input, part, std::max(top - reach, window.min.y),
                    std::min(bottom + reach, window.max.y));
    const Imath::V3f weights = luminanceWeights(part.header());
    const auto width = static_cast<size_t>(rows.width());
    std::vector<Rgba> made[3], toned(width); // the rows before, at and behind the one to store
    for (std::vector<Rgba>& row : made)
        row.resize(width);
    makeRow(rows, weights, top - 1, made[0].data());
    makeRow(rows, weights, top, made[1].data());
    for (int f = top; f <= bottom; ++f)
    {
        makeRow(rows, weights, f + 1, made[2].data());
        const Rgba* const around[3] = {made[0].data(), made[1].data(), made[2].data()};
        Imf::RgbaYca::fixSaturation(weights, rows.width(), around, toned.data());
        storeRow(plan, image, part.flip() - f, toned.data());
        std::rotate(made, made + 1, made + 3);
    }
}

}
