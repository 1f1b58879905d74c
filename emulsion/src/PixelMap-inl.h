// Packs a formula over vectors as a PixelOperation, compiled for the instruction set at hand.
#if defined(EMULSION_PIXEL_MAP_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef EMULSION_PIXEL_MAP_INL_H_
#undef EMULSION_PIXEL_MAP_INL_H_
#else
#define EMULSION_PIXEL_MAP_INL_H_
#endif

#include <hwy/highway.h>

#include "EMULSION/Channels.h"
#include "EMULSION/PixelOperation.h"

HWY_BEFORE_NAMESPACE();
namespace EMULSION::HWY_NAMESPACE
{

namespace hn = hwy::HWY_NAMESPACE;

constexpr int s_alpha = 3; // its number among the channels

template <class Formula>
class ValuesOperation final : public PixelOperation
{
public:
    ValuesOperation(const char* name, const Formula& formula, uint64_t affected)
        : m_name(name), m_formula(formula), m_affected(affected)
    {}

    const char* getName() const override { return m_name; }
    uint64_t getRequiredChannels(uint64_t wanted) const override { return wanted; }

    void transform(float* const planes[4], size_t count, uint64_t wanted) const override
    {
        for (int channel = 0; channel < 4; ++channel)
        {
            if ((wanted & m_affected) >> channel & 1)
                transformPlane(planes[channel], count, channel);
        }
    }

private:
    void transformPlane(float* plane, size_t count, int channel) const
    {
        const hn::ScalableTag<float> d;
        // A copy whose address nobody has: a store to the plane cannot change it, and what the
        // formula makes of its parameters leaves the loop.
        const Formula formula = m_formula;
        for (size_t i = 0; i < count; i += hn::Lanes(d))
        {
            const auto x = hn::Load(d, plane + i);
            if constexpr (requires { formula(d, x, channel); })
                hn::Store(formula(d, x, channel), d, plane + i);
            else
                hn::Store(formula(d, x), d, plane + i);
        }
    }

    const char* const m_name;
    const Formula m_formula;
    const uint64_t m_affected;
};

template <class Formula>
class PixelsOperation final : public PixelOperation
{
public:
    PixelsOperation(const char* name, const Formula& formula, uint64_t affected, uint64_t read)
        : m_name(name), m_formula(formula), m_affected(affected), m_read(read)
    {}

    const char* getName() const override { return m_name; }

    uint64_t getRequiredChannels(uint64_t wanted) const override
    {
        return wanted & m_affected ? (wanted & ~m_affected) | m_read : wanted;
    }

    void transform(float* const planes[4], size_t count, uint64_t wanted) const override
    {
        if ((wanted & m_affected) == 0)
            return;
        const hn::ScalableTag<float> d;
        const Formula formula = m_formula;
        float* const red = planes[0];
        float* const green = planes[1];
        float* const blue = planes[2];
        float* const alpha = planes[3];
        // All four are stored, wanted or not. Tests inside of this loop would make several loops of
        // it, and which of two NaNs goes on where they meet may differ between these.
        for (size_t i = 0; i < count; i += hn::Lanes(d))
        {
            auto r = hn::Load(d, red + i);
            auto g = hn::Load(d, green + i);
            auto b = hn::Load(d, blue + i);
            auto a = hn::Load(d, alpha + i);
            formula(d, r, g, b, a);
            hn::Store(r, d, red + i);
            hn::Store(g, d, green + i);
            hn::Store(b, d, blue + i);
            hn::Store(a, d, alpha + i);
        }
    }

private:
    const char* const m_name;
    const Formula m_formula;
    const uint64_t m_affected;
    const uint64_t m_read;
};

// An operation that treats each channel by itself, by formula(d, x) for a vector x of values, or by
// formula(d, x, channel) with the channel's number when the channels have parameters of their own.
// Channels that are not in `affected` pass unchanged. `name` is not copied.
template <class Formula>
PixelOperationPtr mapValues(const char* name, const Formula& formula, uint64_t affected = 15)
{
    return std::make_shared<ValuesOperation<Formula>>(name, formula, affected);
}

// An operation that mixes channels, by formula(d, r, g, b, a) on references to vectors. It changes
// no channel but those in `affected`; `read` names every channel that one of these depends on.
template <class Formula>
PixelOperationPtr mapPixels(const char* name, const Formula& formula, uint64_t affected = 15,
                            uint64_t read = 15)
{
    return std::make_shared<PixelsOperation<Formula>>(name, formula, affected, read);
}

}
HWY_AFTER_NAMESPACE();

#endif
