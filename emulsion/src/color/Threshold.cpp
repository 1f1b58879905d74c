#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "color/Threshold.cpp"
#include <hwy/foreach_target.h>

#include "EMULSION/Color.h"
#include "PixelMap-inl.h"

HWY_BEFORE_NAMESPACE();
namespace EMULSION::HWY_NAMESPACE
{

namespace
{

struct ThresholdFormula
{
    Imath::Color4f threshold;
    bool replaceLow;
    Imath::Color4f low;
    bool replaceHigh;
    Imath::Color4f high;

    template <class D>
    hn::Vec<D> operator()(D d, hn::Vec<D> x, int channel) const
    {
        const auto isHigh = hn::Ge(x, hn::Set(d, threshold[channel]));
        return hn::IfThenElse(isHigh, replaceHigh ? hn::Set(d, high[channel]) : x,
                              replaceLow ? hn::Set(d, low[channel]) : x);
    }
};

}

PixelOperationPtr thresholdOperation(const Imath::Color4f& threshold, bool replaceLow,
                                     const Imath::Color4f& low, bool replaceHigh,
                                     const Imath::Color4f& high)
{
    return mapValues("Threshold", ThresholdFormula{threshold, replaceLow, low, replaceHigh, high});
}

}
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

#include "SimdDispatch.h"

namespace EMULSION
{

HWY_EXPORT(thresholdOperation);

PixelOperationPtr makeThresholdOperation(const Imath::Color4f& threshold, bool replaceLow,
                                         const Imath::Color4f& low, bool replaceHigh,
                                         const Imath::Color4f& high)
{
    return EMULSION_DISPATCH(thresholdOperation)(threshold, replaceLow, low, replaceHigh, high);
}

void Threshold(const Image* output, const Image* input, const Imath::Color4f& threshold,
               bool replaceLow, const Imath::Color4f& low, bool replaceHigh,
               const Imath::Color4f& high)
{
    Run(output, input, *makeThresholdOperation(threshold, replaceLow, low, replaceHigh, high));
}

Imath::Color4f Threshold(const Imath::Color4f& color, const Imath::Color4f& threshold,
                         bool replaceLow, const Imath::Color4f& low, bool replaceHigh,
                         const Imath::Color4f& high)
{
    return Run(color, *makeThresholdOperation(threshold, replaceLow, low, replaceHigh, high));
}

}

#endif
