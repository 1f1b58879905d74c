#pragma once

#include <algorithm>
#include <cstdint>
#include <iosfwd>

#include "UTIL/Export.h"

namespace UTIL
{

/// A half-open rectangle of pixels: those with x0 <= x < x1 and y0 <= y < y1.
///
/// The y axis points up. A default rectangle is all zero, and so null. Two null rectangles are not
/// the same rectangle: equality compares the four fields. A plain value without locks; the order of
/// its fields is part of the interface between the libraries.
struct UTIL_API Rect
{
    int64_t x0 = 0;
    int64_t y0 = 0;
    int64_t x1 = 0;
    int64_t y1 = 0;

    constexpr Rect() = default;
    constexpr Rect(int64_t x0_, int64_t y0_, int64_t x1_, int64_t y1_)
        : x0(x0_), y0(y0_), x1(x1_), y1(y1_)
    {}

    friend constexpr bool operator==(const Rect&, const Rect&) = default;

    /// True when the rectangle holds no pixel.
    constexpr bool isNull() const { return x0 >= x1 || y0 >= y1; }

    /// x1 - x0 and y1 - y0, in pixels; negative for an inverted rectangle. A side that exceeds the
    /// signed 64-bit range wraps around.
    constexpr int64_t width() const { return difference(x1, x0); }
    constexpr int64_t height() const { return difference(y1, y0); }

    /// True when `r` lies wholly inside this rectangle, compared corner by corner.
    constexpr bool contains(const Rect& r) const
    {
        return r.x0 >= x0 && r.y0 >= y0 && r.x1 <= x1 && r.y1 <= y1;
    }

    /// The pixels that lie in both; the all-zero rectangle when there are none.
    constexpr Rect intersect(const Rect& r) const
    {
        const Rect common(std::max(x0, r.x0), std::max(y0, r.y0), std::min(x1, r.x1),
                          std::min(y1, r.y1));
        return isNull() || r.isNull() || common.isNull() ? Rect() : common;
    }

    /// The smallest rectangle that holds both. A null rectangle takes no part.
    constexpr Rect unite(const Rect& r) const
    {
        if (r.isNull())
            return *this;
        if (isNull())
            return r;
        return Rect(std::min(x0, r.x0), std::min(y0, r.y0), std::max(x1, r.x1), std::max(y1, r.y1));
    }

    /// (x0 - dx, y0 - dy, x1 + dx, y1 + dy); negative amounts shrink.
    ///
    /// Each of the four results is tested before it is computed. One that would leave the signed
    /// 64-bit range throws std::runtime_error with the rectangle and the amounts in its text when
    /// `checked` is true, and comes out as 0 otherwise.
    Rect pad(int64_t dx, int64_t dy, bool checked) const;

    /// `dx` added to both x fields and `dy` to both y fields, with `checked` as for pad.
    Rect offset(int64_t dx, int64_t dy, bool checked) const;

private:
    static constexpr int64_t difference(int64_t a, int64_t b)
    {
        return static_cast<int64_t>(static_cast<uint64_t>(a) - static_cast<uint64_t>(b));
    }
};

/// Prints "(x0,y0,x1,y1)" without blanks, in decimal whatever the stream's locale.
UTIL_API std::ostream& operator<<(std::ostream& stream, const Rect& rect);

}
