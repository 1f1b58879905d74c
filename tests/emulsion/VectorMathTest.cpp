// The functions of VectorMath-inl.h against the C library's in double precision.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "emulsion/VectorMathTest.cpp"
#include <hwy/foreach_target.h>

#include "VectorMath-inl.h"

#ifndef EMULSION_VECTOR_MATH_TEST
#define EMULSION_VECTOR_MATH_TEST
namespace EmulsionTest
{

enum Function
{
    Exp,
    Exp2,
    Log,
    Log2,
    CubeRoot,
    Pow
};

constexpr size_t s_batch = 1024;

}
#endif

HWY_BEFORE_NAMESPACE();
namespace EMULSION::HWY_NAMESPACE
{

namespace
{

template <class D>
hn::Vec<D> cubeRoot(D d, hn::Vec<D> x)
{
    const auto root = inDoubles(
        d, [](auto dd, auto v) HWY_ATTR { return cubeRootDoubles(dd, v); }, hn::Abs(x));
    return hn::CopySign(root, x);
}

template <class D>
hn::Vec<D> result(D d, EmulsionTest::Function function, hn::Vec<D> x, hn::Vec<D> y)
{
    switch (function)
    {
    case EmulsionTest::Exp:
        return exp(d, x);
    case EmulsionTest::Exp2:
        return exp2(d, x);
    case EmulsionTest::Log:
        return log(d, x);
    case EmulsionTest::Log2:
        return log2(d, x);
    case EmulsionTest::CubeRoot:
        return cubeRoot(d, x);
    default:
        return pow(d, x, y);
    }
}

void runBatch(EmulsionTest::Function function, const float* x, const float* y, float* results)
{
    const hn::ScalableTag<float> d;
    for (size_t i = 0; i < EmulsionTest::s_batch; i += hn::Lanes(d))
        hn::StoreU(result(d, function, hn::LoadU(d, x + i), hn::LoadU(d, y + i)), d, results + i);
}

}

}
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdio>
#include <functional>
#include <vector>

#include <gtest/gtest.h>

#include "support/Random.h"

namespace EMULSION
{

HWY_EXPORT(runBatch);

}

namespace EmulsionTest
{

namespace
{

using Batch = std::array<float, s_batch>;

// The kernel for each instruction set that this machine has.
std::vector<decltype(&EMULSION::HWY_STATIC_DISPATCH(runBatch))> everyTarget()
{
    std::vector<decltype(&EMULSION::HWY_STATIC_DISPATCH(runBatch))> all;
    for (const int64_t target : hwy::SupportedAndGeneratedTargets())
    {
        hwy::ChosenTarget chosen;
        chosen.Update(target);
        all.push_back(EMULSION::HWY_DISPATCH_TABLE(runBatch)[chosen.GetIndex()]);
    }
    return all;
}

bool sameFloat(float a, float b)
{
    return std::bit_cast<uint32_t>(a) == std::bit_cast<uint32_t>(b) ||
           (std::isnan(a) && std::isnan(b));
}

// In units of the true value's last place as a float; an infinity counts as the float after the
// largest one.
double errorOf(float result, double truth)
{
    if (std::isnan(truth) || std::isnan(result))
        return std::isnan(truth) == std::isnan(result) ? 0 : HUGE_VAL;
    const auto limited = [](double v) { return std::clamp(v, -0x1p128, 0x1p128); };
    const int exponent = truth == 0 ? -126 : std::max(std::ilogb(limited(truth)), -126);
    const double unit = std::ldexp(1.0, std::min(exponent, 127) - 23);
    return std::abs(limited(result) - limited(truth)) / unit;
}

struct FunctionCase
{
    const char* name;
    Function function;
    double (*truth)(double);
};

class Worst
{
public:
    explicit Worst(const char* name) : m_name(name) {}

    // Puts one batch through every instruction set: all must give the first one's bits.
    void run(Function function, const Batch& x, const Batch& y, auto&& truth)
    {
        static const auto s_targets = everyTarget();
        Batch results, others;
        s_targets[0](function, x.data(), y.data(), results.data());
        for (size_t target = 1; target < s_targets.size(); ++target)
        {
            s_targets[target](function, x.data(), y.data(), others.data());
            for (size_t i = 0; i < s_batch; ++i)
                ASSERT_TRUE(sameFloat(results[i], others[i]))
                    << m_name << " of " << x[i] << ", " << y[i] << ": target 0 gives " << results[i]
                    << ", target " << target << " gives " << others[i];
        }
        for (size_t i = 0; i < s_batch; ++i)
            note(x[i], y[i], results[i], truth(x[i], y[i]));
    }

    void report() const
    {
        std::printf("%-8s %.4f ulp, at %a, %a\n", m_name, m_error, m_x, m_y);
        testing::Test::RecordProperty(m_name, std::to_string(m_error));
        EXPECT_LE(m_error, 0.51) << m_name;
    }

private:
    void note(float x, float y, float result, double truth)
    {
        // What a float holds exactly must be exact, its sign included.
        if (double(float(truth)) == truth)
        {
            ASSERT_TRUE(sameFloat(result, float(truth)))
                << m_name << " of " << x << ", " << y << " is " << result << " and not " << truth;
        }
        const double error = errorOf(result, truth);
        if (error <= m_error)
            return;
        m_error = error;
        m_x = x;
        m_y = y;
    }

    const char* const m_name;
    double m_error = 0, m_x = 0, m_y = 0;
};

uint64_t casesOr(uint64_t usual)
{
    return QUILT::Test::numberFromEnvironment("QUILT_TEST_CASES", usual);
}

}

// A step through all bit patterns; with QUILT_TEST_CASES of 2^32 or more, every one of them.
TEST(VectorMath, IsWithinALittleMoreThanHalfAnUlp)
{
    constexpr uint64_t all = uint64_t(1) << 32;
    const uint64_t step = std::max<uint64_t>(1, all / std::min(all, casesOr(1 << 20)) | 1);
    const FunctionCase functions[] = {{"exp", Exp, std::exp},
                                      {"exp2", Exp2, std::exp2},
                                      {"log", Log, std::log},
                                      {"log2", Log2, std::log2},
                                      {"cbrt", CubeRoot, std::cbrt}};
    for (const FunctionCase& tested : functions)
    {
        Worst worst(tested.name);
        Batch x, y = {};
        for (uint64_t bits = 0; bits < all && !testing::Test::HasFailure();)
        {
            for (float& value : x)
            {
                value = std::bit_cast<float>(static_cast<uint32_t>(bits));
                bits += step;
            }
            worst.run(tested.function, x, y, [&](double v, double) { return tested.truth(v); });
        }
        worst.report();
    }
}

// Bases near 1 with exponents that make much of them, results near the ends of the range, small
// whole numbers with exact results, and any bits at all.
TEST(VectorMath, PowIsWithinALittleMoreThanHalfAnUlp)
{
    QUILT::Test::Random random(QUILT::Test::numberFromEnvironment("QUILT_TEST_SEED", 1));
    const auto anyBits = [&] { return std::bit_cast<float>(static_cast<uint32_t>(random.bits())); };
    Worst worst("pow");
    Batch x, y;
    for (uint64_t done = 0; done < casesOr(1 << 20) && !testing::Test::HasFailure();
         done += s_batch)
    {
        for (size_t i = 0; i < s_batch; ++i)
        {
            x[i] = anyBits();
            y[i] = anyBits();
            if (i % 4 == 1)
                x[i] = 1 + std::ldexp(float(random.real(-1, 1)), -int(random.between(1, 23)));
            if (i % 4 == 2)
            {
                x[i] = float(random.between(-40, 40)) / 8;
                y[i] = float(random.between(-40, 40)) / 2;
            }
            else if (i % 4 != 0)
                y[i] = float(random.real(-151, 129) / std::log2(std::abs(double(x[i]))));
        }
        worst.run(Pow, x, y, [](double v, double w) { return std::pow(v, w); });
    }
    worst.report();
}

// Every pair of the values where special cases begin, also as ISO C, Annex F, has them.
TEST(VectorMath, TreatsSpecialValuesLikeTheCLibrary)
{
    std::vector<float> special;
    for (const float size : {0.0f,
                             0x1p-149f,
                             0x1p-127f,
                             0x1p-126f,
                             0.3f,
                             0.5f,
                             0x1.fffffep-1f,
                             1.0f,
                             0x1.000002p0f,
                             1.5f,
                             2.0f,
                             3.0f,
                             8.0f,
                             127.5f,
                             128.0f,
                             129.0f,
                             149.0f,
                             150.0f,
                             151.0f,
                             0x1.fffffep23f,
                             0x1p24f,
                             0x1.000002p24f,
                             0x1.fffffep127f,
                             HUGE_VALF,
                             std::nanf("")})
        special.insert(special.end(), {size, -size});
    Batch x = {}, y = {};
    size_t i = 0;
    Worst worst("special");
    const auto runAll = [&] {
        worst.run(Pow, x, y, [](double v, double w) { return std::pow(v, w); });
        worst.run(Exp, x, y, [](double v, double) { return std::exp(v); });
        worst.run(Exp2, x, y, [](double v, double) { return std::exp2(v); });
        worst.run(Log, x, y, [](double v, double) { return std::log(v); });
        worst.run(Log2, x, y, [](double v, double) { return std::log2(v); });
        worst.run(CubeRoot, x, y, [](double v, double) { return std::cbrt(v); });
        i = 0;
    };
    for (const float base : special)
        for (const float exponent : special)
        {
            x[i] = base;
            y[i++] = exponent;
            if (i == s_batch)
                runAll();
        }
    runAll();
    worst.report();
}

}

#endif
