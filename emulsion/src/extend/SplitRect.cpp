#include <algorithm>

#include "EMULSION/Extend.h"

namespace EMULSION
{

namespace
{

using UTIL::Rect;

// Wide enough for the distance of any two coordinates, and for its multiples that are met here.
__extension__ typedef __int128 Wide;

// A stretch of one axis: destination and source of the same pixels.
struct Span
{
    int64_t to0, to1;
    int64_t from0, from1;
    bool upright; // source and destination are alike, neither stretched nor reflected
};
using Spans = std::vector<Span>;

void addSpan(Spans& spans, const Span& span)
{
    if (span.to0 < span.to1)
        spans.push_back(span);
}

Spans clampSpans(int64_t r0, int64_t r1, int64_t e0, int64_t e1)
{
    Spans spans;
    addSpan(spans, {r0, std::min(r1, e0), e0, e0 + 1, false});
    const int64_t inside0 = std::max(r0, e0), inside1 = std::min(r1, e1);
    addSpan(spans, {inside0, inside1, inside0, inside1, true});
    addSpan(spans, {std::max(r0, e1), r1, e1 - 1, e1, false});
    return spans;
}

// Which of the reflections, counted from the picture itself, coordinate c lies in.
Wide reflectionOf(int64_t c, int64_t e0, int64_t e1)
{
    const Wide width = Wide(e1) - e0, distance = Wide(c) - e0;
    return distance >= 0 ? distance / width : -((width - 1 - distance) / width);
}

Spans mirrorSpans(int64_t r0, int64_t r1, int64_t e0, int64_t e1)
{
    const Wide width = Wide(e1) - e0;
    Spans spans;
    const Wide last = reflectionOf(r1 - 1, e0, e1);
    for (Wide k = reflectionOf(r0, e0, e1); k <= last; ++k)
    {
        const Wide start = e0 + k * width;
        const Wide to0 = std::max<Wide>(start, r0), to1 = std::min<Wide>(start + width, r1);
        const bool upright = (k & 1) == 0;
        const Wide from0 = upright ? e0 + (to0 - start) : e1 - (to1 - start);
        spans.push_back({static_cast<int64_t>(to0), static_cast<int64_t>(to1),
                         static_cast<int64_t>(from0), static_cast<int64_t>(from0 + (to1 - to0)),
                         upright});
    }
    return spans;
}

// The types of the actions by which of their axes is upright.
struct Types
{
    int32_t yTurned, xTurned, bothTurned;
};

void addActions(const Spans& xs, const Spans& ys, bool xUpright, bool yUpright, int32_t type,
                std::vector<ExtendAction>& actions)
{
    for (const Span& y : ys)
        for (const Span& x : xs)
            if (x.upright == xUpright && y.upright == yUpright)
                actions.push_back({type, Rect(x.from0, y.from0, x.from1, y.from1),
                                   Rect(x.to0, y.to0, x.to1, y.to1)});
}

void addAllActions(const Spans& xs, const Spans& ys, const Types& types,
                   std::vector<ExtendAction>& actions)
{
    addActions(xs, ys, true, true, ExtendCopy, actions);
    addActions(xs, ys, true, false, types.yTurned, actions);
    addActions(xs, ys, false, true, types.xTurned, actions);
    addActions(xs, ys, false, false, types.bothTurned, actions);
}

struct Interval
{
    int64_t from0, from1;
};

Interval requiredByClamp(int64_t r0, int64_t r1, int64_t e0, int64_t e1)
{
    return {std::clamp(r0, e0, e1 - 1), std::clamp(r1, e0 + 1, e1)};
}

Interval requiredByMirror(int64_t r0, int64_t r1, int64_t e0, int64_t e1)
{
    // Of three neighbours the middle one is whole.
    if (reflectionOf(r1 - 1, e0, e1) - reflectionOf(r0, e0, e1) >= 2)
        return {e0, e1};
    const Spans spans = mirrorSpans(r0, r1, e0, e1);
    return {std::min(spans.front().from0, spans.back().from0),
            std::max(spans.front().from1, spans.back().from1)};
}

}

void SplitRectToClampExtendActions(const Rect& rect, const Rect& extendRect,
                                   std::vector<ExtendAction>& actions)
{
    if (rect.isNull() || extendRect.isNull())
        return;
    addAllActions(clampSpans(rect.x0, rect.x1, extendRect.x0, extendRect.x1),
                  clampSpans(rect.y0, rect.y1, extendRect.y0, extendRect.y1),
                  {ExtendStretchY, ExtendStretchX, ExtendCorner}, actions);
}

void SplitRectToMirrorExtendActions(const Rect& rect, const Rect& extendRect,
                                    std::vector<ExtendAction>& actions)
{
    if (rect.isNull() || extendRect.isNull())
        return;
    // Thousands of reflections of a single pixel would be as many actions.
    if (extendRect.width() == 1 && extendRect.height() == 1)
        return SplitRectToClampExtendActions(rect, extendRect, actions);
    addAllActions(mirrorSpans(rect.x0, rect.x1, extendRect.x0, extendRect.x1),
                  mirrorSpans(rect.y0, rect.y1, extendRect.y0, extendRect.y1),
                  {ExtendMirrorY, ExtendMirrorX, ExtendMirrorBoth}, actions);
}

Rect GetRequiredClampInputRect(const Rect& rect, const Rect& extendRect)
{
    if (rect.isNull() || extendRect.isNull())
        return Rect();
    const Interval x = requiredByClamp(rect.x0, rect.x1, extendRect.x0, extendRect.x1);
    const Interval y = requiredByClamp(rect.y0, rect.y1, extendRect.y0, extendRect.y1);
    return Rect(x.from0, y.from0, x.from1, y.from1);
}

Rect GetRequiredMirroredInputRect(const Rect& rect, const Rect& extendRect)
{
    if (rect.isNull() || extendRect.isNull())
        return Rect();
    const Interval x = requiredByMirror(rect.x0, rect.x1, extendRect.x0, extendRect.x1);
    const Interval y = requiredByMirror(rect.y0, rect.y1, extendRect.y0, extendRect.y1);
    return Rect(x.from0, y.from0, x.from1, y.from1);
}

}
