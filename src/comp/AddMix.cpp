#include <EMULSION/Composite.h>

#include "CompositeLayers.h"
#include "private/Channels.h"
#include "QUILT/CompositeTasks.h"

namespace QUILT
{

namespace
{

using EMULSION::Image;

class AddMixTask final : public Private::WithWholeBackgrounds<Private::BaseCompositeTask>
{
public:
    AddMixTask(const std::string& name, float time, const std::vector<float>& pointsA,
               const std::vector<float>& pointsB, const ref_ptr<RenderTask>& a,
               const ref_ptr<RenderTask>& b, bool premultiplied)
        : WithWholeBackgrounds(name, time, a, b), m_pointsA(pointsA), m_pointsB(pointsB),
          m_flag(premultiplied),
          m_curves(EMULSION::makeAddMixCurves({m_pointsA.data(), m_pointsA.size() / 2},
                                              {m_pointsB.data(), m_pointsB.size() / 2}))
    {}

    std::string getType() const override { return "AddMix"; }

    void computeCacheID(CacheIDStream& stream) override
    {
        Private::writeFloats(stream, m_pointsA.data(), m_pointsA.size());
        Private::writeFloats(stream, m_pointsB.data(), m_pointsB.size());
        Private::writeItems(stream, m_flag);
    }

    // A's alpha makes the weights, whether alpha is wanted of the result or not.
    void makeInputFormatRequests() override
    {
        addInputRequest(m_inputA, Channels::withAlpha(getRequiredOutputChannels()));
        addInputRequest(m_inputB, getRequiredOutputChannels());
    }

    void compositeImages(const Image* output, const Image* a, const Image* b) override
    {
        const Imath::Color4<float> zero(0, 0, 0, 0);
        EMULSION::AddMix(output, a, b, m_flag, *m_curves, zero, zero);
    }

private:
    const std::vector<float> m_pointsA, m_pointsB; // pairs
    const bool m_flag;
    const EMULSION::AddMixCurvesPtr m_curves;
};

}

ref_ptr<RenderTask> createAddMixTask(const std::string& name, float time,
                                     const std::vector<float>& pointsA,
                                     const std::vector<float>& pointsB, ref_ptr<RenderTask> a,
                                     ref_ptr<RenderTask> b, bool premultiplied)
{
    return new AddMixTask(name, time, pointsA, pointsB, a, b, premultiplied);
}

}
