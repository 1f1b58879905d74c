#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "comp/AddMix.cpp"
#include <hwy/foreach_target.h>

#include "CurveTable-inl.h"
#include "EMULSION/Composite.h"
#include "Sides-inl.h"

HWY_BEFORE_NAMESPACE();
namespace EMULSION::HWY_NAMESPACE
{

namespace
{

template <bool Premultiplied>
struct AddMixFormula
{
    Private::Curve curveA, curveB;

    template <class D, class V = hn::Vec<D>>
    void operator()(D d, const V (&a)[4], const V (&b)[4], V (&result)[4]) const
    {
        const auto weight = evaluate(d, curveA, a[3]);
        const auto rest = hn::Sub(hn::Set(d, 1.0f), evaluate(d, curveB, a[3]));
        for (int channel = 0; channel < 3; ++channel)
        {
            V color = a[channel];
            if constexpr (Premultiplied)
                color = hn::IfThenZeroElse(hn::Eq(a[3], hn::Zero(d)), hn::Div(color, a[3]));
            result[channel] = hn::Add(hn::Mul(color, weight), hn::Mul(b[channel], rest));
        }
        result[3] = hn::Add(weight, hn::Mul(b[3], rest));
    }
};

}

void addMix(const Image& output, const Private::Side& a, const Private::Side& b, bool premultiplied,
            const Private::Curve& curveA, const Private::Curve& curveB)
{
    if (premultiplied)
        combine(output, {a, b}, AddMixFormula<true>{curveA, curveB});
    else
        combine(output, {a, b}, AddMixFormula<false>{curveA, curveB});
}

}
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

#include "SimdDispatch.h"

namespace EMULSION
{

HWY_EXPORT(addMix);

struct AddMixCurves
{
    AddMixCurves(const CurvePoints& pointsA, const CurvePoints& pointsB) : a(pointsA), b(pointsB) {}

    const Private::CurveTable a, b;
};

AddMixCurvesPtr makeAddMixCurves(const CurvePoints& a, const CurvePoints& b)
{
    return std::make_shared<const AddMixCurves>(a, b);
}

void AddMix(const Image* output, const Image* a, const Image* b, bool premultiplied,
            const AddMixCurves& curves, const Imath::Color4f& backgroundA,
            const Imath::Color4f& backgroundB)
{
    if (!Private::isReady("AddMix", output, a, b))
        return;
    const Private::Side sideA{a, backgroundA}, sideB{b, backgroundB};
    const Private::Curve &byA = curves.a.curve(), &byB = curves.b.curve();
    EMULSION_DISPATCH(addMix)(*output, sideA, sideB, premultiplied, byA, byB);
}

void AddMix(const Image* output, const Image* a, const Image* b, bool premultiplied,
            const float* pointsA, size_t countA, const float* pointsB, size_t countB,
            const Imath::Color4f& backgroundA, const Imath::Color4f& backgroundB)
{
    const AddMixCurves curves({pointsA, countA}, {pointsB, countB});
    AddMix(output, a, b, premultiplied, curves, backgroundA, backgroundB);
}

Imath::Color4f AddMix(const Imath::Color4f& a, const Imath::Color4f& b, bool premultiplied,
                      const float* pointsA, size_t countA, const float* pointsB, size_t countB)
{
    return Private::onOnePixel(a, [&](const Image* output, const Image* input) {
        AddMix(output, input, nullptr, premultiplied, pointsA, countA, pointsB, countB, a, b);
    });
}

}

#endif
