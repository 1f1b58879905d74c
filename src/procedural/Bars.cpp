#include <EMULSION/Painters.h>

#include "private/CacheItems.h"
#include "private/ProceduralTask.h"
#include "QUILT/ProceduralTasks.h"

namespace QUILT
{

namespace
{

class BarsTask final : public Private::ProceduralTask
{
public:
    BarsTask(const std::string& name, float time, const UTIL::Rect& rect, bool flag)
        : ProceduralTask(name, time, rect), m_flag(flag)
    {}

    std::string getType() const override { return "Bars"; }

    void computeCacheID(CacheIDStream& stream) override
    {
        ProceduralTask::computeCacheID(stream);
        Private::writeItems(stream, m_flag);
    }

    using RenderTask::renderRect;

    void renderRect(const EMULSION::Image* output,
                    const std::vector<const EMULSION::Image*>&) override
    {
        const float rect[] = {static_cast<float>(m_rect.x0), static_cast<float>(m_rect.y0),
                              static_cast<float>(m_rect.x1), static_cast<float>(m_rect.y1)};
        EMULSION::Bars(output, rect, m_flag);
    }

private:
    const bool m_flag;
};

}

ref_ptr<RenderTask> createBarsTask(const std::string& name, float time, const UTIL::Rect& rect,
                                   bool flag)
{
    return new BarsTask(name, time, rect, flag);
}

}
