#include <EMULSION/Tone.h>

#include "private/CacheItems.h"
#include "private/KernelOp.h"
#include "QUILT/ColorTasks.h"

namespace QUILT
{

namespace
{

using Color = Imath::Color4<float>;

const Color s_one(1.0f, 1.0f, 1.0f, 1.0f);

class ExponentialOp final : public Private::KernelOp
{
public:
    ExponentialOp(const Color& exponent, const Color& pivot)
        : KernelOp(EMULSION::makeExponentialOperation(exponent, pivot)), m_exponent(exponent),
          m_pivot(pivot)
    {}

    std::string getName() const override { return "Gamma"; }

    void computeCacheID(CacheIDStream& stream) override
    {
        Private::writeItems(stream, m_exponent, m_pivot);
    }

private:
    const Color m_exponent, m_pivot;
};

}

ref_ptr<RenderTask> createExponentialTask(const std::string& name, float time,
                                          const Color& exponent, const Color& pivot,
                                          ref_ptr<RenderTask> input)
{
    if (exponent == s_one)
        return input;
    return Private::createInPlaceTask(new ExponentialOp(exponent, pivot), name, input, time);
}

ref_ptr<RenderTask> createGammaTask(const std::string& name, float time, const Color& gamma,
                                    const Color& pivot, ref_ptr<RenderTask> input)
{
    if (gamma == s_one)
        return input;
    return Private::createInPlaceTask(new ExponentialOp(s_one / gamma, pivot), name, input, time);
}

}
