#include <EMULSION/Painters.h>

#include "private/CacheItems.h"
#include "private/ProceduralTask.h"
#include "QUILT/ProceduralTasks.h"

namespace QUILT
{

namespace
{

class CheckerboardTask final : public Private::ProceduralTask
{
public:
    CheckerboardTask(const std::string& name, float time, const UTIL::Rect& rect,
                     const Imath::Color4<float>& color0, const Imath::Color4<float>& color1,
                     const Imath::Vec2<float>& size)
        : ProceduralTask(name, time, rect), m_color0(color0), m_color1(color1), m_size(size)
    {}

    std::string getType() const override { return "Checkerboard"; }

    void computeCacheID(CacheIDStream& stream) override
    {
        ProceduralTask::computeCacheID(stream);
        Private::writeComponents(stream, m_color0, m_color1, m_size);
    }

    using RenderTask::renderRect;

    void renderRect(const EMULSION::Image* output,
                    const std::vector<const EMULSION::Image*>&) override
    {
        const Imath::V2f origin(static_cast<float>(m_rect.x0), static_cast<float>(m_rect.y0));
        EMULSION::Checkerboard(output, m_color0, m_color1, m_size, origin);
    }

private:
    const Imath::Color4<float> m_color0, m_color1;
    const Imath::Vec2<float> m_size;
};

}

ref_ptr<RenderTask> createCheckerboardTask(const std::string& name, float time,
                                           const UTIL::Rect& rect,
                                           const Imath::Color4<float>& color0,
                                           const Imath::Color4<float>& color1,
                                           const Imath::Vec2<float>& size)
{
    return new CheckerboardTask(name, time, rect, color0, color1, size);
}

}
