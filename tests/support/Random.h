#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <map>
#include <random>
#include <string>

#include <gtest/gtest.h>

// Only the runtimes of sanitizers bring it. NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" __attribute__((weak)) void __sanitizer_set_death_callback(void (*callback)());

/// Random tests that can be repeated: every case has a seed of its own, which is printed when the
/// case fails.
///
///     QUILT_TEST_SEED=<n>   the seed of the first case; the next ones count up from it
///     QUILT_TEST_CASES=<n>  how many cases a test runs, in place of its own number
namespace QUILT::Test
{

/// A stream of random values, the same on every machine for the same seed.
class Random
{
public:
    explicit Random(uint64_t seed) : m_engine(seed) {}

    /// The stream of that seed with some of its draws, counted from 0, replaced. Smaller draws make
    /// smaller values, so a failing case is made simpler by lowering its draws.
    Random(uint64_t seed, const std::map<std::size_t, uint64_t>& replaced)
        : m_engine(seed), m_replaced(replaced)
    {}

    uint64_t bits()
    {
        const uint64_t drawn = m_engine();
        const auto found = m_replaced.find(m_drawCount++);
        m_wasReplaced = found != m_replaced.end();
        return m_wasReplaced ? found->second : drawn;
    }

    std::size_t drawCount() const { return m_drawCount; }

    /// A whole number from `lowest` to `highest`, both included.
    int64_t between(int64_t lowest, int64_t highest)
    {
        const uint64_t range = static_cast<uint64_t>(highest) - static_cast<uint64_t>(lowest) + 1;
        const uint64_t step = range == 0 ? bits() : below(range);
        return static_cast<int64_t>(static_cast<uint64_t>(lowest) + step);
    }

    /// A number from `lowest` up to, but without, `highest`.
    double real(double lowest, double highest)
    {
        return lowest + (highest - lowest) * (static_cast<double>(bits() >> 11) * 0x1p-53);
    }

    /// True once in `n` times. The smallest draw gives false, which is the plainer answer.
    bool oneIn(int64_t n)
    {
        const auto range = static_cast<uint64_t>(n);
        const uint64_t drawn = below(range);
        return m_wasReplaced ? drawn == range - 1 : drawn == 0;
    }

    /// One of the elements of a container that is not empty.
    const auto& pick(const auto& container)
    {
        return container[static_cast<std::size_t>(
            between(0, static_cast<int64_t>(std::size(container)) - 1))];
    }

private:
    __extension__ typedef unsigned __int128 Wide;

    // From 0 to range - 1. Of a replaced draw it is the size that counts.
    uint64_t below(uint64_t range)
    {
        const uint64_t drawn = bits();
        return m_wasReplaced ? static_cast<uint64_t>((Wide(drawn) * range) >> 64) : drawn % range;
    }

    std::mt19937_64 m_engine;
    std::map<std::size_t, uint64_t> m_replaced;
    std::size_t m_drawCount = 0;
    bool m_wasReplaced = false; // the last draw
};

/// The whole number in an environment variable, or the given one when it is not set.
inline uint64_t numberFromEnvironment(const char* name, uint64_t otherwise)
{
    const char* text = std::getenv(name);
    return text ? std::strtoull(text, nullptr, 0) : otherwise;
}

/// The seed of the case that runs, told also when a sanitizer ends the process.
inline uint64_t s_runningSeed = 0;

inline void tellSeedAtDeath()
{
    if (!__sanitizer_set_death_callback)
        return;
    __sanitizer_set_death_callback([] {
        std::fprintf(stderr, "repeat with QUILT_TEST_CASES=1 QUILT_TEST_SEED=%llu\n",
                     static_cast<unsigned long long>(s_runningSeed));
    });
}

/// Runs `work(Random&)` once for each case and stops at the first that fails or throws.
void forEachRandomCase(int cases, auto&& work)
{
    const uint64_t first = numberFromEnvironment("QUILT_TEST_SEED", 1);
    const uint64_t count = numberFromEnvironment("QUILT_TEST_CASES", static_cast<uint64_t>(cases));
    tellSeedAtDeath();
    for (uint64_t seed = first; seed != first + count; ++seed)
    {
        s_runningSeed = seed;
        SCOPED_TRACE("repeat with QUILT_TEST_CASES=1 QUILT_TEST_SEED=" + std::to_string(seed));
        Random random(seed);
        try
        {
            work(random);
        }
        catch (const std::exception& error)
        {
            ADD_FAILURE() << "an exception came out of the case: " << error.what();
        }
        if (testing::Test::HasFailure())
            return;
    }
}

}
