#include <utility>

#include "PixelMoveTask.h"
#include "private/CacheItems.h"
#include "private/Require.h"
#include "QUILT/GeometryTasks.h"

namespace QUILT
{

namespace
{

class RepositionTask final : public Private::PixelMoveTask
{
public:
    RepositionTask(const std::string& name, float time, int64_t x, int64_t y)
        : PixelMoveTask(name, time), m_offsetX(x), m_offsetY(y)
    {}

    std::string getType() const override { return "Reposition"; }
    void computeCacheID(CacheIDStream& stream) override
    {
        Private::writeItems(stream, m_offsetX, m_offsetY);
    }

    UTIL::Region computeOutputDataRegion() override
    {
        return getDefinedInputDataRegion(0).offset(m_offsetX, m_offsetY);
    }

    void computeRequiredInputRectangles(const UTIL::Rect& outputRect,
                                        std::vector<UTIL::Rect>& inputRects) override
    {
        inputRects[0] =
            outputRect.offset(Private::negated(m_offsetX), Private::negated(m_offsetY), true);
    }

    void movePixels(const EMULSION::Image* output, const EMULSION::Image* input) override
    {
        EMULSION::Translate(output, input, m_offsetX, m_offsetY);
    }

private:
    const int64_t m_offsetX, m_offsetY;
};

}

ref_ptr<RenderTask> createRepositionTask(const std::string& name, float time, long x, long y,
                                         ref_ptr<RenderTask> input)
{
    if (x == 0 && y == 0)
        return input;
    ref_ptr<RenderTask> task(new RepositionTask(name, time, x, y));
    Private::require(*task, bool(input), "Reposition requires a connected input.");
    task->registerInputTask(std::move(input));
    return task;
}

}
