#include <EMULSION/Painters.h>

#include "BaseGradientTask.h"
#include "EllipseBox.h"
#include "private/CacheItems.h"
#include "QUILT/ProceduralTasks.h"

namespace QUILT
{

namespace
{

class RadialGradientTask final : public Private::BaseGradientTask
{
public:
    RadialGradientTask(const std::string& name, float time, const UTIL::Rect& rect,
                       const std::string& colorspace, const RadialGradientParams& params)
        : BaseGradientTask(name, time, rect, colorspace), m_params(params)
    {
        convertColor(m_params.color0);
        convertColor(m_params.color1);
    }

    std::string getType() const override { return "RadialGradient"; }

    UTIL::Region computeOutputDataRegion() override
    {
        if (!m_params.limitToEllipse)
            return BaseGradientTask::computeOutputDataRegion();
        return Private::ellipseBox(m_params.centerX, m_params.centerY, m_params.outerRadius,
                                   m_params.aspect);
    }

private:
    void writeParameters(CacheIDStream& stream) override
    {
        Private::writeItems(stream, m_colorspace);
        Private::writeComponents(stream, m_params.color0, m_params.color1);
        Private::writeItems(stream, m_params.centerX, m_params.centerY, m_params.innerRadius,
                            m_params.outerRadius, m_params.gradientParam, m_params.aspect,
                            m_params.limitToEllipse);
    }

    void paint(const EMULSION::Image* image) override
    {
        EMULSION::RadialGradient(image, m_params.centerX, m_params.centerY, m_params.innerRadius,
                                 m_params.outerRadius - m_params.innerRadius,
                                 m_params.gradientParam, m_params.aspect, m_params.color0,
                                 m_params.color1, !m_params.limitToEllipse);
    }

    RadialGradientParams m_params;
};

}

ref_ptr<RenderTask> createRadialGradientTask(const std::string& name, float time,
                                             const UTIL::Rect& rect, const std::string& colorspace,
                                             const RadialGradientParams& params)
{
    return new RadialGradientTask(name, time, rect, colorspace, params);
}

}
