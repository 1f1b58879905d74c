#include "Samples.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

#include <half.h>

#include "Failure.h"

namespace EMULSION::Module
{

namespace
{

// Calls with a value of the type that stands behind the base type.
void forType(OIIO::TypeDesc::BASETYPE type, const auto& call)
{
    switch (type)
    {
    case OIIO::TypeDesc::UINT8:
        return call(uint8_t{});
    case OIIO::TypeDesc::INT8:
        return call(int8_t{});
    case OIIO::TypeDesc::UINT16:
        return call(uint16_t{});
    case OIIO::TypeDesc::INT16:
        return call(int16_t{});
    case OIIO::TypeDesc::UINT32:
        return call(uint32_t{});
    case OIIO::TypeDesc::INT32:
        return call(int32_t{});
    case OIIO::TypeDesc::HALF:
        return call(Imath::half{});
    case OIIO::TypeDesc::FLOAT:
        return call(float{});
    case OIIO::TypeDesc::DOUBLE:
        return call(double{});
    default:
        throw Failure(ERROR_FILE_UNSUPPORTED, "its samples are of a kind that is not read");
    }
}

template <class T>
float toFloat(T value)
{
    if constexpr (std::is_integral_v<T>)
    {
        // The quotient of two numbers that a float holds exactly is rounded once. Of 32 bits it is
        // rounded twice, which changes nothing: its digits repeat every 32, so no tie is feigned.
        using Exact = std::conditional_t<(sizeof(T) > 2), double, float>;
        constexpr auto most = static_cast<Exact>(std::numeric_limits<T>::max());
        return static_cast<float>(std::max(Exact(-1), static_cast<Exact>(value) / most));
    }
    else
        return static_cast<float>(value);
}

size_t checkedSampleBytes(OIIO::TypeDesc::BASETYPE type)
{
    size_t bytes = 0;
    forType(type, [&](auto value) { bytes = sizeof(value); });
    return bytes;
}

// What OpenImageIO makes of a sample of fewer bits, by repeating its bits or by scaling, lies
// within half a step of the scaled value, so that the nearest one is the sample as it was.
std::vector<float> tableOfNarrowSamples(size_t sampleBytes, int bits)
{
    const int64_t most = (int64_t{1} << (8 * sampleBytes)) - 1;
    const int64_t narrowMost = (int64_t{1} << bits) - 1;
    std::vector<float> table(static_cast<size_t>(most) + 1);
    for (int64_t value = 0; value <= most; ++value)
    {
        const int64_t narrow = (2 * value * narrowMost + most) / (2 * most);
        table[static_cast<size_t>(value)] =
            static_cast<float>(narrow) / static_cast<float>(narrowMost);
    }
    return table;
}

template <class T>
void lookUp(const std::vector<float>& table, const std::byte* samples, float* floats, size_t count)
{
    for (size_t i = 0; i < count; ++i)
    {
        T value;
        std::memcpy(&value, samples + i * sizeof(T), sizeof(T));
        floats[i] = table[value];
    }
}

}

SampleReader::SampleReader(OIIO::TypeDesc::BASETYPE type, int bits)
    : m_type(type), m_sampleBytes(checkedSampleBytes(type))
{
    const bool isUnsigned = type == OIIO::TypeDesc::UINT8 || type == OIIO::TypeDesc::UINT16;
    if (isUnsigned && bits > 0 && bits < static_cast<int>(8 * m_sampleBytes))
        m_table = tableOfNarrowSamples(m_sampleBytes, bits);
}

SampleReader SampleReader::upTo(OIIO::TypeDesc::BASETYPE type, int64_t most)
{
    SampleReader reader(type, 0);
    reader.m_table.resize(size_t{1} << (8 * reader.m_sampleBytes), 1.0f);
    for (int64_t value = 0; value < most; ++value)
        reader.m_table[static_cast<size_t>(value)] =
            static_cast<float>(value) / static_cast<float>(most);
    return reader;
}

void SampleReader::convert(const std::byte* samples, float* floats, size_t count) const
{
    if (!m_table.empty())
    {
        m_sampleBytes == 1 ? lookUp<uint8_t>(m_table, samples, floats, count)
                           : lookUp<uint16_t>(m_table, samples, floats, count);
        return;
    }
    forType(m_type, [&](auto type) {
        using T = decltype(type);
        for (size_t i = 0; i < count; ++i)
        {
            T value;
            std::memcpy(&value, samples + i * sizeof(T), sizeof(T));
            floats[i] = toFloat(value);
        }
    });
}

namespace
{

// An 8 x 8 ordered pattern, from 1/128 to 127/128. A pixel's place is its column and row with their
// bits interleaved, the lowest ones counting most (B. E. Bayer, 1973).
double thresholdAt(int64_t x, int64_t y)
{
    int64_t place = 0;
    for (int bit = 0; bit < 3; ++bit)
        place = place * 4 + ((((x ^ y) >> bit) & 1) * 2 + ((y >> bit) & 1));
    return (static_cast<double>(place) + 0.5) / 64.0;
}

// From 0 to 1, NaN being 0.
double clamped(double value)
{
    return value > 0.0 ? std::min(value, 1.0) : 0.0;
}

// Of a value below 2^51: nearest, ties to even, as the sum with 2^52 has no place for more.
uint32_t nearest(double value)
{
    return static_cast<uint32_t>(std::bit_cast<uint64_t>(value + 0x1p52));
}

// OpenImageIO takes 10 and 12 bits as the upper ones of 16, the lower ones repeating them.
uint32_t widened(uint32_t value, int bits)
{
    return bits == 10 ? value << 6 | value >> 4 : bits == 12 ? value << 4 | value >> 8 : value;
}

template <class T>
void store(std::byte* samples, size_t index, T value)
{
    std::memcpy(samples + index * sizeof(T), &value, sizeof(T));
}

// By what the colours of a pixel are multiplied to take its alpha out of them. The file's alpha is
// the clamped one, and a reader multiplies by that.
double divisorOf(float alpha)
{
    const double kept = clamped(static_cast<double>(alpha));
    return kept > 0.0 ? kept : 1.0;
}

}

OIIO::TypeDesc::BASETYPE SampleWriter::type() const
{
    switch (m_sample)
    {
    case Sample::UInt8:
        return OIIO::TypeDesc::UINT8;
    case Sample::Half:
        return OIIO::TypeDesc::HALF;
    case Sample::Float:
        return OIIO::TypeDesc::FLOAT;
    default:
        return OIIO::TypeDesc::UINT16;
    }
}

int SampleWriter::bits() const
{
    switch (m_sample)
    {
    case Sample::UInt8:
        return 8;
    case Sample::UInt10:
        return 10;
    case Sample::UInt12:
        return 12;
    case Sample::Float:
        return 32;
    default:
        return 16;
    }
}

void SampleWriter::convertRow(const float* pixels, std::byte* samples, int64_t width, int channels,
                              int64_t y, bool divideByAlpha) const
{
    const size_t count = static_cast<size_t>(width * channels);
    if (m_sample == Sample::Float)
    {
        std::memcpy(samples, pixels, count * sizeof(float));
        return;
    }
    if (m_sample == Sample::Half)
    {
        for (size_t i = 0; i < count; ++i)
            store(samples, i, Imath::half(pixels[i]));
        return;
    }
    const double most = (1 << bits()) - 1;
    for (int64_t x = 0; x < width; ++x)
    {
        const float* pixel = pixels + x * channels;
        const double divisor = divideByAlpha ? divisorOf(pixel[channels - 1]) : 1.0;
        const double threshold = m_dither ? thresholdAt(x, y) : 0.0;
        for (int channel = 0; channel < channels; ++channel)
        {
            const bool isAlpha = channels == 4 && channel == 3;
            const double value = static_cast<double>(pixel[channel]);
            const double step = clamped(isAlpha ? value : value / divisor) * most;
            const uint32_t sample =
                m_dither && !isAlpha ? static_cast<uint32_t>(step + threshold) : nearest(step);
            const size_t index = static_cast<size_t>(x * channels + channel);
            if (bits() == 8)
                store(samples, index, static_cast<uint8_t>(sample));
            else
                store(samples, index, static_cast<uint16_t>(widened(sample, bits())));
        }
    }
}

void roundToSharedExponent(const float* pixels, float* rounded, int64_t width)
{
    // The largest number that 8 bits and the largest exponent make.
    constexpr float most = 0x0.ffp127f;
    for (int64_t x = 0; x < width; ++x)
    {
        float colour[3];
        for (int channel = 0; channel < 3; ++channel)
        {
            const float value = pixels[3 * x + channel];
            colour[channel] = value > 0.0f ? std::min(value, most) : 0.0f;
        }
        int exponent = 0;
        std::frexp(std::max({colour[0], colour[1], colour[2]}), &exponent);
        // A largest value that rounds up to the next power of two takes the coarser steps of that.
        if (std::nearbyint(std::ldexp(std::max({colour[0], colour[1], colour[2]}), 8 - exponent)) ==
            256.0f)
            ++exponent;
        for (int channel = 0; channel < 3; ++channel)
            rounded[3 * x + channel] =
                std::ldexp(std::nearbyint(std::ldexp(colour[channel], 8 - exponent)), exponent - 8);
    }
}

}
