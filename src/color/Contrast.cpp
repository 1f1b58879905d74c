#include <EMULSION/Color.h>

#include "private/CacheItems.h"
#include "private/KernelOp.h"
#include "QUILT/ColorTasks.h"

namespace QUILT
{

namespace
{

using Color = Imath::Color4<float>;

class ContrastOp final : public Private::KernelOp
{
public:
    ContrastOp(const Color& contrast, const Color& pivot)
        : KernelOp(EMULSION::makeContrastOperation(contrast, pivot)), m_contrast(contrast),
          m_pivot(pivot)
    {}

    std::string getName() const override { return "Contrast"; }

    void computeCacheID(CacheIDStream& stream) override
    {
        Private::writeItems(stream, m_contrast, m_pivot);
    }

private:
    const Color m_contrast, m_pivot;
};

}

ref_ptr<RenderTask> createContrastTask(const std::string& name, float time, const Color& contrast,
                                       const Color& pivot, ref_ptr<RenderTask> input)
{
    if (contrast == Color(1.0f, 1.0f, 1.0f, 1.0f))
        return input;
    return Private::createInPlaceTask(new ContrastOp(contrast, pivot), name, input, time);
}

}
