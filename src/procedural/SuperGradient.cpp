#include <EMULSION/Painters.h>

#include "BaseGradientTask.h"
#include "private/CacheItems.h"
#include "QUILT/ProceduralTasks.h"

namespace QUILT
{

namespace
{

class SuperGradientTask final : public Private::BaseGradientTask
{
public:
    SuperGradientTask(const std::string& name, float time, const UTIL::Rect& rect,
                      const std::string& colorspace, const SuperGradientParams& params)
        : BaseGradientTask(name, time, rect, colorspace), m_params(params)
    {
        for (GradientPoint& point : m_params.points)
            convertColor(point.color);
    }

    std::string getType() const override { return "SuperGradient"; }

    void preRender() override
    {
        m_positions.clear();
        m_colors.clear();
        for (const GradientPoint& point : m_params.points)
        {
            m_positions.insert(m_positions.end(), {point.x, point.y});
            m_colors.insert(m_colors.end(), point.color.getValue(), point.color.getValue() + 4);
        }
    }

private:
    void writeParameters(CacheIDStream& stream) override
    {
        for (const GradientPoint& point : m_params.points)
        {
            Private::writeItems(stream, Imath::V2f(point.x, point.y));
            Private::writeComponents(stream, point.color);
        }
        Private::writeItems(stream, m_params.rbfFlag, m_params.rbfType,
                            static_cast<int>(m_params.rbfParameter));
    }

    void paint(const EMULSION::Image* image) override
    {
        EMULSION::SuperGradient(image, m_params.points.size(), m_positions.data(), m_colors.data(),
                                m_params.rbfFlag, m_params.rbfType,
                                static_cast<float>(m_params.rbfParameter));
    }

    SuperGradientParams m_params;

    // The points as the painter takes them, for the render.
    std::vector<float> m_positions;
    std::vector<float> m_colors;
};

}

ref_ptr<RenderTask> createSuperGradientTask(const std::string& name, float time,
                                            const UTIL::Rect& rect, const std::string& colorspace,
                                            const SuperGradientParams& params)
{
    return new SuperGradientTask(name, time, rect, colorspace, params);
}

}
