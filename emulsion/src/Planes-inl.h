// Interleaved pixels to planes and back, moving bits and computing nothing.
#if defined(EMULSION_PLANES_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef EMULSION_PLANES_INL_H_
#undef EMULSION_PLANES_INL_H_
#else
#define EMULSION_PLANES_INL_H_
#endif

#include <hwy/cache_control.h>
#include <hwy/highway.h>

#include <algorithm>
#include <cstring>

#include "EMULSION/PixelOperation.h"
#include "Rows.h"

HWY_BEFORE_NAMESPACE();
namespace EMULSION::HWY_NAMESPACE
{

namespace hn = hwy::HWY_NAMESPACE;

// Four planes of a strip. They start as zeros: what stands behind a short row's end is computed
// with, too.
struct Planes
{
    Planes() : red{}, green{}, blue{}, alpha{} {}
    Planes(const Planes&) = delete;
    Planes& operator=(const Planes&) = delete;

    alignas(PixelOperation::s_planeAlignment) float red[PixelOperation::s_stripLength];
    alignas(PixelOperation::s_planeAlignment) float green[PixelOperation::s_stripLength];
    alignas(PixelOperation::s_planeAlignment) float blue[PixelOperation::s_stripLength];
    alignas(PixelOperation::s_planeAlignment) float alpha[PixelOperation::s_stripLength];

    float* const all[4] = {red, green, blue, alpha};
};

// The planes of the channels in a mask, in their order; returns how many there are.
inline int planesOf(uint64_t channels, float* const all[4], float* selected[4])
{
    int count = 0;
    for (int channel = 0; channel < 4; ++channel)
    {
        if (channels >> channel & 1)
            selected[count++] = all[channel];
    }
    return count;
}

// The hardware follows several pictures poorly when each is read for half a page at a time, so what
// comes next is asked for ahead. Past a picture's end this does nothing.
constexpr size_t s_lineFloats = 16, s_prefetchDistance = 1024;

template <int Channels>
void deinterleave(const float* pixels, size_t count, float* const planes[4])
{
    const hn::ScalableTag<float> d;
    const size_t lanes = hn::Lanes(d);
    hn::Vec<decltype(d)> v[4];
    size_t i = 0;
    for (; i + lanes <= count; i += lanes)
    {
        const float* const from = pixels + i * Channels;
        for (size_t line = 0; line < lanes * Channels; line += s_lineFloats)
            hwy::Prefetch(from + s_prefetchDistance + line);
        if constexpr (Channels == 4)
            hn::LoadInterleaved4(d, from, v[0], v[1], v[2], v[3]);
        else if constexpr (Channels == 3)
            hn::LoadInterleaved3(d, from, v[0], v[1], v[2]);
        else if constexpr (Channels == 2)
            hn::LoadInterleaved2(d, from, v[0], v[1]);
        else
            v[0] = hn::LoadU(d, from);
        for (int channel = 0; channel < Channels; ++channel)
            hn::Store(v[channel], d, planes[channel] + i);
    }
    for (; i < count; ++i)
    {
        for (int channel = 0; channel < Channels; ++channel)
            planes[channel][i] = pixels[i * Channels + channel];
    }
}

template <int Channels>
void interleave(const float* const planes[4], size_t count, float* pixels)
{
    const hn::ScalableTag<float> d;
    const size_t lanes = hn::Lanes(d);
    hn::Vec<decltype(d)> v[4];
    size_t i = 0;
    for (; i + lanes <= count; i += lanes)
    {
        float* const to = pixels + i * Channels;
        for (int channel = 0; channel < Channels; ++channel)
            v[channel] = hn::Load(d, planes[channel] + i);
        if constexpr (Channels == 4)
            hn::StoreInterleaved4(v[0], v[1], v[2], v[3], d, to);
        else if constexpr (Channels == 3)
            hn::StoreInterleaved3(v[0], v[1], v[2], d, to);
        else if constexpr (Channels == 2)
            hn::StoreInterleaved2(v[0], v[1], d, to);
        else
            hn::StoreU(v[0], d, to);
    }
    for (; i < count; ++i)
    {
        for (int channel = 0; channel < Channels; ++channel)
            pixels[i * Channels + channel] = planes[channel][i];
    }
}

// Fills the planes of `channels` from as many interleaved pixels; leaves the other planes.
inline void loadPlanes(const float* pixels, uint64_t channels, size_t count, float* const planes[4])
{
    float* selected[4];
    switch (planesOf(channels, planes, selected))
    {
    case 4:
        return deinterleave<4>(pixels, count, selected);
    case 3:
        return deinterleave<3>(pixels, count, selected);
    case 2:
        return deinterleave<2>(pixels, count, selected);
    case 1:
        return deinterleave<1>(pixels, count, selected);
    default:
        return;
    }
}

// Writes the planes of `channels` as interleaved pixels.
inline void storePlanes(float* const planes[4], uint64_t channels, size_t count, float* pixels)
{
    float* selected[4];
    switch (planesOf(channels, planes, selected))
    {
    case 4:
        return interleave<4>(selected, count, pixels);
    case 3:
        return interleave<3>(selected, count, pixels);
    case 2:
        return interleave<2>(selected, count, pixels);
    case 1:
        return interleave<1>(selected, count, pixels);
    default:
        return;
    }
}

// Copies past the caches, where whole lines of them are written.
inline void streamFloats(const float* from, size_t count, float* to)
{
    const hn::ScalableTag<float> d;
    const size_t lanes = hn::Lanes(d);
    const size_t misplaced = reinterpret_cast<uintptr_t>(to) / sizeof(float) % lanes;
    size_t i = misplaced ? std::min(count, lanes - misplaced) : 0;
    std::memcpy(to, from, i * sizeof(float));
    for (; i + lanes <= count; i += lanes)
        hn::Stream(hn::LoadU(d, from + i), d, to + i);
    std::memcpy(to + i, from + i, (count - i) * sizeof(float));
}

// Writes planes as interleaved pixels of one image, strip by strip. What goes to an image that no
// cache could hold goes past the caches: it would only be read there to be overwritten, and push
// out what is of use.
class StripWriter
{
public:
    // `inPlace`: pixels of the image are read before they are written.
    StripWriter(const Image& output, bool inPlace)
        : m_channels(output.channels),
          m_streams(!inPlace &&
                    output.rowBytes * static_cast<uint64_t>(output.bounds.height()) >= s_largest)
    {}

    ~StripWriter()
    {
        if (m_streams)
            hwy::FlushStream();
    }

    StripWriter(const StripWriter&) = delete;
    StripWriter& operator=(const StripWriter&) = delete;

    void write(float* const planes[4], size_t count, float* pixels)
    {
        if (!m_streams)
            return storePlanes(planes, m_channels, count, pixels);
        storePlanes(planes, m_channels, count, m_strip);
        streamFloats(m_strip, count * static_cast<size_t>(Private::channelCount(m_channels)),
                     pixels);
    }

private:
    static constexpr uint64_t s_largest = uint64_t(16) << 20; // bytes

    const uint64_t m_channels;
    const bool m_streams;
    alignas(PixelOperation::s_planeAlignment) float m_strip[4 * PixelOperation::s_stripLength];
};

// Vector by vector, because what a library's copy of a few hundred bytes has written with stores of
// another width is slow to load again.
inline void copyPlane(const float* from, size_t count, float* to)
{
    const hn::ScalableTag<float> d;
    for (size_t i = 0; i < count; i += hn::Lanes(d))
        hn::Store(hn::Load(d, from + i), d, to + i);
}

// Zeroes the planes of `channels`.
inline void clearPlanes(uint64_t channels, size_t count, float* const planes[4])
{
    const hn::ScalableTag<float> d;
    float* selected[4];
    const int planeCount = planesOf(channels, planes, selected);
    for (int plane = 0; plane < planeCount; ++plane)
    {
        for (size_t i = 0; i < count; i += hn::Lanes(d))
            hn::Store(hn::Zero(d), d, selected[plane] + i);
    }
}

}
HWY_AFTER_NAMESPACE();

#endif
