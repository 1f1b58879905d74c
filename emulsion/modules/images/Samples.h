#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include <OpenImageIO/typedesc.h>

#include "files/ImageModuleInterface.h"

namespace EMULSION::Module
{

/// Makes floats of the samples of a file: integers become 0 to 1, correctly rounded, negative ones
/// of signed types down to -1; halves and floats are what they are.
class SampleReader
{
public:
    /// `bits` is how many bits of each sample have been in the file, where OpenImageIO has widened
    /// them; 0 where it does not say.
    SampleReader(OIIO::TypeDesc::BASETYPE type, int bits);

    /// Of UINT8 or UINT16, of which `most` and more stand for 1.
    static SampleReader upTo(OIIO::TypeDesc::BASETYPE type, int64_t most);

    size_t sampleBytes() const { return m_sampleBytes; }
    void convert(const std::byte* samples, float* floats, size_t count) const;

private:
    OIIO::TypeDesc::BASETYPE m_type;
    size_t m_sampleBytes;
    std::vector<float> m_table; ///< the float of each value; empty when it is computed
};

/// Makes samples for a file of floats: integers clamped to 0 to 1, rounded to the nearest and at
/// ties to the even one, NaN being 0.
class SampleWriter
{
public:
    SampleWriter(Sample sample, bool dither) : m_sample(sample), m_dither(dither) {}

    OIIO::TypeDesc::BASETYPE type() const;
    int bits() const;
    size_t sampleBytes() const { return OIIO::TypeDesc(type()).size(); }

    /// One row of pixels, `y` counted from the top of the picture. With `divideByAlpha` the last
    /// channel is an alpha that the others have been multiplied by.
    void convertRow(const float* pixels, std::byte* samples, int64_t width, int channels, int64_t y,
                    bool divideByAlpha) const;

private:
    const Sample m_sample;
    const bool m_dither;
};

/// Rounds the colours to what a shared exponent of 8 bits can hold, which is what Radiance files
/// hold: the largest of the three keeps 8 bits, the others as many fewer as they are smaller.
/// Negative values and NaN become 0.
void roundToSharedExponent(const float* pixels, float* rounded, int64_t width);

}
