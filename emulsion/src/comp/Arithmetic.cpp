#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "comp/Arithmetic.cpp"
#include <hwy/foreach_target.h>

#include "EMULSION/Composite.h"
#include "Sides-inl.h"

HWY_BEFORE_NAMESPACE();
namespace EMULSION::HWY_NAMESPACE
{

namespace
{

struct AddFormula
{
    template <class D, class V = hn::Vec<D>>
    V operator()(D, V a, V b) const
    {
        return hn::Add(a, b);
    }
};

struct SubtractFormula
{
    template <class D, class V = hn::Vec<D>>
    V operator()(D, V a, V b) const
    {
        return hn::Sub(a, b);
    }
};

struct AverageFormula
{
    template <class D, class V = hn::Vec<D>>
    V operator()(D d, V a, V b) const
    {
        return hn::Mul(hn::Add(a, b), hn::Set(d, 0.5f));
    }
};

// No Abs: a NaN keeps its sign, as everywhere else.
struct DifferenceFormula
{
    template <class D, class V = hn::Vec<D>>
    V operator()(D d, V a, V b) const
    {
        const auto difference = hn::Sub(a, b);
        const auto zero = hn::Zero(d);
        return hn::IfThenElse(hn::Le(difference, zero), hn::Sub(zero, difference), difference);
    }
};

struct DivideFormula
{
    template <class D, class V = hn::Vec<D>>
    V operator()(D d, V a, V b) const
    {
        return hn::IfThenElse(hn::Eq(b, hn::Zero(d)), a, hn::Div(a, b));
    }
};

struct MultiplyFormula
{
    template <class D, class V = hn::Vec<D>>
    V operator()(D, V a, V b) const
    {
        return hn::Mul(a, b);
    }
};

// The product is doubled and not a side, which might overflow although the other is 0.
struct ExclusionFormula
{
    template <class D, class V = hn::Vec<D>>
    V operator()(D d, V a, V b) const
    {
        return hn::Sub(hn::Add(a, b), hn::Mul(hn::Set(d, 2.0f), hn::Mul(a, b)));
    }
};

struct GeometricFormula
{
    template <class D, class V = hn::Vec<D>>
    V operator()(D d, V a, V b) const
    {
        const auto product = hn::Mul(a, b);
        return hn::IfThenZeroElse(hn::Lt(product, hn::Zero(d)), hn::Sqrt(product));
    }
};

struct HypotenuseFormula
{
    template <class D, class V = hn::Vec<D>>
    V operator()(D, V a, V b) const
    {
        return hn::Sqrt(hn::Add(hn::Mul(a, a), hn::Mul(b, b)));
    }
};

}

using Private::Side;

void add(const Image& output, const Side& a, const Side& b)
{
    combine(output, {a, b}, AddFormula{});
}

void subtract(const Image& output, const Side& a, const Side& b)
{
    combine(output, {a, b}, SubtractFormula{});
}

void average(const Image& output, const Side& a, const Side& b)
{
    combine(output, {a, b}, AverageFormula{});
}

void difference(const Image& output, const Side& a, const Side& b)
{
    combine(output, {a, b}, DifferenceFormula{});
}

void divide(const Image& output, const Side& a, const Side& b)
{
    combine(output, {a, b}, DivideFormula{});
}

void multiply(const Image& output, const Side& a, const Side& b)
{
    combine(output, {a, b}, MultiplyFormula{});
}

void exclusion(const Image& output, const Side& a, const Side& b)
{
    combine(output, {a, b}, ExclusionFormula{});
}

void geometric(const Image& output, const Side& a, const Side& b)
{
    combine(output, {a, b}, GeometricFormula{});
}

void hypotenuse(const Image& output, const Side& a, const Side& b)
{
    combine(output, {a, b}, HypotenuseFormula{});
}

}
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

#include "SimdDispatch.h"

namespace EMULSION
{

HWY_EXPORT(add);
HWY_EXPORT(subtract);
HWY_EXPORT(average);
HWY_EXPORT(difference);
HWY_EXPORT(divide);
HWY_EXPORT(multiply);
HWY_EXPORT(exclusion);
HWY_EXPORT(geometric);
HWY_EXPORT(hypotenuse);

void Add(const Image* output, const Image* a, const Image* b, const Imath::Color4f& backgroundA,
         const Imath::Color4f& backgroundB)
{
    if (Private::isReady("Add", output, a, b))
        EMULSION_DISPATCH(add)(*output, {a, backgroundA}, {b, backgroundB});
}

Imath::Color4f Add(const Imath::Color4f& a, const Imath::Color4f& b)
{
    return Private::onTwoColors(Add, a, b);
}

void Subtract(const Image* output, const Image* a, const Image* b,
              const Imath::Color4f& backgroundA, const Imath::Color4f& backgroundB)
{
    if (Private::isReady("Subtract", output, a, b))
        EMULSION_DISPATCH(subtract)(*output, {a, backgroundA}, {b, backgroundB});
}

Imath::Color4f Subtract(const Imath::Color4f& a, const Imath::Color4f& b)
{
    return Private::onTwoColors(Subtract, a, b);
}

void Average(const Image* output, const Image* a, const Image* b, const Imath::Color4f& backgroundA,
             const Imath::Color4f& backgroundB)
{
    if (Private::isReady("Average", output, a, b))
        EMULSION_DISPATCH(average)(*output, {a, backgroundA}, {b, backgroundB});
}

Imath::Color4f Average(const Imath::Color4f& a, const Imath::Color4f& b)
{
    return Private::onTwoColors(Average, a, b);
}

void Difference(const Image* output, const Image* a, const Image* b,
                const Imath::Color4f& backgroundA, const Imath::Color4f& backgroundB)
{
    if (Private::isReady("Difference", output, a, b))
        EMULSION_DISPATCH(difference)(*output, {a, backgroundA}, {b, backgroundB});
}

Imath::Color4f Difference(const Imath::Color4f& a, const Imath::Color4f& b)
{
    return Private::onTwoColors(Difference, a, b);
}

void Divide(const Image* output, const Image* a, const Image* b, const Imath::Color4f& backgroundA,
            const Imath::Color4f& backgroundB)
{
    if (Private::isReady("Divide", output, a, b))
        EMULSION_DISPATCH(divide)(*output, {a, backgroundA}, {b, backgroundB});
}

Imath::Color4f Divide(const Imath::Color4f& a, const Imath::Color4f& b)
{
    return Private::onTwoColors(Divide, a, b);
}

void Multiply(const Image* output, const Image* a, const Image* b,
              const Imath::Color4f& backgroundA, const Imath::Color4f& backgroundB)
{
    if (Private::isReady("Multiply", output, a, b))
        EMULSION_DISPATCH(multiply)(*output, {a, backgroundA}, {b, backgroundB});
}

Imath::Color4f Multiply(const Imath::Color4f& a, const Imath::Color4f& b)
{
    return Private::onTwoColors(Multiply, a, b);
}

void Exclusion(const Image* output, const Image* a, const Image* b,
               const Imath::Color4f& backgroundA, const Imath::Color4f& backgroundB)
{
    if (Private::isReady("Exclusion", output, a, b))
        EMULSION_DISPATCH(exclusion)(*output, {a, backgroundA}, {b, backgroundB});
}

Imath::Color4f Exclusion(const Imath::Color4f& a, const Imath::Color4f& b)
{
    return Private::onTwoColors(Exclusion, a, b);
}

void Geometric(const Image* output, const Image* a, const Image* b,
               const Imath::Color4f& backgroundA, const Imath::Color4f& backgroundB)
{
    if (Private::isReady("Geometric", output, a, b))
        EMULSION_DISPATCH(geometric)(*output, {a, backgroundA}, {b, backgroundB});
}

Imath::Color4f Geometric(const Imath::Color4f& a, const Imath::Color4f& b)
{
    return Private::onTwoColors(Geometric, a, b);
}

void Hypotenuse(const Image* output, const Image* a, const Image* b,
                const Imath::Color4f& backgroundA, const Imath::Color4f& backgroundB)
{
    if (Private::isReady("Hypotenuse", output, a, b))
        EMULSION_DISPATCH(hypotenuse)(*output, {a, backgroundA}, {b, backgroundB});
}

Imath::Color4f Hypotenuse(const Imath::Color4f& a, const Imath::Color4f& b)
{
    return Private::onTwoColors(Hypotenuse, a, b);
}

}

#endif
