#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <string>
#include <vector>

#include "SimdTarget.h"

namespace EmulsionTest
{

/// Kernels that are made or called here use the given instruction set.
class SimdScope
{
public:
    explicit SimdScope(const std::string& name) : m_before(EMULSION::Private::simdTarget())
    {
        EMULSION::Private::setSimdTarget(name);
    }
    ~SimdScope() { EMULSION::Private::setSimdTarget(m_before); }

private:
    const std::string m_before;
};

/// For results of two instruction sets: which of two NaNs goes on where they meet is the compiler's
/// choice.
inline bool sameButForNaNs(const std::vector<float>& a, const std::vector<float>& b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](float x, float y) {
        return std::bit_cast<uint32_t>(x) == std::bit_cast<uint32_t>(y) ||
               (std::isnan(x) && std::isnan(y));
    });
}

}
