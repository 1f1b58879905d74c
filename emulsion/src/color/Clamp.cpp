#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "color/Clamp.cpp"
#include <hwy/foreach_target.h>

#include <limits>

#include "Comparisons-inl.h"
#include "EMULSION/Color.h"
#include "PixelMap-inl.h"

HWY_BEFORE_NAMESPACE();
namespace EMULSION::HWY_NAMESPACE
{

namespace
{

// NaN stays, and a NaN among the bounds clamps nothing.
struct ClampFormula
{
    Imath::Color4f min, max;

    template <class D>
    hn::Vec<D> operator()(D d, hn::Vec<D> x, int channel) const
    {
        const auto lowest = hn::Set(d, min[channel]);
        const auto highest = hn::Set(d, max[channel]);
        return smallerOf(largerOf(x, lowest), highest);
    }
};

}

PixelOperationPtr clampOperation(const Imath::Color4f& min, const Imath::Color4f& max,
                                 bool clampMin, bool clampMax)
{
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    const Imath::Color4f nothing(nan, nan, nan, nan);
    return mapValues("Clamp", ClampFormula{clampMin ? min : nothing, clampMax ? max : nothing});
}

}
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

#include "SimdDispatch.h"

namespace EMULSION
{

HWY_EXPORT(clampOperation);

PixelOperationPtr makeClampOperation(const Imath::Color4f& min, const Imath::Color4f& max,
                                     bool clampMin, bool clampMax)
{
    return EMULSION_DISPATCH(clampOperation)(min, max, clampMin, clampMax);
}

void Clamp(const Image* output, const Image* input, const Imath::Color4f& min,
           const Imath::Color4f& max, bool clampMin, bool clampMax)
{
    Run(output, input, *makeClampOperation(min, max, clampMin, clampMax));
}

void ClampColor(Imath::Color4f& out, const Imath::Color4f& color, const Imath::Color4f& min,
                const Imath::Color4f& max, bool clampMin, bool clampMax)
{
    out = Run(color, *makeClampOperation(min, max, clampMin, clampMax));
}

}

#endif
