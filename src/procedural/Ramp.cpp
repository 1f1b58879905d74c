#include <EMULSION/Painters.h>

#include "BaseGradientTask.h"
#include "private/CacheItems.h"
#include "QUILT/ProceduralTasks.h"

namespace QUILT
{

namespace
{

class RampTask final : public Private::BaseGradientTask
{
public:
    RampTask(const std::string& name, float time, const UTIL::Rect& rect,
             const std::string& colorspace, const RampParams& params)
        : BaseGradientTask(name, time, rect, colorspace), m_params(params)
    {
        convertColor(m_params.color0);
        convertColor(m_params.color1);
    }

    std::string getType() const override { return "Ramp"; }

    // A channel that is 0 at both ends is 0 everywhere.
    unsigned long computeOutputChannels() override
    {
        unsigned long channels = 0;
        for (int channel = 0; channel < 4; ++channel)
        {
            if (m_params.color0[channel] != 0.0f || m_params.color1[channel] != 0.0f)
                channels |= 1ul << channel;
        }
        return channels;
    }

private:
    void writeParameters(CacheIDStream& stream) override
    {
        Private::writeComponents(stream, m_params.color0, m_params.color1);
        Private::writeItems(stream, m_params.type);
    }

    void paint(const EMULSION::Image* image) override
    {
        const auto x0 = static_cast<float>(m_rect.x0), y0 = static_cast<float>(m_rect.y0);
        const auto x1 = static_cast<float>(m_rect.x1), y1 = static_cast<float>(m_rect.y1);
        if (m_params.type == 0)
            EMULSION::HorizontalRamp(image, m_rect, m_params.color0, m_params.color1);
        else if (m_params.type == 1)
            EMULSION::VerticalRamp(image, m_rect, m_params.color0, m_params.color1);
        else if (m_params.type == 2)
            paintAlong(image, Imath::V2f(x0, y0), Imath::V2f(x1, y1));
        else
            paintAlong(image, Imath::V2f(x1, y0), Imath::V2f(x0, y1));
    }

    void paintAlong(const EMULSION::Image* image, const Imath::V2f& from, const Imath::V2f& to)
    {
        EMULSION::DirectionalGradient(image, from, m_params.color0, to, m_params.color1, 0, nullptr,
                                      nullptr);
    }

    RampParams m_params;
};

}

ref_ptr<RenderTask> createRampTask(const std::string& name, float time, const UTIL::Rect& rect,
                                   const std::string& colorspace, const RampParams& params)
{
    return new RampTask(name, time, rect, colorspace, params);
}

}
