#include <EMULSION/Plumbing.h>

#include "private/CacheItems.h"
#include "private/ProceduralTask.h"
#include "QUILT/ProceduralTasks.h"

namespace QUILT
{

namespace
{

class ColorTask final : public Private::ProceduralTask
{
public:
    ColorTask(const std::string& name, float time, const UTIL::Rect& rect,
              const Imath::Color4<float>& color)
        : ProceduralTask(name, time, rect), m_color(color)
    {}

    std::string getType() const override { return "Color"; }

    void computeCacheID(CacheIDStream& stream) override
    {
        ProceduralTask::computeCacheID(stream);
        Private::writeItems(stream, m_color);
    }

    // Alpha is left out where it is 1, the other channels where they are 0: an opaque colour has no
    // alpha channel, and the background is zero all the same.
    unsigned long computeOutputChannels() override
    {
        return (m_color.r != 0.0f ? EMULSION::ChannelRed : 0ul) |
               (m_color.g != 0.0f ? EMULSION::ChannelGreen : 0ul) |
               (m_color.b != 0.0f ? EMULSION::ChannelBlue : 0ul) |
               (m_color.a != 1.0f ? EMULSION::ChannelAlpha : 0ul);
    }

    using RenderTask::renderRect;

    void renderRect(const EMULSION::Image* output,
                    const std::vector<const EMULSION::Image*>&) override
    {
        EMULSION::Fill(output, m_color.getValue());
    }

private:
    const Imath::Color4<float> m_color;
};

}

ref_ptr<RenderTask> createColorTask(const std::string& name, float time, const UTIL::Rect& rect,
                                    const Imath::Color4<float>& color)
{
    return new ColorTask(name, time, rect, color);
}

}
