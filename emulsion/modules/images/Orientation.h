#pragma once

#include <cstdint>

namespace EMULSION::Module
{

/// How the rows and columns of a file lie in the picture that it shows, by the tag "Orientation" of
/// TIFF and Exif: 1 as they are, 2 to 4 mirrored, 5 to 8 with rows and columns exchanged.
class Orientation
{
public:
    /// A rectangle of the file's pixels, and how far from one to the next in the picture's memory.
    struct Part
    {
        int64_t x0, y0, x1, y1;
        int64_t start; ///< floats from the rectangle's first pixel in the picture to this one's
        int64_t xStep, yStep;
    };

    /// Numbers that the tag does not know are taken for 1.
    Orientation(int tag, int64_t fileWidth, int64_t fileHeight)
        : m_transposed(tag >= 5 && tag <= 8),
          m_mirroredX(tag == 2 || tag == 3 || tag == 6 || tag == 7),
          m_mirroredY(tag == 3 || tag == 4 || tag == 7 || tag == 8),
          m_width(m_transposed ? fileHeight : fileWidth),
          m_height(m_transposed ? fileWidth : fileHeight)
    {}

    bool transposed() const { return m_transposed; }
    int64_t width() const { return m_width; }   ///< of the picture
    int64_t height() const { return m_height; } ///< of the picture

    /// What of the file makes a rectangle of the picture.
    Part partOf(int64_t x0, int64_t y0, int64_t x1, int64_t y1, int64_t pixelStride,
                int64_t rowStride) const
    {
        int64_t start = 0;
        const Axis across = axisOf(m_mirroredX, m_width, x0, x1, pixelStride, start);
        const Axis down = axisOf(m_mirroredY, m_height, y0, y1, rowStride, start);
        const Axis& x = m_transposed ? down : across;
        const Axis& y = m_transposed ? across : down;
        return {x.first, y.first, x.end, y.end, start, x.step, y.step};
    }

private:
    struct Axis
    {
        int64_t first, end, step;
    };

    static Axis axisOf(bool mirrored, int64_t size, int64_t first, int64_t end, int64_t stride,
                       int64_t& start)
    {
        if (!mirrored)
            return {first, end, stride};
        start += (end - 1 - first) * stride;
        return {size - end, size - first, -stride};
    }

    const bool m_transposed, m_mirroredX, m_mirroredY;
    const int64_t m_width, m_height;
};

}
