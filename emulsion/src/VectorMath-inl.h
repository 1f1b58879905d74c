// Powers and logarithms over vectors of floats, compiled for the instruction set at hand.
//
// All is computed in double precision and rounded once, so results are within 0.51 ulp of the true
// value over the whole range, denormals and overflow included, and what a float can hold exactly
// comes out exact. Nothing but correctly rounded operations in a fixed order is used, no fused
// multiply-add and no estimates of reciprocals: every instruction set gives the same bits.
//
// Reduction of arguments and the series in (m - 1) / (m + 1) after Cody and Waite, "Software Manual
// for the Elementary Functions", 1980. The polynomials are minimax in relative error, by the
// algorithm of Remez.
#if defined(EMULSION_VECTOR_MATH_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef EMULSION_VECTOR_MATH_INL_H_
#undef EMULSION_VECTOR_MATH_INL_H_
#else
#define EMULSION_VECTOR_MATH_INL_H_
#endif

#include <cmath>
#include <limits>
#include <numbers>

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace EMULSION::HWY_NAMESPACE
{

namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_SCALAR
// A vector is one float, and one double.
template <class D>
using DoublesOf = hn::Rebind<double, D>;
#else
// Half as many doubles as there are floats.
template <class D>
using DoublesOf = hn::RepartitionToWide<D>;
#endif

template <class D>
HWY_INLINE hn::Vec<DoublesOf<D>> lowerDoubles([[maybe_unused]] D d, hn::Vec<D> x)
{
#if HWY_TARGET == HWY_SCALAR
    return hn::PromoteTo(DoublesOf<D>(), x);
#else
    return hn::PromoteTo(DoublesOf<D>(), hn::LowerHalf(hn::Half<D>(), x));
#endif
}

template <class D>
HWY_INLINE hn::Vec<DoublesOf<D>> upperDoubles([[maybe_unused]] D d, hn::Vec<D> x)
{
#if HWY_TARGET == HWY_SCALAR
    return hn::PromoteTo(DoublesOf<D>(), x);
#else
    return hn::PromoteTo(DoublesOf<D>(), hn::UpperHalf(hn::Half<D>(), x));
#endif
}

// Rounds to the nearest float, and what is too large for one to infinity.
template <class D>
HWY_INLINE hn::Vec<D> floatsFrom(D d, hn::Vec<DoublesOf<D>> lower,
                                 [[maybe_unused]] hn::Vec<DoublesOf<D>> upper)
{
#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128
    // DemoteTo would stop at the largest float.
    constexpr size_t lanes = hn::MaxLanes(D()), doubles = hn::MaxLanes(DoublesOf<D>());
    alignas(16) double from[2 * doubles];
    alignas(16) float to[lanes];
    hn::Store(lower, DoublesOf<D>(), from);
    hn::Store(upper, DoublesOf<D>(), from + doubles);
    for (size_t i = 0; i < lanes; ++i)
        to[i] = static_cast<float>(from[i]);
    return hn::Load(d, to);
#else
    const hn::Half<D> half;
    return hn::Combine(d, hn::DemoteTo(half, upper), hn::DemoteTo(half, lower));
#endif
}

// function(doubles, vectors...) in double precision: its result for vectors of floats.
template <class D, class Function, class... Vectors>
HWY_INLINE hn::Vec<D> inDoubles(D d, const Function& function, Vectors... x)
{
    const DoublesOf<D> doubles;
    return floatsFrom(d, function(doubles, lowerDoubles(d, x)...),
                      function(doubles, upperDoubles(d, x)...));
}

// The same for three vectors that function(doubles, a, b, c) changes.
template <class D, class Function>
HWY_INLINE void changeInDoubles(D d, const Function& function, hn::Vec<D>& a, hn::Vec<D>& b,
                                hn::Vec<D>& c)
{
    const DoublesOf<D> doubles;
    auto lowerA = lowerDoubles(d, a), lowerB = lowerDoubles(d, b), lowerC = lowerDoubles(d, c);
    auto upperA = upperDoubles(d, a), upperB = upperDoubles(d, b), upperC = upperDoubles(d, c);
    function(doubles, lowerA, lowerB, lowerC);
    function(doubles, upperA, upperB, upperC);
    a = floatsFrom(d, lowerA, upperA);
    b = floatsFrom(d, lowerB, upperB);
    c = floatsFrom(d, lowerC, upperC);
}

// One NaN for all. Which of two goes on where they meet is the compiler's choice, and it may choose
// differently for the two halves of a vector.
template <class D>
HWY_INLINE hn::Vec<D> withOneNaN(D d, hn::Vec<D> x)
{
    return hn::IfThenElse(hn::IsNaN(x), hn::Set(d, std::numeric_limits<float>::quiet_NaN()), x);
}

template <class DD>
HWY_INLINE hn::Vec<DD> polynomial(DD dd, hn::Vec<DD>, double constant)
{
    return hn::Set(dd, constant);
}

// The constant first. In steps of two powers, because these loops wait for results more than they
// compute, and Horner's rule makes the longest chain of them.
template <class DD, class... Doubles>
HWY_INLINE hn::Vec<DD> polynomial(DD dd, hn::Vec<DD> x, double constant, double linear,
                                  Doubles... higher)
{
    const auto line = hn::Add(hn::Set(dd, constant), hn::Mul(x, hn::Set(dd, linear)));
    if constexpr (sizeof...(higher) == 0)
        return line;
    else
        return hn::Add(line, hn::Mul(hn::Mul(x, x), polynomial(dd, x, higher...)));
}

// Doubles in, doubles out. The functions on them are good to 2^-32 of their results, and take no
// more care of special cases than said.

// x, or the limit if x is less (more). A NaN stays: the answer of the instructions to one is their
// second operand.
template <class V>
HWY_INLINE V atLeast(V limit, V x)
{
#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128
    return hn::IfThenElse(hn::Lt(x, limit), limit, x);
#else
    return hn::Max(limit, x);
#endif
}

template <class V>
HWY_INLINE V atMost(V limit, V x)
{
#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128
    return hn::IfThenElse(hn::Gt(x, limit), limit, x);
#else
    return hn::Min(limit, x);
#endif
}

// 2^t as 2^n (1 + rest). A t beyond +-`s_largestExponent` counts as that: such a power is nothing
// or infinity to a float. `exponent` is n in the bits of a double's exponent. A NaN that was a
// float's gets into `rest` alone, because it has nothing but zeros among the bits of n.
constexpr double s_largestExponent = 600.0;

template <class DD>
using BitsOf = hn::Vec<hn::RebindToUnsigned<DD>>;

template <class DD>
HWY_INLINE void splitExp2(DD dd, hn::Vec<DD> t, BitsOf<DD>& exponent, hn::Vec<DD>& rest)
{
    t = atMost(hn::Set(dd, s_largestExponent), atLeast(hn::Set(dd, -s_largestExponent), t));
    // At this size the last bit of a double is worth 1: the sum rounds t, and holds it in its
    // lowest bits.
    const auto rounding = hn::Set(dd, 0x1.8p52);
    const auto sum = hn::Add(t, rounding);
    exponent = hn::ShiftLeft<52>(hn::BitCast(hn::RebindToUnsigned<DD>(), sum));
    const auto r = hn::Sub(t, hn::Sub(sum, rounding)); // -1/2 to 1/2
    rest = hn::Mul(r, polynomial(dd, r, 0x1.62e42fefd3296p-1, 0x1.ebfbe04530277p-3,
                                 0x1.c6b08cb164cb7p-5, 0x1.3b2a1c3624f12p-7, 0x1.5d88bdb914a5ep-10,
                                 0x1.443f6247ce306p-13, 0x1.ffcbd215863e5p-17));
}

// x 2^n for an n in the bits of the exponent.
template <class DD>
HWY_INLINE hn::Vec<DD> scaleBy(DD dd, hn::Vec<DD> x, BitsOf<DD> exponent)
{
    return hn::BitCast(dd, hn::Add(hn::BitCast(hn::RebindToUnsigned<DD>(), x), exponent));
}

template <class DD>
HWY_INLINE hn::Vec<DD> exp2Doubles(DD dd, hn::Vec<DD> t)
{
    BitsOf<DD> exponent;
    hn::Vec<DD> rest;
    splitExp2(dd, t, exponent, rest);
    return scaleBy(dd, hn::Add(hn::Set(dd, 1.0), rest), exponent);
}

// 2^t - 1 without loss where t is small.
template <class DD>
HWY_INLINE hn::Vec<DD> exp2Minus1Doubles(DD dd, hn::Vec<DD> t)
{
    BitsOf<DD> exponent;
    hn::Vec<DD> rest;
    splitExp2(dd, t, exponent, rest);
    const auto one = hn::Set(dd, 1.0);
    const auto scale = scaleBy(dd, one, exponent);
    return hn::Add(hn::Mul(scale, rest), hn::Sub(scale, one));
}

// x = 2^exponent * m with m from sqrt(1/2) to sqrt(2); `excess` is m - 1. For positive, finite,
// normal x, as all positive floats are in double.
template <class DD>
HWY_INLINE void splitLog2(DD dd, hn::Vec<DD> x, hn::Vec<DD>& exponent, hn::Vec<DD>& excess)
{
    const hn::RebindToUnsigned<DD> bits;
    const auto sqrtHalf = hn::BitCast(bits, hn::Set(dd, std::numbers::sqrt2 / 2));
    const auto one = hn::BitCast(bits, hn::Set(dd, 1.0));
    const auto moved = hn::Add(hn::BitCast(bits, x), hn::Sub(one, sqrtHalf));
    const auto biased = hn::Or(hn::ShiftRight<52>(moved), hn::BitCast(bits, hn::Set(dd, 0x1.0p52)));
    exponent = hn::Sub(hn::BitCast(dd, biased), hn::Set(dd, 0x1.0p52 + 1023));
    const auto fraction = hn::And(moved, hn::Set(bits, (uint64_t(1) << 52) - 1));
    excess = hn::Sub(hn::BitCast(dd, hn::Add(fraction, sqrtHalf)), hn::Set(dd, 1.0));
}

// exponent + log2(1 + excess).
template <class DD>
HWY_INLINE hn::Vec<DD> joinLog2(DD dd, hn::Vec<DD> exponent, hn::Vec<DD> excess)
{
    const auto s = hn::Div(excess, hn::Add(excess, hn::Set(dd, 2.0)));
    const auto series =
        polynomial(dd, hn::Mul(s, s), 0x1.71547652bedf3p+1, 0x1.ec709d12cf29cp-1,
                   0x1.27777fe8f7afbp-1, 0x1.a58d888300de8p-2, 0x1.5ce85a622fc37p-2);
    return hn::Add(exponent, hn::Mul(s, series));
}

// For positive, finite, normal x; anything else gives a number, or an infinity, without a meaning.
template <class DD>
HWY_INLINE hn::Vec<DD> log2Doubles(DD dd, hn::Vec<DD> x)
{
    hn::Vec<DD> exponent, excess;
    splitLog2(dd, x, exponent, excess);
    return joinLog2(dd, exponent, excess);
}

// log2(1 + x) without loss where x is small. For finite x from 0 on.
template <class DD>
HWY_INLINE hn::Vec<DD> log2Of1PlusDoubles(DD dd, hn::Vec<DD> x)
{
    const auto sum = hn::Add(hn::Set(dd, 1.0), x);
    hn::Vec<DD> exponent, excess;
    splitLog2(dd, sum, exponent, excess);
    excess = hn::IfThenElse(hn::Lt(sum, hn::Set(dd, std::numbers::sqrt2)), x, excess);
    return joinLog2(dd, exponent, excess);
}

// For x from 0 on, infinity and NaN included. 0 gives less than any float holds.
template <class DD>
HWY_INLINE hn::Vec<DD> cubeRootDoubles(DD dd, hn::Vec<DD> x)
{
    const auto root = exp2Doubles(dd, hn::Mul(log2Doubles(dd, x), hn::Set(dd, 1.0 / 3.0)));
    return hn::IfThenElse(hn::Lt(x, hn::Set(dd, std::numeric_limits<double>::infinity())), root, x);
}

// Floats in, floats out. The special cases are those of ISO C, Annex F.

// base^x for the base whose logarithm to the base 2 is given.
template <class D>
HWY_INLINE hn::Vec<D> powerOfBase(D d, double log2Base, hn::Vec<D> x)
{
    return inDoubles(
        d,
        [=](auto dd, auto v)
            HWY_ATTR { return exp2Doubles(dd, hn::Mul(v, hn::Set(dd, log2Base))); },
        x);
}

// The logarithm of x in units of that of 2 times `unit`.
template <class D>
HWY_INLINE hn::Vec<D> logarithm(D d, double unit, hn::Vec<D> x)
{
    const auto zero = hn::Zero(d), infinity = hn::Set(d, std::numeric_limits<float>::infinity());
    const auto log = inDoubles(
        d, [=](auto dd, auto v) HWY_ATTR { return hn::Mul(log2Doubles(dd, v), hn::Set(dd, unit)); },
        x);
    const auto nan = hn::Set(d, std::numeric_limits<float>::quiet_NaN());
    const auto special = hn::IfThenElse(hn::Lt(x, zero), nan, hn::Add(x, x)); // infinity, NaN
    const auto isOrdinary = hn::And(hn::Gt(x, zero), hn::Lt(x, infinity));
    const auto result = hn::IfThenElse(isOrdinary, log, special);
    return hn::IfThenElse(hn::Eq(x, zero), hn::Neg(infinity), result);
}

template <class D>
HWY_INLINE hn::Vec<D> exp(D d, hn::Vec<D> x)
{
    return powerOfBase(d, std::numbers::log2e, x);
}

template <class D>
HWY_INLINE hn::Vec<D> exp2(D d, hn::Vec<D> x)
{
    return powerOfBase(d, 1.0, x);
}

template <class D>
HWY_INLINE hn::Vec<D> log(D d, hn::Vec<D> x)
{
    return logarithm(d, std::numbers::ln2, x);
}

template <class D>
HWY_INLINE hn::Vec<D> log2(D d, hn::Vec<D> x)
{
    return logarithm(d, 1.0, x);
}

// base^y for a base that is not negative; -0 counts as 0.
template <class D>
HWY_INLINE hn::Vec<D> powOfPositive(D d, hn::Vec<D> base, hn::Vec<D> y)
{
    const auto zero = hn::Zero(d), one = hn::Set(d, 1.0f);
    const auto infinity = hn::Set(d, std::numeric_limits<float>::infinity());
    // Both halves' logarithms, then both powers: four short chains of operations keep the processor
    // busy, where two long ones would not.
    const DoublesOf<D> dd;
    const auto lowerLog = log2Doubles(dd, lowerDoubles(d, base));
    const auto upperLog = log2Doubles(dd, upperDoubles(d, base));
    const auto lower = exp2Doubles(dd, hn::Mul(lowerLog, lowerDoubles(d, y)));
    const auto upper = exp2Doubles(dd, hn::Mul(upperLog, upperDoubles(d, y)));
    auto power = floatsFrom(d, lower, upper);
    const auto isZero = hn::Eq(base, zero), isInfinite = hn::Eq(base, infinity);
    const auto ofZero = hn::IfThenElse(hn::Lt(y, zero), infinity, zero);
    const auto ofInfinity = hn::IfThenElse(hn::Lt(y, zero), zero, infinity);
    power = hn::IfThenElse(isZero, ofZero, power);
    power = hn::IfThenElse(isInfinite, ofInfinity, power);
    power = hn::IfThenElse(hn::Or(hn::IsNaN(base), hn::IsNaN(y)), hn::Add(base, y), power);
    return hn::IfThenElse(hn::Or(hn::Eq(base, one), hn::Eq(y, zero)), one, power);
}

template <class D>
HWY_INLINE hn::Vec<D> pow(D d, hn::Vec<D> x, hn::Vec<D> y)
{
    const auto power = powOfPositive(d, hn::Abs(x), y);
    const auto half = hn::Mul(y, hn::Set(d, 0.5f)); // from 2^24 on all floats are even
    const auto isWhole = hn::Eq(y, hn::Trunc(y));
    const auto isOdd = hn::AndNot(hn::Eq(half, hn::Trunc(half)), isWhole);
    const auto signedPower = hn::IfThenElse(isOdd, hn::CopySign(power, x), power);
    const auto lowest = hn::Set(d, std::numeric_limits<float>::lowest());
    const auto isNegative = hn::And(hn::Lt(x, hn::Zero(d)), hn::Ge(x, lowest));
    const auto nan = hn::Set(d, std::numeric_limits<float>::quiet_NaN());
    const auto ofNegative = hn::IfThenElse(isWhole, signedPower, nan);
    return hn::IfThenElse(isNegative, ofNegative, signedPower);
}

}
HWY_AFTER_NAMESPACE();

#endif
