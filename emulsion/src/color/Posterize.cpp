#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "color/Posterize.cpp"
#include <hwy/foreach_target.h>

#include <cmath>
#include <limits>

#include "Comparisons-inl.h"
#include "EMULSION/Color.h"
#include "PixelMap-inl.h"

HWY_BEFORE_NAMESPACE();
namespace EMULSION::HWY_NAMESPACE
{

namespace
{

struct PosterizeFormula
{
    Imath::C3f levels; // whole numbers, 2 or more
    bool clampRange, nearest;

    template <class D, class V = hn::Vec<D>>
    V operator()(D d, V x, int channel) const
    {
        const V zero = hn::Zero(d), one = hn::Set(d, 1.0f);
        if (clampRange)
            x = smallerOf(largerOf(x, zero), one); // NaN stays
        const V count = hn::Set(d, levels[channel]);
        const V top = hn::Sub(count, one);
        V level;
        if (nearest)
            level = hn::Floor(hn::Add(hn::Mul(x, top), hn::Set(d, 0.5f)));
        else
            level = hn::IfThenElse(hn::Eq(x, one), top, hn::Floor(hn::Mul(x, count)));
        // What becomes of -0 on its way to a whole number differs between instruction sets.
        return hn::Div(hn::Add(level, zero), top);
    }
};

}

PixelOperationPtr posterizeOperation(const Imath::C3f& levels, bool clampRange, bool nearest)
{
    constexpr float most = std::numeric_limits<float>::max();
    PosterizeFormula formula{levels, clampRange, nearest};
    uint64_t affected = 0;
    for (int channel = 0; channel < 3; ++channel)
    {
        formula.levels[channel] = std::floor(levels[channel]);
        if (formula.levels[channel] >= 2.0f && formula.levels[channel] <= most)
            affected |= uint64_t(1) << channel;
    }
    return mapValues("Posterize", formula, affected);
}

}
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

#include "SimdDispatch.h"

namespace EMULSION
{

HWY_EXPORT(posterizeOperation);

PixelOperationPtr makePosterizeOperation(float levelsR, float levelsG, float levelsB,
                                         bool clampRange, bool nearest)
{
    return EMULSION_DISPATCH(posterizeOperation)({levelsR, levelsG, levelsB}, clampRange, nearest);
}

void Posterize(const Image* output, const Image* input, float levelsR, float levelsG, float levelsB,
               bool clampRange, bool nearest)
{
    Run(output, input, *makePosterizeOperation(levelsR, levelsG, levelsB, clampRange, nearest));
}

void PosterizeColor(Imath::Color4f& out, const Imath::Color4f& color, float levelsR, float levelsG,
                    float levelsB, bool clampRange, bool nearest)
{
    out = Run(color, *makePosterizeOperation(levelsR, levelsG, levelsB, clampRange, nearest));
}

}

#endif
