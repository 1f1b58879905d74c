#include "UTIL/Region.h"

#include <algorithm>
#include <ostream>
#include <tuple>
#include <utility>

#include "RegionSweep.h"

namespace UTIL
{

namespace
{

// What is left of a rectangle outside another, in the order in which it is stored.
struct Cut
{
    Rect pieces[4];
    int count = 0;

    Cut(const Rect& rect, const Rect& hole)
    {
        const Rect common = rect.intersect(hole);
        if (common.isNull())
        {
            keep(rect);
            return;
        }
        keep(Rect(rect.x0, rect.y0, rect.x1, common.y0));
        keep(Rect(rect.x0, common.y1, rect.x1, rect.y1));
        keep(Rect(rect.x0, common.y0, common.x0, common.y1));
        keep(Rect(common.x1, common.y0, rect.x1, common.y1));
    }

    const Rect* begin() const { return pieces; }
    const Rect* end() const { return pieces + count; }

private:
    void keep(const Rect& piece)
    {
        if (!piece.isNull())
            pieces[count++] = piece;
    }
};

bool overlap(const Rect& a, const Rect& b)
{
    return !a.intersect(b).isNull();
}

// Cuts the hole out of all pieces. Nothing is copied when it meets none of them.
void cutOut(std::vector<Rect>& pieces, const Rect& hole)
{
    const auto meetsHole = [&hole](const Rect& piece) { return overlap(piece, hole); };
    const auto first = std::find_if(pieces.begin(), pieces.end(), meetsHole);
    if (first == pieces.end())
        return;
    std::vector<Rect> left(pieces.begin(), first);
    left.reserve(pieces.size() + 3);
    for (auto piece = first; piece != pieces.end(); ++piece)
    {
        const Cut cut(*piece, hole);
        left.insert(left.end(), cut.begin(), cut.end());
    }
    pieces.swap(left);
}

// Lets each rectangle that fits the one before it swallow that one.
bool mergeNeighbours(std::vector<Rect>& rects, auto&& touch)
{
    const std::size_t before = rects.size();
    std::size_t last = 0;
    for (std::size_t i = 1; i < before; ++i)
    {
        if (touch(rects[last], rects[i]))
            rects[last] = rects[last].unite(rects[i]);
        else
            rects[++last] = rects[i];
    }
    rects.resize(last + 1);
    return rects.size() < before;
}

}

Region::Region(const Rect& rect) : m_single(rect.isNull() ? Rect() : rect) {}

Region Region::fromRectangles(const std::vector<Rect>& rects)
{
    Region region;
    region.m_many = Private::disjointRectangles(rects.data(), rects.size());
    region.settle();
    return region;
}

void Region::append(const Rect& rect)
{
    if (rect.isNull())
        return;
    if (isEmpty())
    {
        m_single = rect;
        return;
    }
    if (m_many.empty())
        m_many.push_back(std::exchange(m_single, Rect()));
    m_many.push_back(rect);
}

void Region::settle()
{
    if (m_many.size() == 1)
    {
        m_single = m_many.front();
        m_many.clear();
    }
}

void Region::add(const Rect& rect)
{
    if (size() == 1)
    {
        for (const Rect& piece : Cut(rect, m_single))
            append(piece);
        return;
    }
    if (!intersects(rect))
    {
        append(rect);
        return;
    }
    std::vector<Rect> pieces{rect};
    for (const Rect& own : m_many)
        cutOut(pieces, own);
    m_many.insert(m_many.end(), pieces.begin(), pieces.end());
}

void Region::add(const Region& region)
{
    if (region.size() <= 1)
    {
        add(region.m_single);
        return;
    }
    if (isEmpty())
    {
        *this = region;
        return;
    }
    std::vector<Rect> pieces = region.m_many;
    for (const Rect& own : *this)
        cutOut(pieces, own);
    for (const Rect& piece : pieces)
        append(piece);
}

void Region::subtract(const Rect& rect)
{
    if (m_many.empty())
    {
        const Cut cut(m_single, rect);
        m_single = Rect();
        for (const Rect& piece : cut)
            append(piece);
        return;
    }
    cutOut(m_many, rect);
    settle();
}

void Region::subtract(const Region& region)
{
    if (this == &region)
    {
        *this = Region();
        return;
    }
    for (const Rect& rect : region)
        subtract(rect);
}

Region Region::subtracted(const Region& region) const
{
    Region result = *this;
    result.subtract(region);
    return result;
}

Region Region::intersected(const Rect& rect) const
{
    Region result;
    for (const Rect& own : *this)
        result.append(own.intersect(rect));
    return result;
}

Region Region::intersected(const Region& region) const
{
    Region result;
    for (const Rect& own : *this)
    {
        for (const Rect& other : region)
            result.append(own.intersect(other));
    }
    return result;
}

void Region::intersect(const Rect& rect)
{
    *this = intersected(rect);
}

bool Region::intersects(const Rect& rect) const
{
    return std::any_of(begin(), end(), [&rect](const Rect& own) { return overlap(own, rect); });
}

bool Region::contains(const Rect& rect) const
{
    if (size() == 1)
        return m_single.contains(rect);
    Region missing(rect);
    for (const Rect& own : *this)
    {
        if (missing.isEmpty())
            return true;
        missing.subtract(own);
    }
    return missing.isEmpty();
}

Rect Region::getBounds() const
{
    Rect bounds;
    for (const Rect& rect : *this)
        bounds = bounds.unite(rect);
    return bounds;
}

uint64_t Region::area() const
{
    uint64_t pixels = 0;
    for (const Rect& rect : *this)
        pixels += static_cast<uint64_t>(rect.width()) * static_cast<uint64_t>(rect.height());
    return pixels;
}

Region Region::pad(int64_t dx, int64_t dy) const
{
    Region result;
    for (const Rect& rect : *this)
        result.add(rect.pad(dx, dy, true));
    return result;
}

Region Region::offset(int64_t dx, int64_t dy) const
{
    Region result;
    for (const Rect& rect : *this)
        result.append(rect.offset(dx, dy, true)); // moved alike, they overlap as little as before
    return result;
}

bool Region::mergeHorizontally()
{
    if (m_many.empty())
        return false;
    std::sort(m_many.begin(), m_many.end(), [](const Rect& a, const Rect& b) {
        return std::tie(a.y0, a.x0) < std::tie(b.y0, b.x0);
    });
    const bool merged = mergeNeighbours(m_many, [](const Rect& a, const Rect& b) {
        return a.x1 == b.x0 && a.y0 == b.y0 && a.y1 == b.y1;
    });
    settle();
    return merged;
}

bool Region::mergeVertically()
{
    if (m_many.empty())
        return false;
    std::sort(m_many.begin(), m_many.end(), [](const Rect& a, const Rect& b) {
        return std::tie(a.x0, a.y0) < std::tie(b.x0, b.y0);
    });
    const bool merged = mergeNeighbours(m_many, [](const Rect& a, const Rect& b) {
        return a.y1 == b.y0 && a.x0 == b.x0 && a.x1 == b.x1;
    });
    settle();
    return merged;
}

void Region::simplify()
{
    if (m_many.empty())
        return;
    m_many = Private::disjointRectangles(m_many.data(), m_many.size());
    settle();
}

std::ostream& operator<<(std::ostream& stream, const Region& region)
{
    stream << '[';
    for (const Rect& rect : region)
        stream << rect;
    return stream << ']';
}

}
