#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "color/LabConvert.cpp"
#include <hwy/foreach_target.h>

#include "EMULSION/Tone.h"
#include "PixelMap-inl.h"
#include "VectorMath-inl.h"

HWY_BEFORE_NAMESPACE();
namespace EMULSION::HWY_NAMESPACE
{

namespace
{

// From linear Rec. 709 to X, Y, Z in units of the white's, and the inverse: from the primaries'
// chromaticities by high precision.
constexpr double s_toWhiteXYZ[9] = {0.43394998168242249,  0.37620974638222034, 0.18984027193535717,
                                    0.21267285140562249,  0.71515215528781794, 0.072174993306559572,
                                    0.017756578696701337, 0.1094679847922109,  0.87277543651108777};
constexpr double s_fromWhiteXYZ[9] = {
    3.0799544674645939,   -1.5371385127977167,  -0.54281595466687716,
    -0.92125828401426487, 1.8760108454466941,   0.045247438567570815,
    0.05288741182370974,  -0.20402591351675387, 1.1511385016930441};

// The lightness of CIE 1976 is a cube root from here on, and a straight line below.
constexpr double s_rootFrom = 6.0 / 29.0;
constexpr double s_lineSlope = 3.0 * s_rootFrom * s_rootFrom;
constexpr double s_lineStart = 4.0 / 29.0;

template <class DD>
void multiply(DD dd, const double matrix[9], hn::Vec<DD>& a, hn::Vec<DD>& b, hn::Vec<DD>& c)
{
    const auto row = [&](const double* m) HWY_ATTR {
        const auto first = hn::Mul(hn::Set(dd, m[0]), a), second = hn::Mul(hn::Set(dd, m[1]), b);
        return hn::Add(hn::Add(first, second), hn::Mul(hn::Set(dd, m[2]), c));
    };
    const auto x = row(matrix), y = row(matrix + 3), z = row(matrix + 6);
    a = x;
    b = y;
    c = z;
}

template <class DD>
hn::Vec<DD> lightness(DD dd, hn::Vec<DD> t)
{
    const auto line = hn::Add(hn::Mul(t, hn::Set(dd, 1.0 / s_lineSlope)), hn::Set(dd, s_lineStart));
    const auto isRoot = hn::Gt(t, hn::Set(dd, s_rootFrom * s_rootFrom * s_rootFrom));
    return hn::IfThenElse(isRoot, cubeRootDoubles(dd, t), line);
}

template <class DD>
hn::Vec<DD> inverseLightness(DD dd, hn::Vec<DD> f)
{
    const auto line = hn::Mul(hn::Sub(f, hn::Set(dd, s_lineStart)), hn::Set(dd, s_lineSlope));
    const auto isRoot = hn::Gt(f, hn::Set(dd, s_rootFrom));
    return hn::IfThenElse(isRoot, hn::Mul(f, hn::Mul(f, f)), line);
}

struct ToLabFormula
{
    template <class D>
    void operator()(D d, hn::Vec<D>& r, hn::Vec<D>& g, hn::Vec<D>& b, hn::Vec<D>&) const
    {
        const auto toLab = [](auto dd, auto& x, auto& y, auto& z) HWY_ATTR {
            multiply(dd, s_toWhiteXYZ, x, y, z);
            const auto fx = lightness(dd, x), fy = lightness(dd, y), fz = lightness(dd, z);
            x = hn::Sub(hn::Mul(hn::Set(dd, 1.16), fy), hn::Set(dd, 0.16));
            y = hn::Mul(hn::Set(dd, 5.0), hn::Sub(fx, fy));
            z = hn::Mul(hn::Set(dd, 2.0), hn::Sub(fy, fz));
        };
        changeInDoubles(d, toLab, r, g, b);
        r = withOneNaN(d, r);
        g = withOneNaN(d, g);
        b = withOneNaN(d, b);
    }
};

struct FromLabFormula
{
    template <class D>
    void operator()(D d, hn::Vec<D>& l, hn::Vec<D>& a, hn::Vec<D>& b, hn::Vec<D>&) const
    {
        const auto fromLab = [](auto dd, auto& x, auto& y, auto& z) HWY_ATTR {
            const auto fy = hn::Mul(hn::Add(x, hn::Set(dd, 0.16)), hn::Set(dd, 1.0 / 1.16));
            const auto fx = hn::Add(fy, hn::Mul(y, hn::Set(dd, 0.2)));
            const auto fz = hn::Sub(fy, hn::Mul(z, hn::Set(dd, 0.5)));
            x = inverseLightness(dd, fx);
            y = inverseLightness(dd, fy);
            z = inverseLightness(dd, fz);
            multiply(dd, s_fromWhiteXYZ, x, y, z);
        };
        changeInDoubles(d, fromLab, l, a, b);
        l = withOneNaN(d, l);
        a = withOneNaN(d, a);
        b = withOneNaN(d, b);
    }
};

}

PixelOperationPtr labConvertOperation(bool toLab)
{
    return toLab ? mapPixels("LabConvert", ToLabFormula{}, ChannelsRGB, ChannelsRGB)
                 : mapPixels("LabConvert", FromLabFormula{}, ChannelsRGB, ChannelsRGB);
}

}
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

#include "SimdDispatch.h"

namespace EMULSION
{

HWY_EXPORT(labConvertOperation);

PixelOperationPtr makeLabConvertOperation(bool toLab)
{
    return EMULSION_DISPATCH(labConvertOperation)(toLab);
}

void LabConvert(const Image* output, const Image* input, bool toLab)
{
    Run(output, input, *makeLabConvertOperation(toLab));
}

Imath::Color4f LabConvert(const Imath::Color4f& color, bool toLab)
{
    return Run(color, *makeLabConvertOperation(toLab));
}

}

#endif
