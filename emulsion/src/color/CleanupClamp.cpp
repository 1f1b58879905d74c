#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "color/CleanupClamp.cpp"
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

constexpr float s_largest = std::numeric_limits<float>::max();

struct CleanupClampFormula
{
    bool keepNegative;

    template <class D>
    hn::Vec<D> operator()(D d, hn::Vec<D> x, int channel) const
    {
        const auto isFinite = hn::Le(hn::Abs(x), hn::Set(d, s_largest));
        const auto lowest = hn::Set(d, keepNegative && channel != s_alpha ? -s_largest : 0.0f);
        const auto highest = hn::Set(d, channel == s_alpha ? 1.0f : s_largest);
        return hn::IfThenElseZero(isFinite, smallerOf(largerOf(x, lowest), highest));
    }
};

}

PixelOperationPtr cleanupClampOperation(bool keepNegative)
{
    return mapValues("CleanupClamp", CleanupClampFormula{keepNegative});
}

}
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

#include "SimdDispatch.h"

namespace EMULSION
{

HWY_EXPORT(cleanupClampOperation);

PixelOperationPtr makeCleanupClampOperation(bool keepNegative)
{
    return EMULSION_DISPATCH(cleanupClampOperation)(keepNegative);
}

void CleanupClamp(const Image* output, const Image* input, bool keepNegative)
{
    Run(output, input, *makeCleanupClampOperation(keepNegative));
}

void CleanupClampColor(Imath::Color4f& out, const Imath::Color4f& color, bool keepNegative)
{
    out = Run(color, *makeCleanupClampOperation(keepNegative));
}

}

#endif
