#include <algorithm>
#include <array>
#include <cctype>
#include <stdexcept>

#include <EMULSION/ColorSpace.h>
#include <OpenColorIO/OpenColorIO.h>

#include "CurveItems.h"
#include "private/Assert.h"
#include "private/Channels.h"
#include "private/FirstInputTask.h"
#include "private/InnerTask.h"
#include "private/Require.h"
#include "QUILT/ChannelTasks.h"
#include "QUILT/ColorTasks.h"
#include "QUILT/CurveTasks.h"

namespace QUILT
{

namespace
{

using Color = Imath::Color4<float>;

// Runs luminance, which stands in alpha or, for all three ranges, in red, green and blue, through
// the curves of the ranges.
class RangeKeyTask final : public Private::FirstInputTask
{
public:
    RangeKeyTask(const std::string& name, float time, const RangeKeyParams& params,
                 RangeKeyType type, float low, float high)
        : FirstInputTask(name, time), m_type(type), m_low(low), m_high(high),
          m_shadowSlope(params.shadowSlope), m_highlightSlope(params.highlightSlope)
    {}

    std::string getType() const override { return "RangeKey"; }

    void computeCacheID(CacheIDStream& stream) override
    {
        Private::writeItems(stream, m_low, m_high, m_shadowSlope, m_highlightSlope, m_type);
        Private::writeItems(stream, EMULSION::GetColorConfigID());
    }

    unsigned long computeOutputChannels() override
    {
        return Channels::withAlpha(getDefinedInputChannels(0));
    }

    Color computeBackgroundColor() override
    {
        makeCurves();
        return EMULSION::Run(getInputBackgroundColor(0), *m_operation);
    }

    void renderRect(const EMULSION::Image* output,
                    const std::vector<const EMULSION::Image*>& inputs) override
    {
        if (!hasCurves())
            throw std::runtime_error("RangeKey::renderRect called before luts were initialized.");
        EMULSION::Run(output, inputs[0], *m_operation);
    }

private:
    bool hasCurves() const
    {
        return !m_shadowLut.empty() || !m_midtoneLut.empty() || !m_highlightLut.empty();
    }

    void makeCurves()
    {
        if (hasCurves())
            throw std::runtime_error("RangeKey::createLUT called more than once.");
        const std::array<std::vector<float>*, 3> luts{&m_shadowLut, &m_midtoneLut, &m_highlightLut};
        for (size_t range = 0; range < luts.size(); ++range)
        {
            if (m_type == RangeKeySMHInRGB || m_type == range)
                luts[range]->resize(2 * m_lutSize);
        }
        for (uint64_t i = 0; i < m_lutSize; ++i)
            setPoints(i, luts);

        const auto shadows = Private::pointsOf(m_shadowLut);
        const auto midtones = Private::pointsOf(m_midtoneLut);
        const auto highlights = Private::pointsOf(m_highlightLut);
        if (m_type == RangeKeySMHInRGB)
            m_operation = EMULSION::makeRGBACurvesOperation(shadows, midtones, highlights, {});
        else
            m_operation =
                EMULSION::makeRGBACurvesOperation({}, {}, {},
                                                  m_type == RangeKeyShadows    ? shadows
                                                  : m_type == RangeKeyMidtones ? midtones
                                                                               : highlights);
    }

    // Two cubics, and what they leave of one.
    void setPoints(uint64_t i, const std::array<std::vector<float>*, 3>& luts) const
    {
        const float low = std::min(m_low, m_high), high = std::max(m_low, m_high);
        const float c = m_shadowSlope, d = m_highlightSlope;
        const float t = static_cast<float>(i) / static_cast<float>(m_lutSize - 1);
        const float t2 = t * t, t3 = t2 * t;
        const float s = std::clamp((c + 2) * t3 - (2 * c + 3) * t2 + c * t + 1, 0.0f, 1.0f);
        const float h = std::clamp((d - 2) * t3 + (3 - d) * t2, 0.0f, 1.0f);
        const float m = std::clamp(1 - s - h, 0.0f, 1.0f);
        const float values[] = {s, m, h};
        for (size_t range = 0; range < luts.size(); ++range)
        {
            if (luts[range]->empty())
                continue;
            (*luts[range])[2 * i] = t * (high - low) + low;
            (*luts[range])[2 * i + 1] = values[range];
        }
    }

    const uint64_t m_lutSize = 2048;
    const RangeKeyType m_type;
    const float m_low, m_high, m_shadowSlope, m_highlightSlope;
    std::vector<float> m_shadowLut, m_midtoneLut, m_highlightLut; // x, y in turn
    EMULSION::PixelOperationPtr m_operation;
};

// logConvert would only leave an error behind, and a value that is still linear.
void requireLogSpace()
{
    OCIO_NAMESPACE::GetCurrentConfig()->getProcessor(OCIO_NAMESPACE::ROLE_SCENE_LINEAR,
                                                     OCIO_NAMESPACE::ROLE_COMPOSITING_LOG);
}

float toLog(float value)
{
    return logConvert(Color(value, value, value, 1), true).r;
}

// The luminance where the key's curves look for it.
ref_ptr<RenderTask> placeLuminance(const std::string& name, float time, bool useLog,
                                   RangeKeyType type, const ref_ptr<RenderTask>& input)
{
    using Private::inner;
    ref_ptr<RenderTask> lum = inner(createLuminanceTask(name + ".luminance", time, input));
    if (useLog)
        lum = inner(createLogConvertTask(name + ".logConvert", time, true, lum));
    const std::string mergeName = name + ".channelMerge";
    if (type == RangeKeySMHInRGB)
        return inner(createChannelMergeTask(mergeName, time, lum, lum, lum, input));
    if (useLog)
    {
        // The conversion leaves alpha alone.
        const unsigned long red[4] = {EMULSION::ChannelRed, EMULSION::ChannelRed,
                                      EMULSION::ChannelRed, EMULSION::ChannelRed};
        lum = inner(createSwizzleTask(name + ".logSwizzle", time, red, lum));
    }
    return inner(createChannelMergeTask(mergeName, time, input, input, input, lum));
}

}

RangeKeyType rangeKeyTypeFromString(const std::string& text)
{
    std::string lower = text;
    std::ranges::transform(lower, lower.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    static constexpr const char* s_names[] = {"shadows", "midtones", "highlights", "smhinrgb"};
    const auto found = std::ranges::find(s_names, lower);
    if (found == std::end(s_names))
        throw std::runtime_error("The requested rangeKeyType '" + text + "' is not valid.");
    return static_cast<RangeKeyType>(found - s_names);
}

ref_ptr<RenderTask> createRangeKeyTask(const std::string& name, float time,
                                       const RangeKeyParams& params, const RangeKeyType& type,
                                       ref_ptr<RenderTask> input)
{
    const auto merged = placeLuminance(name, time, params.useLog, type, input);
    requireLogSpace();
    ref_ptr<RenderTask> task(
        new RangeKeyTask(name, time, params, type, toLog(params.low), toLog(params.high)));
    Private::require(*task, type <= RangeKeySMHInRGB, "Invalid range type.");
    task->registerInputTask(merged);
    return task;
}

ref_ptr<RenderTask> createRangeKeyPreviewTask(const std::string& name, float time,
                                              const RangeKeyParams& params,
                                              const RangeKeyType& type, ref_ptr<RenderTask> input)
{
    return createRangeKeyTask(name + ".rangeKey", time, params, type, input);
}

}
