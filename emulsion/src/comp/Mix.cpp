#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "comp/Mix.cpp"
#include <hwy/foreach_target.h>

#include "EMULSION/Composite.h"
#include "Sides-inl.h"

HWY_BEFORE_NAMESPACE();
namespace EMULSION::HWY_NAMESPACE
{

namespace
{

struct MixFormula
{
    float mix;

    template <class D>
    hn::Vec<D> operator()(D d, hn::Vec<D> first, hn::Vec<D> second) const
    {
        return hn::Add(hn::Mul(first, hn::Set(d, 1.0f - mix)), hn::Mul(second, hn::Set(d, mix)));
    }
};

}

void mix(const Image& output, const Private::Side& first, const Private::Side& second, float factor)
{
    combine(output, {first, second}, MixFormula{factor});
}

}
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

#include "OnePixel.h"
#include "SimdDispatch.h"

namespace EMULSION
{

HWY_EXPORT(mix);

void Mix(const Image* output, const Image* first, const Image* second, float mix,
         const Imath::Color4f& backgroundFirst, const Imath::Color4f& backgroundSecond)
{
    if (Private::isReady("Mix", output, first, second))
        EMULSION_DISPATCH(mix)(*output, {first, backgroundFirst}, {second, backgroundSecond}, mix);
}

Imath::Color4f Mix(const Imath::Color4f& first, const Imath::Color4f& second, float mix)
{
    return Private::onOnePixel(first, [&](const Image* output, const Image* input) {
        Mix(output, input, nullptr, mix, first, second);
    });
}

}

#endif
