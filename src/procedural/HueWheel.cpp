#include <EMULSION/Painters.h>

#include "EllipseBox.h"
#include "private/CacheItems.h"
#include "private/ProceduralTask.h"
#include "QUILT/ProceduralTasks.h"

namespace QUILT
{

namespace
{

class HueWheelTask final : public Private::ProceduralTask
{
public:
    HueWheelTask(const std::string& name, float time, const UTIL::Rect& rect,
                 const HueWheelParams& params)
        : ProceduralTask(name, time, rect), m_params(params)
    {}

    std::string getType() const override { return "HueWheel"; }

    void computeCacheID(CacheIDStream& stream) override
    {
        ProceduralTask::computeCacheID(stream);
        Private::writeItems(stream, m_params.value4, m_params.value5, m_params.value6,
                            m_params.value7, m_params.centerX, m_params.centerY, m_params.radius,
                            m_params.aspect);
    }

    // The wheel lies where its centre and radius say, whatever the rectangle.
    UTIL::Region computeOutputDataRegion() override
    {
        return Private::ellipseBox(m_params.centerX, m_params.centerY, m_params.radius,
                                   m_params.aspect);
    }

    using RenderTask::renderRect;

    void renderRect(const EMULSION::Image* output,
                    const std::vector<const EMULSION::Image*>&) override
    {
        EMULSION::HueWheel(output, m_params.centerX, m_params.centerY, m_params.radius,
                           m_params.aspect, m_params.value4, m_params.value5, m_params.value6,
                           m_params.value7);
    }

private:
    const HueWheelParams m_params;
};

}

ref_ptr<RenderTask> createHueWheelTask(const std::string& name, float time, const UTIL::Rect& rect,
                                       const HueWheelParams& params)
{
    return new HueWheelTask(name, time, rect, params);
}

}
