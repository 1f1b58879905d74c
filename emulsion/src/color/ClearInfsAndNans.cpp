#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "color/ClearInfsAndNans.cpp"
#include <hwy/foreach_target.h>

#include <limits>

#include "EMULSION/Color.h"
#include "PixelMap-inl.h"

HWY_BEFORE_NAMESPACE();
namespace EMULSION::HWY_NAMESPACE
{

namespace
{

struct ClearInfsAndNansFormula
{
    float lowest, highest; // for the infinities

    template <class D>
    hn::Vec<D> operator()(D d, hn::Vec<D> x) const
    {
        const auto isFinite = hn::Le(hn::Abs(x), hn::Set(d, std::numeric_limits<float>::max()));
        const auto limit =
            hn::IfThenElse(hn::Lt(x, hn::Zero(d)), hn::Set(d, lowest), hn::Set(d, highest));
        return hn::IfThenElse(isFinite, x, hn::IfThenZeroElse(hn::IsNaN(x), limit));
    }
};

}

PixelOperationPtr clearInfsAndNansOperation(bool keepInfinities)
{
    constexpr float largestHalf = 65504.0f;
    const float limit = keepInfinities ? largestHalf : 0.0f;
    return mapValues("ClearInfsAndNans", ClearInfsAndNansFormula{0.0f - limit, limit});
}

}
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

#include "SimdDispatch.h"

namespace EMULSION
{

HWY_EXPORT(clearInfsAndNansOperation);

PixelOperationPtr makeClearInfsAndNansOperation(bool keepInfinities)
{
    return EMULSION_DISPATCH(clearInfsAndNansOperation)(keepInfinities);
}

void ClearInfsAndNans(const Image* image, bool keepInfinities)
{
    Run(image, image, *makeClearInfsAndNansOperation(keepInfinities));
}

}

#endif
