#pragma once

#include <bit>
#include <cmath>
#include <functional>
#include <limits>

#include <EMULSION/Plumbing.h>
#include <QUILT/RenderTask.h>

#include "private/CacheItems.h"
#include "private/InPlaceTask.h"

/// Tasks of the tests' own, as plain as tasks can be: their pixels can be told without the engine.
namespace QUILT::Test
{

/// Each pixel a value of its own, made from its place, its channel and a seed.
inline float patternAt(int64_t x, int64_t y, int channel, int seed)
{
    const auto times = [](int64_t a, uint64_t b) { return static_cast<uint64_t>(a) * b; };
    const uint64_t place =
        times(x, 73856093) ^ times(y, 19349663) ^ times(channel, 83492791); // wraps around far away
    const uint64_t mixed = place * 0x9e3779b97f4a7c15u + times(seed, 0xbf58476d1ce4e5b9u);
    return static_cast<float>(mixed >> 44) * 0x1p-19f - 0.75f;
}

/// The same with a value here and there that arithmetic treats in its own way.
inline float awkwardPatternAt(int64_t x, int64_t y, int channel, int seed)
{
    // All NaNs are alike, those that arithmetic makes and this one.
    static const float s_awkward[] = {std::bit_cast<float>(0xffc00000u),
                                      std::numeric_limits<float>::infinity(),
                                      -std::numeric_limits<float>::infinity(),
                                      -0.0f,
                                      0.0f,
                                      std::numeric_limits<float>::max(),
                                      std::numeric_limits<float>::denorm_min(),
                                      -1.0e4f};
    const float value = patternAt(x, y, channel, seed);
    const auto chosen = static_cast<size_t>((value + 0.75f) * 0x1p19f) % 64;
    return chosen < std::size(s_awkward) ? s_awkward[chosen] : value;
}

struct PatternParams
{
    UTIL::Region region;
    unsigned long channels = 15;
    Imath::Color4f background{0, 0, 0, 0};
    int seed = 0;
    bool awkward = false;
};

class PatternTask : public RenderTask
{
public:
    PatternTask(const std::string& name, const PatternParams& params)
        : RenderTask(name, 0), m_params(params)
    {}

    std::string getType() const override { return "Pattern"; }
    void computeCacheID(CacheIDStream& stream) override
    {
        stream << m_params.region << ',';
        Private::writeItems(stream, m_params.channels, m_params.background, m_params.seed,
                            m_params.awkward);
    }
    unsigned long computeOutputChannels() override { return m_params.channels; }
    UTIL::Region computeOutputDataRegion() override { return m_params.region; }
    Imath::Color4f computeBackgroundColor() override { return m_params.background; }
    void makeInputFormatRequests() override {}
    void computeRequiredInputRectangles(const UTIL::Rect&, std::vector<UTIL::Rect>&) override {}

    using RenderTask::renderRect;
    void renderRect(const EMULSION::Image* output,
                    const std::vector<const EMULSION::Image*>&) override
    {
        const UTIL::Rect& r = output->bounds;
        for (int64_t y = r.y0; y < r.y1; ++y)
        {
            for (int64_t x = r.x0; x < r.x1; ++x)
            {
                float rgba[4];
                for (int c = 0; c < 4; ++c)
                    rgba[c] = m_params.awkward ? awkwardPatternAt(x, y, c, m_params.seed)
                                               : patternAt(x, y, c, m_params.seed);
                EMULSION::SetPixel(output, x, y, rgba);
            }
        }
    }

private:
    const PatternParams m_params;
};

/// The sum of a pixel, of the one `reach` columns to its right and of the one `reach` rows above.
struct ReachParams
{
    int64_t reach = 1;
    EMULSION::ExtendMethod extend = EMULSION::ExtendNone;
    bool withOverscan = false;
    UTIL::Rect displayRect = {};
};

class ReachTask : public RenderTask
{
public:
    ReachTask(const std::string& name, const ReachParams& params, const ref_ptr<RenderTask>& input)
        : RenderTask(name, 0), m_params(params)
    {
        registerInputTask(input);
    }

    std::string getType() const override { return "Reach"; }
    void computeCacheID(CacheIDStream& stream) override
    {
        Private::writeItems(stream, m_params.reach, m_params.extend, m_params.withOverscan,
                            m_params.displayRect);
    }
    unsigned long computeOutputChannels() override { return getDefinedInputChannels(0); }
    UTIL::Region computeOutputDataRegion() override
    {
        UTIL::Region region = getDefinedInputDataRegion(0).pad(m_params.reach, m_params.reach);
        if (m_params.extend != EMULSION::ExtendNone)
            region.add(m_params.displayRect.pad(m_params.reach, m_params.reach, true));
        return region;
    }
    Imath::Color4f computeBackgroundColor() override
    {
        const Imath::Color4f& c = getInputBackgroundColor(0);
        return {c.r + c.r + c.r, c.g + c.g + c.g, c.b + c.b + c.b, c.a + c.a + c.a};
    }
    void makeInputFormatRequests() override
    {
        addInputRequest(0, getRequiredOutputChannels(), m_params.extend, m_params.withOverscan,
                        m_params.displayRect);
    }
    void computeRequiredInputRectangles(const UTIL::Rect& outputRect,
                                        std::vector<UTIL::Rect>& inputRects) override
    {
        inputRects[0] = UTIL::Rect(outputRect.x0, outputRect.y0, outputRect.x1 + m_params.reach,
                                   outputRect.y1 + m_params.reach);
    }

    using RenderTask::renderRect;
    void renderRect(const EMULSION::Image* output,
                    const std::vector<const EMULSION::Image*>& inputs) override
    {
        const UTIL::Rect& r = output->bounds;
        const auto at = [&](int64_t x, int64_t y) {
            Imath::Color4f color(0, 0, 0, 0);
            if (inputs[0])
                EMULSION::GetPixel(inputs[0], x, y, color.getValue());
            else
                color = getInputBackgroundColor(0);
            return color;
        };
        for (int64_t y = r.y0; y < r.y1; ++y)
        {
            for (int64_t x = r.x0; x < r.x1; ++x)
            {
                const Imath::Color4f sum =
                    at(x, y) + at(x + m_params.reach, y) + at(x, y + m_params.reach);
                EMULSION::SetPixel(output, x, y, sum.getValue());
            }
        }
    }

private:
    const ReachParams m_params;
};

/// v * factor + offset, in every channel.
class AffineOp final : public Private::InPlaceOp
{
public:
    AffineOp(float factor, float offset) : m_factor(factor), m_offset(offset) {}

    std::string getName() const override { return "Affine"; }
    void computeCacheID(CacheIDStream& stream) override
    {
        Private::writeItems(stream, m_factor, m_offset);
    }
    void apply(const EMULSION::Image* output, const EMULSION::Image* input) override
    {
        const UTIL::Rect& r = output->bounds;
        for (int64_t y = r.y0; y < r.y1; ++y)
        {
            for (int64_t x = r.x0; x < r.x1; ++x)
            {
                Imath::Color4f color(0, 0, 0, 0);
                EMULSION::GetPixel(input, x, y, color.getValue());
                EMULSION::SetPixel(output, x, y, computeBackgroundColor(color).getValue());
            }
        }
    }
    Imath::Color4f computeBackgroundColor(const Imath::Color4f& c) override
    {
        return {c.r * m_factor + m_offset, c.g * m_factor + m_offset, c.b * m_factor + m_offset,
                c.a * m_factor + m_offset};
    }

private:
    const float m_factor, m_offset;
};

inline ref_ptr<RenderTask> affine(const std::string& name, float factor, float offset,
                                  const ref_ptr<RenderTask>& input)
{
    return Private::createInPlaceTask(new AffineOp(factor, offset), name, input, 0);
}

}
