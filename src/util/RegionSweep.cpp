#include "RegionSweep.h"

#include <algorithm>
#include <bit>
#include <map>
#include <tuple>
#include <utility>

namespace UTIL::Private
{

namespace
{

// A half-open range of columns. A column is the space between two neighbouring x coordinates.
struct Span
{
    std::size_t first = 0;
    std::size_t last = 0;

    friend auto operator<=>(const Span&, const Span&) = default;
};

// Counts how many rectangles lie over each column: a segment tree, in which a rectangle is noted at
// the few nodes that make up its span.
class Coverage
{
public:
    explicit Coverage(std::size_t columns) : m_width(std::bit_ceil(columns)), m_nodes(2 * m_width)
    {}

    void change(const Span& span, int amount) { change(1, {0, m_width}, span, amount); }

    // The maximal runs of covered columns within the span, from left to right.
    void collectRuns(const Span& span, std::vector<Span>& runs) const
    {
        runs.clear();
        collectRuns(1, {0, m_width}, span, runs);
    }

private:
    enum class Covered : char
    {
        Nowhere,
        Partly,
        Wholly
    };

    struct Node
    {
        int count = 0;
        Covered covered = Covered::Nowhere;
    };

    void change(std::size_t index, const Span& own, const Span& span, int amount)
    {
        if (span.last <= own.first || own.last <= span.first)
            return;
        Node& node = m_nodes[index];
        const bool leaf = own.last - own.first == 1;
        if (span.first <= own.first && own.last <= span.last)
        {
            node.count += amount;
        }
        else
        {
            const std::size_t middle = (own.first + own.last) / 2;
            change(2 * index, {own.first, middle}, span, amount);
            change(2 * index + 1, {middle, own.last}, span, amount);
        }
        if (node.count > 0)
            node.covered = Covered::Wholly;
        else if (leaf)
            node.covered = Covered::Nowhere;
        else
            node.covered = both(m_nodes[2 * index].covered, m_nodes[2 * index + 1].covered);
    }

    static Covered both(Covered left, Covered right)
    {
        return left == right ? left : Covered::Partly;
    }

    void collectRuns(std::size_t index, const Span& own, const Span& span,
                     std::vector<Span>& runs) const
    {
        const Span common{std::max(own.first, span.first), std::min(own.last, span.last)};
        if (common.first >= common.last || m_nodes[index].covered == Covered::Nowhere)
            return;
        if (m_nodes[index].covered == Covered::Partly)
        {
            const std::size_t middle = (own.first + own.last) / 2;
            collectRuns(2 * index, {own.first, middle}, span, runs);
            collectRuns(2 * index + 1, {middle, own.last}, span, runs);
        }
        else if (!runs.empty() && runs.back().last == common.first)
        {
            runs.back().last = common.last;
        }
        else
        {
            runs.push_back(common);
        }
    }

    const std::size_t m_width;
    std::vector<Node> m_nodes; // the children of node i are 2 i and 2 i + 1; the root is 1
};

// Goes upwards over the rectangles and keeps the runs of the row at hand. A run is looked at again
// only when a rectangle begins or ends beside or within it, so that rows in which little changes
// cost little.
class Sweep
{
public:
    Sweep(std::vector<int64_t> xs, std::size_t rectCount)
        : m_xs(std::move(xs)), m_coverage(m_xs.size() - 1)
    {
        m_edges.reserve(2 * rectCount);
    }

    void addRect(const Rect& rect)
    {
        const Span span{column(rect.x0), column(rect.x1)};
        m_edges.push_back({rect.y0, span, 1});
        m_edges.push_back({rect.y1, span, -1});
    }

    std::vector<Rect> run()
    {
        std::sort(m_edges.begin(), m_edges.end(),
                  [](const Edge& a, const Edge& b) { return a.y < b.y; });
        std::vector<Span> touched;
        for (auto edge = m_edges.begin(); edge != m_edges.end();)
        {
            const int64_t y = edge->y;
            touched.clear();
            for (; edge != m_edges.end() && edge->y == y; ++edge)
            {
                m_coverage.change(edge->span, edge->amount);
                touched.push_back(edge->span);
            }
            joinSpans(touched);
            for (const Span& span : touched)
                updateRuns(span, y);
        }
        std::sort(m_result.begin(), m_result.end(), [](const Rect& a, const Rect& b) {
            return std::tie(a.y0, a.x0) < std::tie(b.y0, b.x0);
        });
        return std::move(m_result);
    }

private:
    struct Edge
    {
        int64_t y;
        Span span;
        int amount;
    };

    struct OpenRun
    {
        std::size_t last;
        int64_t y0;
    };

    std::size_t column(int64_t x) const
    {
        return static_cast<std::size_t>(std::lower_bound(m_xs.begin(), m_xs.end(), x) -
                                        m_xs.begin());
    }

    // Sorts the spans and makes one of those that overlap or touch.
    static void joinSpans(std::vector<Span>& spans)
    {
        std::sort(spans.begin(), spans.end());
        std::size_t kept = 0;
        for (const Span& span : spans)
        {
            if (kept > 0 && span.first <= spans[kept - 1].last)
                spans[kept - 1].last = std::max(spans[kept - 1].last, span.last);
            else
                spans[kept++] = span;
        }
        spans.resize(kept);
    }

    // Brings the open runs up to date where the coverage of the span may have changed at y. A run
    // that a later span of the same row changes once more ends here with a height of 0.
    void updateRuns(Span span, int64_t y)
    {
        auto first = m_open.lower_bound(span.first);
        if (first != m_open.begin() && std::prev(first)->second.last >= span.first)
            --first;
        auto end = first;
        const std::size_t last = span.last;
        for (; end != m_open.end() && end->first <= last; ++end)
            span = {std::min(span.first, end->first), std::max(span.last, end->second.last)};

        m_coverage.collectRuns(span, m_runs);
        auto run = m_runs.begin();
        for (auto open = first; open != end;)
        {
            run = std::lower_bound(run, m_runs.end(), Span{open->first, 0});
            const bool stays = run != m_runs.end() && *run == Span{open->first, open->second.last};
            open = stays ? std::next(open) : close(open, y);
        }
        for (const Span& now : m_runs)
            m_open.try_emplace(now.first, OpenRun{now.last, y}); // no change for one that stays
    }

    std::map<std::size_t, OpenRun>::iterator close(std::map<std::size_t, OpenRun>::iterator open,
                                                   int64_t y)
    {
        const Rect rect(m_xs[open->first], open->second.y0, m_xs[open->second.last], y);
        if (!rect.isNull())
            m_result.push_back(rect);
        return m_open.erase(open);
    }

    const std::vector<int64_t> m_xs; // sorted, each once
    Coverage m_coverage;
    std::vector<Edge> m_edges;
    std::map<std::size_t, OpenRun> m_open; // by first column; no two of them touch
    std::vector<Span> m_runs;
    std::vector<Rect> m_result;
};

}

std::vector<Rect> disjointRectangles(const Rect* rects, std::size_t count)
{
    std::vector<int64_t> xs;
    xs.reserve(2 * count);
    for (const Rect* rect = rects; rect != rects + count; ++rect)
    {
        if (!rect->isNull())
        {
            xs.push_back(rect->x0);
            xs.push_back(rect->x1);
        }
    }
    if (xs.empty())
        return {};
    std::sort(xs.begin(), xs.end());
    xs.erase(std::unique(xs.begin(), xs.end()), xs.end());

    Sweep sweep(std::move(xs), count);
    for (const Rect* rect = rects; rect != rects + count; ++rect)
    {
        if (!rect->isNull())
            sweep.addRect(*rect);
    }
    return sweep.run();
}

}
