#include <algorithm>
#include <string>

#include "EMULSION/Extend.h"
#include "plumbing/CopyOverlap.h"
#include "plumbing/PixelRuns.h"
#include "Validation.h"

namespace EMULSION
{

using namespace Private;

namespace
{

// How far the source moves for each pixel of the destination, along one axis.
enum Step : int
{
    Backwards = -1,
    Still = 0,
    Forwards = 1
};

struct Steps
{
    Step x, y;
};

constexpr Steps s_steps[] = {{Forwards, Backwards},  // ExtendMirrorY
                             {Backwards, Forwards},  // ExtendMirrorX
                             {Backwards, Backwards}, // ExtendMirrorBoth
                             {Forwards, Forwards},   // ExtendCopy
                             {Forwards, Still},      // ExtendStretchY
                             {Still, Forwards},      // ExtendStretchX
                             {Still, Still}};        // ExtendCorner

// The difference of two coordinates, where that of signed numbers might overflow.
uint64_t distance(int64_t from, int64_t to)
{
    return static_cast<uint64_t>(to) - static_cast<uint64_t>(from);
}

int64_t moved(int64_t coordinate, uint64_t by)
{
    return static_cast<int64_t>(static_cast<uint64_t>(coordinate) + by);
}

struct Interval
{
    int64_t begin, end;

    bool isEmpty() const { return begin >= end; }
    uint64_t size() const { return distance(begin, end); }
    Interval intersect(const Interval& other) const
    {
        return {std::max(begin, other.begin), std::min(end, other.end)};
    }
};

// An action along one axis, cut to what has both a place in the output and an origin in the input.
struct Axis
{
    Interval to;
    int64_t from; // where the first pixel of `to` comes from
};

Axis cutAxis(Interval to, Interval from, Step step, const Interval& output, const Interval& input)
{
    const Interval inside = from.intersect(input);
    Interval target = to;
    if (inside.isEmpty())
        target = {0, 0};
    else if (step == Forwards)
        target = {moved(to.begin, distance(from.begin, inside.begin)),
                  moved(to.begin, distance(from.begin, inside.end))};
    else if (step == Backwards)
        target = {moved(to.begin, distance(inside.end, from.end)),
                  moved(to.begin, distance(inside.begin, from.end))};
    const Interval written = target.intersect(output);
    const uint64_t skipped = distance(to.begin, written.begin);
    const int64_t first = step == Forwards    ? moved(from.begin, skipped)
                          : step == Backwards ? moved(from.end, 0 - skipped - 1)
                                              : from.begin;
    return {written, first};
}

Interval xOf(const UTIL::Rect& rect)
{
    return {rect.x0, rect.x1};
}

Interval yOf(const UTIL::Rect& rect)
{
    return {rect.y0, rect.y1};
}

bool fits(const Interval& to, const Interval& from, Step step)
{
    return step == Still ? from.size() == 1 : from.size() == to.size();
}

bool checkAction(const ExtendAction& action)
{
    if (action.type < ExtendMirrorY || action.type > ExtendCorner)
        return invalidArgument("DoExtendActions",
                               "no action has the type " + std::to_string(action.type) + ".");
    if (action.source.isNull() || action.destination.isNull())
        return true;
    const Steps steps = s_steps[action.type];
    if (fits(xOf(action.destination), xOf(action.source), steps.x) &&
        fits(yOf(action.destination), yOf(action.source), steps.y))
        return true;
    return invalidArgument("DoExtendActions", "an action of type " + std::to_string(action.type) +
                                                  " cannot fill " + textOf(action.destination) +
                                                  " from " + textOf(action.source) + ".");
}

// Fills `count` pixels with one, or with the row that begins there, in either direction.
void extendRun(float* to, const float* from, int64_t count, const ChannelMap& map)
{
    if (map.inputStep != 0)
        return mapPixels(to, from, count, map);
    float pixel[4];
    mapPixels(pixel, from, 1, map);
    fillPixels(to, count, map.outputChannels, pixel);
}

void doAction(const Image& output, const Image& input, const ExtendAction& action, ChannelMap map)
{
    const Steps steps = s_steps[action.type];
    const Axis x = cutAxis(xOf(action.destination), xOf(action.source), steps.x, xOf(output.bounds),
                           xOf(input.bounds));
    const Axis y = cutAxis(yOf(action.destination), yOf(action.source), steps.y, yOf(output.bounds),
                           yOf(input.bounds));
    if (x.to.isEmpty() || y.to.isEmpty())
        return;
    const UTIL::Rect part(x.to.begin, y.to.begin, x.to.end, y.to.end);
    if ((output.channels & input.channels) == 0)
        return clearPart(output, part);
    map.inputStep *= steps.x;
    if (steps.x == Still && steps.y == Still) // all rows are alike, and may be one run
        return forEachRun(output, part, [&](float* run, int64_t count) {
            extendRun(run, pixelOf(input, x.from, y.from), count, map);
        });
    for (int64_t row = 0; row < part.height(); ++row)
        extendRun(pixelOf(output, part.x0, part.y0 + row),
                  pixelOf(input, x.from, y.from + steps.y * row), part.width(), map);
}

}

void DoExtendActions(const Image* destination, const Image* source,
                     const std::vector<ExtendAction>& actions)
{
    if (!checkImage("DoExtendActions", "destination", destination) ||
        !checkImage("DoExtendActions", "source", source) ||
        !std::all_of(actions.begin(), actions.end(), checkAction))
        return;
    if (isEmpty(*destination) || source->bounds.isNull())
        return;
    const ChannelMap map = matchChannels(destination->channels, source->channels);
    for (const ExtendAction& action : actions)
        if (!action.source.isNull() && !action.destination.isNull())
            doAction(*destination, *source, action, map);
}

}
