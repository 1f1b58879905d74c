#include <EMULSION/Color.h>

#include "private/CacheItems.h"
#include "private/KernelOp.h"
#include "QUILT/ColorTasks.h"

namespace QUILT
{

namespace
{

class PosterizeOp final : public Private::KernelOp
{
public:
    PosterizeOp(const Imath::Color3<float>& levels, bool clampRange, bool nearest)
        : KernelOp(
              EMULSION::makePosterizeOperation(levels.x, levels.y, levels.z, clampRange, nearest)),
          m_levelA(levels.x), m_levelB(levels.y), m_levelC(levels.z), m_flagA(clampRange),
          m_flagB(nearest)
    {}

    std::string getName() const override { return "Posterize"; }

    void computeCacheID(CacheIDStream& stream) override
    {
        Private::writeItems(stream, m_levelA, m_levelB, m_levelC, m_flagA, m_flagB);
    }

private:
    const float m_levelA, m_levelB, m_levelC;
    const bool m_flagA, m_flagB;
};

}

ref_ptr<RenderTask> createPosterizeTask(const std::string& name, float time, float levelsR,
                                        float levelsG, float levelsB, bool clampRange, bool nearest,
                                        ref_ptr<RenderTask> input)
{
    return Private::createInPlaceTask(
        new PosterizeOp({levelsR, levelsG, levelsB}, clampRange, nearest), name, input, time);
}

}
