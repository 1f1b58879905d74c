#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "color/RGBToAlpha.cpp"
#include <hwy/foreach_target.h>

#include "EMULSION/Color.h"
#include "Hsv-inl.h"
#include "PixelMap-inl.h"

HWY_BEFORE_NAMESPACE();
namespace EMULSION::HWY_NAMESPACE
{

namespace
{

// Alpha as one of hue, saturation and value, by number.
template <int Component>
struct HSVToAlphaFormula
{
    template <class D, class V = hn::Vec<D>>
    void operator()(D d, V& r, V& g, V& b, V& a) const
    {
        V hsv[3] = {r, g, b};
        rgbToHsv(d, hsv[0], hsv[1], hsv[2]);
        a = hsv[Component];
    }
};

struct MinToAlphaFormula
{
    template <class D, class V = hn::Vec<D>>
    void operator()(D, V& r, V& g, V& b, V& a) const
    {
        a = smallerOf(smallerOf(r, g), b);
    }
};

struct MaxToAlphaFormula
{
    template <class D, class V = hn::Vec<D>>
    void operator()(D, V& r, V& g, V& b, V& a) const
    {
        a = largerOf(largerOf(r, g), b);
    }
};

// Less where more of the screen's colour shows: 1 - c + m, with the larger m of the other two.
struct ScreenToAlphaFormula
{
    uint64_t channel;

    template <class D, class V = hn::Vec<D>>
    void operator()(D d, V& r, V& g, V& b, V& a) const
    {
        if (channel == ChannelRed)
            a = alphaOf(d, r, g, b);
        else if (channel == ChannelGreen)
            a = alphaOf(d, g, r, b);
        else if (channel == ChannelBlue)
            a = alphaOf(d, b, r, g);
        else
            a = hn::Zero(d);
    }

    template <class D, class V = hn::Vec<D>>
    static V alphaOf(D d, V screen, V other, V another)
    {
        const V rest = hn::Sub(hn::Set(d, 1.0f), screen);
        // The comparison would hide a NaN that is the second.
        const V larger = hn::IfThenElse(hn::IsNaN(another), another, largerOf(other, another));
        return clampedToUnit(d, hn::Add(rest, larger));
    }
};

template <class Formula>
PixelOperationPtr mapToAlpha(const char* name, const Formula& formula)
{
    return mapPixels(name, formula, ChannelAlpha, ChannelsRGB);
}

}

PixelOperationPtr hueToAlphaOperation()
{
    return mapToAlpha("HSVConvert_HueToA", HSVToAlphaFormula<0>{});
}

PixelOperationPtr saturationToAlphaOperation()
{
    return mapToAlpha("HSVConvert_SatToA", HSVToAlphaFormula<1>{});
}

PixelOperationPtr valueToAlphaOperation()
{
    return mapToAlpha("HSVConvert_ValToA", HSVToAlphaFormula<2>{});
}

PixelOperationPtr minToAlphaOperation()
{
    return mapToAlpha("MinRGBToAlpha", MinToAlphaFormula{});
}

PixelOperationPtr maxToAlphaOperation()
{
    return mapToAlpha("MaxRGBToAlpha", MaxToAlphaFormula{});
}

PixelOperationPtr screenToAlphaOperation(uint64_t channel)
{
    return mapToAlpha("ScreenRGBToAlpha", ScreenToAlphaFormula{channel});
}

}
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

#include "SimdDispatch.h"

namespace EMULSION
{

HWY_EXPORT(hueToAlphaOperation);
HWY_EXPORT(saturationToAlphaOperation);
HWY_EXPORT(valueToAlphaOperation);
HWY_EXPORT(minToAlphaOperation);
HWY_EXPORT(maxToAlphaOperation);
HWY_EXPORT(screenToAlphaOperation);

PixelOperationPtr makeHueToAlphaOperation()
{
    return EMULSION_DISPATCH(hueToAlphaOperation)();
}

PixelOperationPtr makeSaturationToAlphaOperation()
{
    return EMULSION_DISPATCH(saturationToAlphaOperation)();
}

PixelOperationPtr makeValueToAlphaOperation()
{
    return EMULSION_DISPATCH(valueToAlphaOperation)();
}

PixelOperationPtr makeMinRGBToAlphaOperation()
{
    return EMULSION_DISPATCH(minToAlphaOperation)();
}

PixelOperationPtr makeMaxRGBToAlphaOperation()
{
    return EMULSION_DISPATCH(maxToAlphaOperation)();
}

PixelOperationPtr makeScreenRGBToAlphaOperation(unsigned long channel)
{
    return EMULSION_DISPATCH(screenToAlphaOperation)(channel);
}

void HSVConvert_HueToA(const Image* output, const Image* input)
{
    Run(output, input, *makeHueToAlphaOperation());
}

void HSVConvert_SatToA(const Image* output, const Image* input)
{
    Run(output, input, *makeSaturationToAlphaOperation());
}

void HSVConvert_ValToA(const Image* output, const Image* input)
{
    Run(output, input, *makeValueToAlphaOperation());
}

void MinRGBToAlpha(const Image* output, const Image* input)
{
    Run(output, input, *makeMinRGBToAlphaOperation());
}

void MaxRGBToAlpha(const Image* output, const Image* input)
{
    Run(output, input, *makeMaxRGBToAlphaOperation());
}

void ScreenRGBToAlpha(const Image* output, const Image* input, unsigned long channel)
{
    Run(output, input, *makeScreenRGBToAlphaOperation(channel));
}

}

#endif
