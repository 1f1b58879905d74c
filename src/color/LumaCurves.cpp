#include "CurveItems.h"
#include "private/Channels.h"
#include "private/KernelOp.h"
#include "QUILT/CurveTasks.h"

namespace QUILT
{

namespace
{

class LumaCurvesOp final : public Private::KernelOp
{
public:
    LumaCurvesOp(const Imath::Color3<float>& lumaCoefficients, const std::vector<float>& curve)
        : KernelOp(EMULSION::makeLumaCurveOperation(lumaCoefficients, Private::pointsOf(curve))),
          m_curve(curve)
    {}

    std::string getName() const override { return "LumaCurves"; }

    void computeCacheID(CacheIDStream& stream) override
    {
        Private::writeCurve(stream, "l", m_curve);
    }

    unsigned long computeInputChannels(unsigned long wantedAtOutput) override
    {
        return Channels::withWholeRGB(wantedAtOutput);
    }

private:
    const std::vector<float> m_curve;
};

}

ref_ptr<RenderTask> createLumaCurvesTask(const std::string& name, float time,
                                         const Imath::Color3<float>& lumaCoefficients,
                                         const std::vector<float>& curve, ref_ptr<RenderTask> input)
{
    return Private::createInPlaceTask(new LumaCurvesOp(lumaCoefficients, curve), name, input, time);
}

}
