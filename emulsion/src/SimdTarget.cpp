#include "SimdTarget.h"

#include <cstdio>
#include <cstdlib>

#include "SimdDispatch.h"

namespace EMULSION::Private
{

constinit hwy::ChosenTarget s_chosenTarget;

namespace
{

struct NamedTarget
{
    const char* name;
    int64_t bit; // a better target has a lower one
};

constexpr NamedTarget s_targets[] = {
    {"avx512", HWY_AVX3},
    {"avx2", HWY_AVX2},
    {"sse4", HWY_SSE4},
    {"scalar", HWY_SCALAR | HWY_EMU128},
};

// Those that both the machine can run and this library was built for. The plain one is always
// among them.
int64_t usableTargets()
{
    return (hwy::SupportedTargets() & HWY_TARGETS) | HWY_SCALAR | HWY_EMU128;
}

// Makes the first of the table from `first` on that the machine has the best one there is.
void choose(const NamedTarget& first)
{
    const int64_t lowestBit = first.bit & -first.bit;
    s_chosenTarget.Update(usableTargets() & ~(lowestBit - 1));
}

// Runs when the library is loaded.
struct ChosenAtStart
{
    ChosenAtStart()
    {
        choose(s_targets[0]);
        const char* const name = std::getenv("EMULSION_SIMD");
        if (name && !setSimdTarget(name))
            std::fprintf(stderr,
                         "EMULSION_SIMD is \"%s\", which is none of avx512, avx2, sse4 and scalar: "
                         "ignored.\n",
                         name);
    }
} s_chosenAtStart;

}

std::vector<std::string> simdTargets()
{
    std::vector<std::string> names;
    for (const NamedTarget& target : s_targets)
    {
        if (usableTargets() & target.bit)
            names.push_back(target.name);
    }
    return names;
}

std::string simdTarget()
{
    // The table that kernels are called from has its entries in this order, with one for each bit.
    const int64_t best = static_cast<int64_t>(s_chosenTarget.GetIndex());
    for (const NamedTarget& target : s_targets)
    {
        hwy::ChosenTarget alone;
        alone.Update(target.bit);
        if (static_cast<int64_t>(alone.GetIndex()) == best)
            return target.name;
    }
    return "scalar";
}

bool setSimdTarget(const std::string& name)
{
    for (const NamedTarget& target : s_targets)
    {
        if (name == target.name)
        {
            choose(target);
            return true;
        }
    }
    return false;
}

}
