#include <EMULSION/Painters.h>

#include <algorithm>
#include <cmath>

#include "BaseGradientTask.h"
#include "private/CacheItems.h"
#include "QUILT/ProceduralTasks.h"

namespace QUILT
{

namespace
{

// NaN stands behind every number, so that there is an order.
bool standsBefore(const GradientStop& a, const GradientStop& b)
{
    return a.position < b.position || (std::isnan(b.position) && !std::isnan(a.position));
}

class DirectionalGradientTask final : public Private::BaseGradientTask
{
public:
    DirectionalGradientTask(const std::string& name, float time, const UTIL::Rect& rect,
                            const std::string& colorspace, const DirectionalGradientParams& params)
        : BaseGradientTask(name, time, rect, colorspace), m_params(params)
    {
        convertColor(m_params.color0);
        convertColor(m_params.color1);
        std::stable_sort(m_params.stops.begin(), m_params.stops.end(), standsBefore);
        for (GradientStop& stop : m_params.stops)
        {
            convertColor(stop.color);
            m_positions.push_back(stop.position);
            m_colors.insert(m_colors.end(), stop.color.getValue(), stop.color.getValue() + 4);
        }
    }

    std::string getType() const override { return "DirectionalGradient"; }

private:
    void writeParameters(CacheIDStream& stream) override
    {
        Private::writeComponents(stream, m_params.color0, m_params.point0, m_params.color1,
                                 m_params.point1);
        for (const GradientStop& stop : m_params.stops)
        {
            Private::writeItems(stream, stop.position);
            Private::writeComponents(stream, stop.color);
        }
    }

    void paint(const EMULSION::Image* image) override
    {
        EMULSION::DirectionalGradient(image, m_params.point0, m_params.color0, m_params.point1,
                                      m_params.color1, m_positions.size(), m_positions.data(),
                                      m_colors.data());
    }

    DirectionalGradientParams m_params;

    // The stops once more, as the painter takes them.
    std::vector<float> m_positions;
    std::vector<float> m_colors;
};

}

ref_ptr<RenderTask> createDirectionalGradientTask(const std::string& name, float time,
                                                  const UTIL::Rect& rect,
                                                  const std::string& colorspace,
                                                  const DirectionalGradientParams& params)
{
    return new DirectionalGradientTask(name, time, rect, colorspace, params);
}

}
