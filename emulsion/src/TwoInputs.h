#pragma once

#include <algorithm>
#include <array>

#include <ImathColor.h>

#include "EMULSION/Image.h"
#include "OnePixel.h"
#include "Rows.h"
#include "Validation.h"

// What operators of two images share, apart from the arithmetic of TwoInputs-inl.h.
namespace EMULSION::Private
{

/// One input: pixels that may be null or cover only part of the output, and the colour that stands
/// for them elsewhere.
struct Side
{
    const Image* image;
    Imath::Color4f color;

    bool covers(const UTIL::Rect& part) const { return image && image->bounds.contains(part); }

    bool sharesMemory(const Image& output) const
    {
        return image && image->channels && !isEmpty(*image) &&
               Private::sharesMemory(*image, output);
    }
};

/// True when there is something to work on; otherwise an error may be set.
inline bool isReady(const char* function, const Image* output, const Image* first,
                    const Image* second)
{
    if (!checkOutput(function, output) || !checkInputIfAny(function, first) ||
        !checkInputIfAny(function, second) || isEmpty(*output))
        return false;
    return first || second || invalidArgument(function, "both inputs are null.");
}

/// `low`, `high` and the four places between them, in order.
inline std::array<int64_t, 6> cutsBetween(int64_t low, int64_t high,
                                          const std::array<int64_t, 4>& places)
{
    std::array<int64_t, 6> cuts{low, high};
    std::transform(places.begin(), places.end(), cuts.begin() + 2,
                   [=](int64_t place) { return std::clamp(place, low, high); });
    std::sort(cuts.begin(), cuts.end());
    return cuts;
}

/// Calls visit(part) for the parts of `area`, each of which a side covers wholly or not at all.
template <class Visit>
void forEachPart(const UTIL::Rect& area, const Side& first, const Side& second, const Visit& visit)
{
    const UTIL::Rect a = first.image ? first.image->bounds : area;
    const UTIL::Rect b = second.image ? second.image->bounds : area;
    const auto columns = cutsBetween(area.x0, area.x1, {a.x0, a.x1, b.x0, b.x1});
    const auto rows = cutsBetween(area.y0, area.y1, {a.y0, a.y1, b.y0, b.y1});
    for (size_t row = 0; row + 1 < rows.size(); ++row)
    {
        for (size_t column = 0; column + 1 < columns.size(); ++column)
        {
            const UTIL::Rect part(columns[column], rows[row], columns[column + 1], rows[row + 1]);
            if (!part.isNull())
                visit(part);
        }
    }
}

using Operator = void(const Image* output, const Image* a, const Image* b,
                      const Imath::Color4f& backgroundA, const Imath::Color4f& backgroundB);
using FlaggedOperator = void(const Image* output, const Image* a, const Image* b, bool flag,
                             const Imath::Color4f& backgroundA, const Imath::Color4f& backgroundB);

/// What an operator of two images makes of two colours.
inline Imath::Color4f onTwoColors(Operator* combine, const Imath::Color4f& a,
                                  const Imath::Color4f& b)
{
    return onOnePixel(
        a, [&](const Image* output, const Image* input) { combine(output, input, nullptr, a, b); });
}

inline Imath::Color4f onTwoColors(FlaggedOperator* combine, const Imath::Color4f& a,
                                  const Imath::Color4f& b, bool flag)
{
    return onOnePixel(a, [&](const Image* output, const Image* input) {
        combine(output, input, nullptr, flag, a, b);
    });
}

}
