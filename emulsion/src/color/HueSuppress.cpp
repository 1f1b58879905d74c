#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "color/HueSuppress.cpp"
#include <hwy/foreach_target.h>

#include "EMULSION/Curves.h"
#include "Hsv-inl.h"
#include "Luma-inl.h"
#include "PixelMap-inl.h"

HWY_BEFORE_NAMESPACE();
namespace EMULSION::HWY_NAMESPACE
{

namespace
{

struct HueSuppressFormula
{
    float hue, amount, reach;

    template <class D, class V = hn::Vec<D>>
    void operator()(D d, V& r, V& g, V& b, V&) const
    {
        const V one = hn::Set(d, 1.0f);
        V pixelHue = r, saturation = g, value = b;
        rgbToHsv(d, pixelHue, saturation, value);
        const V difference = hn::Abs(hn::Sub(pixelHue, hn::Set(d, hue)));
        const V distance = smallerOf(difference, hn::Sub(one, difference));
        const V t = clampedToUnit(d, hn::Div(distance, hn::Set(d, reach)));
        const V slope = hn::Sub(hn::Set(d, 3.0f), hn::Add(t, t));
        const V weight = hn::Sub(one, hn::Mul(hn::Mul(t, t), slope));
        const V factor = hn::Sub(one, hn::Mul(hn::Set(d, amount), weight));
        const auto isGrey = hn::And(hn::Eq(r, g), hn::Eq(g, b));
        scaleChroma(d, lumaOf(d, r, g, b), hn::IfThenElse(isGrey, one, factor), r, g, b);
    }
};

float hueOf(const Imath::C3f& color)
{
    const hn::CappedTag<float, 1> d;
    auto hue = hn::Set(d, color.x), saturation = hn::Set(d, color.y), value = hn::Set(d, color.z);
    rgbToHsv(d, hue, saturation, value);
    return hn::GetLane(hue);
}

}

PixelOperationPtr hueSuppressOperation(const Imath::C3f& suppressed, float amount, float width)
{
    constexpr float narrowest = 1e-6f;
    const float reach = (width > narrowest ? width : narrowest) / 2;
    return mapPixels("HueSuppress", HueSuppressFormula{hueOf(suppressed), amount, reach},
                     ChannelsRGB, ChannelsRGB);
}

}
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

#include "SimdDispatch.h"

namespace EMULSION
{

HWY_EXPORT(hueSuppressOperation);

PixelOperationPtr makeHueSuppressOperation(const Imath::C3f& suppressed, float amount, float width)
{
    return EMULSION_DISPATCH(hueSuppressOperation)(suppressed, amount, width);
}

void HueSuppress(const Image* output, const Image* input, const Imath::C3f& suppressed,
                 float amount, float width)
{
    Run(output, input, *makeHueSuppressOperation(suppressed, amount, width));
}

void HueSuppressApply(Imath::Color4f& out, const Imath::Color4f& color,
                      const Imath::C3f& suppressed, float amount, float width)
{
    out = Run(color, *makeHueSuppressOperation(suppressed, amount, width));
}

}

#endif
