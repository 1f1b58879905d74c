#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "color/HSVConvert.cpp"
#include <hwy/foreach_target.h>

#include "EMULSION/Color.h"
#include "Hsv-inl.h"
#include "PixelMap-inl.h"

HWY_BEFORE_NAMESPACE();
namespace EMULSION::HWY_NAMESPACE
{

namespace
{

struct ToHSVFormula
{
    template <class D, class V = hn::Vec<D>>
    void operator()(D d, V& r, V& g, V& b, V&) const
    {
        rgbToHsv(d, r, g, b);
    }
};

struct ToRGBFormula
{
    template <class D, class V = hn::Vec<D>>
    void operator()(D d, V& r, V& g, V& b, V&) const
    {
        hsvToRgb(d, r, g, b);
    }
};

}

PixelOperationPtr hsvConvertOperation(bool toHSV)
{
    return toHSV ? mapPixels("HSVConvert", ToHSVFormula{}, ChannelsRGB, ChannelsRGB)
                 : mapPixels("HSVConvert", ToRGBFormula{}, ChannelsRGB, ChannelsRGB);
}

}
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

#include "SimdDispatch.h"

namespace EMULSION
{

HWY_EXPORT(hsvConvertOperation);

PixelOperationPtr makeHSVConvertOperation(bool toHSV)
{
    return EMULSION_DISPATCH(hsvConvertOperation)(toHSV);
}

void HSVConvert(const Image* output, const Image* input, bool toHSV)
{
    Run(output, input, *makeHSVConvertOperation(toHSV));
}

Imath::Color4f HSVConvert(const Imath::Color4f& color, bool toHSV)
{
    return Run(color, *makeHSVConvertOperation(toHSV));
}

}

#endif
