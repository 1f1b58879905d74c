#pragma once

#include <algorithm>
#include <array>
#include <concepts>

#include <ImathColor.h>

#include "EMULSION/Image.h"
#include "OnePixel.h"
#include "Rows.h"
#include "Validation.h"

// What operators of two or more images share, apart from the arithmetic of Sides-inl.h.
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
template <std::same_as<const Image>... Inputs>
bool isReady(const char* function, const Image* output, Inputs*... inputs)
{
    if (!checkOutput(function, output) || !(checkInputIfAny(function, inputs) && ...) ||
        isEmpty(*output))
        return false;
    return (inputs || ...) || invalidArgument(function, "all inputs are null.");
}

/// Calls visit(part) for the parts of `area`, each of which a side covers wholly or not at all.
template <size_t N, class Visit>
void forEachPart(const UTIL::Rect& area, const Side (&sides)[N], const Visit& visit)
{
    std::array<int64_t, 2 + 2 * N> columns{area.x0, area.x1}, rows{area.y0, area.y1};
    for (size_t side = 0; side < N; ++side)
    {
        const UTIL::Rect bounds = sides[side].image ? sides[side].image->bounds : area;
        columns[2 + 2 * side] = std::clamp(bounds.x0, area.x0, area.x1);
        columns[3 + 2 * side] = std::clamp(bounds.x1, area.x0, area.x1);
        rows[2 + 2 * side] = std::clamp(bounds.y0, area.y0, area.y1);
        rows[3 + 2 * side] = std::clamp(bounds.y1, area.y0, area.y1);
    }
    std::ranges::sort(columns);
    std::ranges::sort(rows);
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
