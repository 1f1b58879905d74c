#include <cmath>

#include <EMULSION/Color.h>

#include "private/CacheItems.h"
#include "private/Channels.h"
#include "private/KernelOp.h"
#include "QUILT/ColorTasks.h"

namespace QUILT
{

namespace
{

class BloomOp final : public Private::KernelOp
{
public:
    BloomOp(float threshold, float gain, bool useLuminance)
        : KernelOp(useLuminance ? EMULSION::makeLuminanceBloomOperation(threshold, gain, true)
                                : EMULSION::makeRGBBloomOperation(threshold, gain, true)),
          m_threshold(threshold), m_gain(gain), m_useLuminance(useLuminance)
    {}

    std::string getName() const override { return "Bloom"; }

    void computeCacheID(CacheIDStream& stream) override
    {
        Private::writeItems(stream, m_threshold, m_gain, m_useLuminance);
    }

    unsigned long computeInputChannels(unsigned long wantedAtOutput) override
    {
        return m_useLuminance ? Channels::withWholeRGB(wantedAtOutput) : wantedAtOutput;
    }

private:
    const float m_threshold, m_gain;
    const bool m_useLuminance;
};

// An amount of 50 multiplies by ten.
float gainOf(float amount)
{
    constexpr double base = 1.0471285480508996; // 10^0.02
    return static_cast<float>(std::pow(base, static_cast<double>(amount)));
}

}

ref_ptr<RenderTask> createBloomTask(const std::string& name, float time,
                                    const BloomControlSettings& settings, ref_ptr<RenderTask> input)
{
    if (settings.amount == 0.0f || !settings.enabled)
        return input;
    return Private::createInPlaceTask(
        new BloomOp(settings.threshold, gainOf(settings.amount), settings.useLuminance), name,
        input, time);
}

}
