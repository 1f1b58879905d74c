#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "color/Bloom.cpp"
#include <hwy/foreach_target.h>

#include "EMULSION/Color.h"
#include "Luma-inl.h"
#include "PixelMap-inl.h"

HWY_BEFORE_NAMESPACE();
namespace EMULSION::HWY_NAMESPACE
{

namespace
{

// What exceeds the threshold is multiplied, the threshold stays.
template <class D, class V = hn::Vec<D>>
V boosted(D d, V x, float threshold, float gain)
{
    const V t = hn::Set(d, threshold);
    return hn::Add(t, hn::Mul(hn::Sub(x, t), hn::Set(d, gain)));
}

struct RGBBloomFormula
{
    float threshold, gain;

    template <class D>
    hn::Vec<D> operator()(D d, hn::Vec<D> x) const
    {
        const auto isAbove = hn::Gt(x, hn::Set(d, threshold));
        return hn::IfThenElse(isAbove, boosted(d, x, threshold, gain), x);
    }
};

struct LuminanceBloomFormula
{
    float threshold, gain;
    bool keepAlpha;

    template <class D, class V = hn::Vec<D>>
    void operator()(D d, V& r, V& g, V& b, V& a) const
    {
        const V luma = lumaOf(d, r, g, b);
        const auto isAbove = hn::Gt(luma, hn::Set(d, threshold));
        const V factor = hn::Div(boosted(d, luma, threshold, gain), luma);
        r = hn::IfThenElse(isAbove, hn::Mul(r, factor), r);
        g = hn::IfThenElse(isAbove, hn::Mul(g, factor), g);
        b = hn::IfThenElse(isAbove, hn::Mul(b, factor), b);
        if (!keepAlpha)
            a = hn::IfThenElse(isAbove, hn::Mul(a, factor), a);
    }
};

uint64_t affectedChannels(bool keepAlpha)
{
    return keepAlpha ? ChannelsRGB : ChannelsRGBA;
}

}

PixelOperationPtr rgbBloomOperation(float threshold, float gain, bool keepAlpha)
{
    return mapValues("RGBBloomControl", RGBBloomFormula{threshold, gain},
                     affectedChannels(keepAlpha));
}

PixelOperationPtr luminanceBloomOperation(float threshold, float gain, bool keepAlpha)
{
    const uint64_t channels = affectedChannels(keepAlpha);
    return mapPixels("LuminanceBloomControl", LuminanceBloomFormula{threshold, gain, keepAlpha},
                     channels, channels);
}

}
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

#include "SimdDispatch.h"

namespace EMULSION
{

HWY_EXPORT(rgbBloomOperation);
HWY_EXPORT(luminanceBloomOperation);

PixelOperationPtr makeRGBBloomOperation(float threshold, float gain, bool keepAlpha)
{
    return EMULSION_DISPATCH(rgbBloomOperation)(threshold, gain, keepAlpha);
}

void RGBBloomControl(const Image* output, const Image* input, float threshold, float gain,
                     bool keepAlpha)
{
    Run(output, input, *makeRGBBloomOperation(threshold, gain, keepAlpha));
}

Imath::Color4f RGBBloomControl(const Imath::Color4f& color, float threshold, float gain,
                               bool keepAlpha)
{
    return Run(color, *makeRGBBloomOperation(threshold, gain, keepAlpha));
}

PixelOperationPtr makeLuminanceBloomOperation(float threshold, float gain, bool keepAlpha)
{
    return EMULSION_DISPATCH(luminanceBloomOperation)(threshold, gain, keepAlpha);
}

void LuminanceBloomControl(const Image* output, const Image* input, float threshold, float gain,
                           bool keepAlpha)
{
    Run(output, input, *makeLuminanceBloomOperation(threshold, gain, keepAlpha));
}

Imath::Color4f LuminanceBloomControl(const Imath::Color4f& color, float threshold, float gain,
                                     bool keepAlpha)
{
    return Run(color, *makeLuminanceBloomOperation(threshold, gain, keepAlpha));
}

}

#endif
