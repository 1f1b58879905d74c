#include <EMULSION/Curves.h>

#include "CurveItems.h"
#include "private/KernelOp.h"
#include "QUILT/CurveTasks.h"

namespace QUILT
{

namespace
{

using Curve = std::vector<float>;

class RGBACurvesOp final : public Private::KernelOp
{
public:
    RGBACurvesOp(const Curve& red, const Curve& green, const Curve& blue, const Curve& alpha)
        : KernelOp(
              EMULSION::makeRGBACurvesOperation(Private::pointsOf(red), Private::pointsOf(green),
                                                Private::pointsOf(blue), Private::pointsOf(alpha))),
          m_redCurve(red), m_greenCurve(green), m_blueCurve(blue), m_alphaCurve(alpha)
    {}

    std::string getName() const override { return "RGBACurves"; }

    void computeCacheID(CacheIDStream& stream) override
    {
        Private::writeCurve(stream, "r", m_redCurve);
        Private::writeCurve(stream, "g", m_greenCurve);
        Private::writeCurve(stream, "b", m_blueCurve);
        Private::writeCurve(stream, "a", m_alphaCurve);
    }

private:
    const Curve m_redCurve, m_greenCurve, m_blueCurve, m_alphaCurve;
};

}

ref_ptr<RenderTask> createRGBACurvesTask(const std::string& name, float time, const Curve& red,
                                         const Curve& green, const Curve& blue, const Curve& alpha,
                                         ref_ptr<RenderTask> input)
{
    if (red.empty() && green.empty() && blue.empty() && alpha.empty())
        return input;
    return Private::createInPlaceTask(new RGBACurvesOp(red, green, blue, alpha), name, input, time);
}

}
