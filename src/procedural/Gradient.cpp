#include <EMULSION/Painters.h>

#include <array>

#include "BaseGradientTask.h"
#include "private/CacheItems.h"
#include "QUILT/ProceduralTasks.h"

namespace QUILT
{

namespace
{

class GradientTask final : public Private::BaseGradientTask
{
public:
    GradientTask(const std::string& name, float time, const UTIL::Rect& rect,
                 const std::string& colorspace, const Imath::Color4<float>* colors)
        : BaseGradientTask(name, time, rect, colorspace), m_colors{colors[0], colors[1], colors[2],
                                                                   colors[3]}
    {
        for (Imath::Color4<float>& color : m_colors)
            convertColor(color);
    }

    std::string getType() const override { return "Gradient"; }

private:
    void writeParameters(CacheIDStream& stream) override
    {
        Private::writeItems(stream, m_rect);
        Private::writeComponents(stream, m_colors[0], m_colors[1], m_colors[2], m_colors[3]);
    }

    void paint(const EMULSION::Image* image) override
    {
        EMULSION::Gradient(image, m_rect, m_colors[0].getValue(), m_colors[1].getValue(),
                           m_colors[2].getValue(), m_colors[3].getValue());
    }

    std::array<Imath::Color4<float>, 4> m_colors;
};

}

ref_ptr<RenderTask> createGradientTask(const std::string& name, float time, const UTIL::Rect& rect,
                                       const std::string& colorspace,
                                       const Imath::Color4<float>* colors)
{
    return new GradientTask(name, time, rect, colorspace, colors);
}

}
