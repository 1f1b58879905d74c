#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <vector>

#include "UTIL/Export.h"
#include "UTIL/Rect.h"

namespace UTIL
{

/// A set of pixels: those of a list of rectangles that do not overlap and of which none is null.
///
/// The order of the rectangles carries no meaning. A plain value without locks: a region that
/// threads share is guarded by its owner. A region of one rectangle, as most are, needs no memory
/// beside itself. The operations are quadratic in the number of rectangles where nothing else is
/// said.
class UTIL_API Region
{
public:
    Region() = default;

    /// The pixels of one rectangle; a null one gives the empty region.
    Region(const Rect& rect);

    /// The pixels of any number of rectangles, which may overlap and be null, in the form that
    /// simplify() gives. For n rectangles that come to m it takes a time of order (n + m) log n.
    static Region fromRectangles(const std::vector<Rect>& rects);

    const Rect* begin() const { return m_many.empty() ? &m_single : m_many.data(); }
    const Rect* end() const { return begin() + size(); }
    std::size_t size() const
    {
        return m_many.empty() ? static_cast<std::size_t>(!m_single.isNull()) : m_many.size();
    }
    bool isEmpty() const { return size() == 0; }

    /// Adds the pixels of the other side. What is here keeps its rectangles; the other side's are
    /// cut where they overlap them.
    void add(const Rect& rect);
    void add(const Region& region);

    /// Removes pixels. A rectangle that loses some is cut into at most four: the bands below and
    /// above the hole at full width, then what stands left and right of it.
    void subtract(const Rect& rect);
    void subtract(const Region& region);

    /// This region without the other.
    Region subtracted(const Region& region) const;

    /// The pixels that lie in both.
    Region intersected(const Rect& rect) const;
    Region intersected(const Region& region) const;

    /// Keeps the pixels that lie in the rectangle.
    void intersect(const Rect& rect);

    /// True when at least one pixel lies in both.
    bool intersects(const Rect& rect) const;

    /// True when every pixel of the rectangle lies in the region. A region of one rectangle
    /// compares corners, also those of a null rectangle; any other contains every null rectangle.
    bool contains(const Rect& rect) const;

    /// The smallest rectangle that holds the region, the all-zero one for the empty region.
    Rect getBounds() const;

    /// The number of pixels, modulo 2^64.
    uint64_t area() const;

    /// Each rectangle padded, or offset, as by Rect::pad and Rect::offset with `checked` true, and
    /// then added to the result; negative padding may make rectangles vanish. Throws
    /// std::runtime_error when a coordinate would leave the signed 64-bit range.
    Region pad(int64_t dx, int64_t dy) const;
    Region offset(int64_t dx, int64_t dy) const;

    /// Makes one rectangle of each run of rectangles that touch side by side, at equal height (one
    /// above the other, at equal width). True when there are fewer rectangles than before. Sorts
    /// the rectangles; takes a time of order n log n.
    bool mergeHorizontally();
    bool mergeVertically();

    /// Rewrites the region into a small set of rectangles that depends on its pixels alone: each is
    /// a run of pixels that goes on neither to its left nor to its right, as high as rows below and
    /// above have that same run. Takes the time of fromRectangles.
    void simplify();

private:
    void append(const Rect& rect); // one that overlaps none; a null one is skipped
    void settle();                 // moves the only rectangle of m_many, if it is, to m_single

    // Either m_many is empty and m_single is the one rectangle, null for the empty region; or
    // m_many holds two or more and m_single is null.
    Rect m_single;
    std::vector<Rect> m_many;
};

/// Prints "[", the rectangles with nothing between them, and "]".
UTIL_API std::ostream& operator<<(std::ostream& stream, const Region& region);

}
