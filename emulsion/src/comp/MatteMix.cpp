#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "comp/MatteMix.cpp"
#include <hwy/foreach_target.h>

#include "EMULSION/Composite.h"
#include "Sides-inl.h"

HWY_BEFORE_NAMESPACE();
namespace EMULSION::HWY_NAMESPACE
{

namespace
{

// What has no weight is left out: 0 times infinity would make NaN of it.
struct MatteMixFormula
{
    float mix;

    template <class D, class V = hn::Vec<D>>
    V operator()(D d, V first, V second, V matte) const
    {
        const auto one = hn::Set(d, 1.0f);
        const auto weight = hn::Add(matte, hn::Set(d, mix));
        const auto blend = hn::Add(hn::Mul(first, hn::Sub(one, weight)), hn::Mul(second, weight));
        return hn::IfThenElse(hn::Le(weight, hn::Zero(d)), first,
                              hn::IfThenElse(hn::Ge(weight, one), second, blend));
    }
};

}

void matteMix(const Image& output, const Private::Side& first, const Private::Side& second,
              const Private::Side& matte, float mix)
{
    combine(output, {first, second, matte}, MatteMixFormula{mix});
}

}
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

#include "SimdDispatch.h"

namespace EMULSION
{

HWY_EXPORT(matteMix);

void MatteMix(const Image* output, const Image* first, const Image* second, const Image* matte,
              float mix, const Imath::Color4f& backgroundFirst,
              const Imath::Color4f& backgroundSecond, const Imath::Color4f& backgroundMatte)
{
    if (!Private::isReady("MatteMix", output, first, second, matte))
        return;
    const Private::Side sideFirst{first, backgroundFirst}, sideSecond{second, backgroundSecond};
    const Private::Side sideMatte{matte, backgroundMatte};
    EMULSION_DISPATCH(matteMix)(*output, sideFirst, sideSecond, sideMatte, mix);
}

Imath::Color4f MatteMix(const Imath::Color4f& first, const Imath::Color4f& second,
                        const Imath::Color4f& matte, float mix)
{
    return Private::onOnePixel(first, [&](const Image* output, const Image* input) {
        MatteMix(output, input, nullptr, nullptr, mix, first, second, matte);
    });
}

}

#endif
