#include "private/CacheItems.h"
#include "QUILT/Exceptions.h"
#include "QUILT/ProceduralTasks.h"

namespace QUILT
{

namespace
{

class EmptyTask final : public RenderTask
{
public:
    EmptyTask(const std::string& name, float time, const Imath::Color4<float>& color)
        : RenderTask(name, time), m_color(color)
    {}

    std::string getType() const override { return "Empty Task"; }
    void computeCacheID(CacheIDStream& stream) override
    {
        Private::writeComponents(stream, m_color);
    }
    unsigned long computeOutputChannels() override { return 0; }
    UTIL::Region computeOutputDataRegion() override { return {}; }
    Imath::Color4<float> computeBackgroundColor() override { return m_color; }
    void makeInputFormatRequests() override {}
    void computeRequiredInputRectangles(const UTIL::Rect&, std::vector<UTIL::Rect>&) override {}

    using RenderTask::renderRect;

    // Without data there are no tiles.
    void renderRect(const EMULSION::Image*, const std::vector<const EMULSION::Image*>&) override
    {
        throw RenderTaskRenderingException(this, "EmptyTask was asked to render a rectangle.", -1);
    }

private:
    const Imath::Color4<float> m_color;
};

}

ref_ptr<RenderTask> createEmptyTask(const std::string& name, float time,
                                    const Imath::Color4<float>& color)
{
    return new EmptyTask(name, time, color);
}

}
