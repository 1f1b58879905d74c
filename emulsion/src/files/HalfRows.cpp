#include "files/HalfRows.h"

#include <bit>
#include <cmath>

#include <half.h>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace EMULSION::Private
{

namespace
{

// A NaN keeps its sign and what fits of its payload, and becomes quiet: as the processor makes it.
uint16_t halfOfNan(float value)
{
    const auto bits = std::bit_cast<uint32_t>(value);
    return static_cast<uint16_t>((bits >> 16 & 0x8000) | 0x7e00 | (bits >> 13 & 0x1ff));
}

void convertPlainly(uint16_t* halves, const float* floats, size_t count)
{
    for (size_t i = 0; i < count; ++i)
        halves[i] = std::isnan(floats[i]) ? halfOfNan(floats[i]) : half(floats[i]).bits();
}

#if defined(__x86_64__)

__attribute__((target("avx,f16c"))) size_t convertByInstruction(uint16_t* halves,
                                                                const float* floats, size_t count)
{
    size_t i = 0;
    for (; i + 8 <= count; i += 8)
        _mm_storeu_si128(reinterpret_cast<__m128i*>(halves + i),
                         _mm256_cvtps_ph(_mm256_loadu_ps(floats + i), _MM_FROUND_TO_NEAREST_INT));
    return i;
}

size_t convertFast(uint16_t* halves, const float* floats, size_t count)
{
    // Every processor with AVX2 has the instruction; clang 14 cannot ask for it by name.
    static const bool has = __builtin_cpu_supports("avx2");
    return has ? convertByInstruction(halves, floats, count) : 0;
}

#else

size_t convertFast(uint16_t*, const float*, size_t)
{
    return 0;
}

#endif

}

void floatsToHalves(uint16_t* halves, const float* floats, size_t count)
{
    const size_t done = convertFast(halves, floats, count);
    convertPlainly(halves + done, floats + done, count - done);
}

}
