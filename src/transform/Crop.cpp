#include <utility>

#include "PixelMoveTask.h"
#include "private/CacheItems.h"
#include "private/Require.h"
#include "QUILT/GeometryTasks.h"

namespace QUILT
{

namespace
{

class CropTask final : public Private::PixelMoveTask
{
public:
    CropTask(const std::string& name, float time, const UTIL::Rect& rect, bool clipRegion,
             bool moveToOrigin)
        : PixelMoveTask(name, time), m_cropRect(rect), m_clipRegion(clipRegion),
          m_moveToOrigin(moveToOrigin)
    {}

    std::string getType() const override { return "Crop"; }
    void computeCacheID(CacheIDStream& stream) override
    {
        Private::writeItems(stream, m_cropRect, m_clipRegion, m_moveToOrigin);
    }

    UTIL::Region computeOutputDataRegion() override
    {
        UTIL::Region region = getDefinedInputDataRegion(0);
        if (m_clipRegion)
            region.intersect(m_cropRect);
        return m_moveToOrigin ? region.offset(offsetX(), offsetY()) : region;
    }

    void computeRequiredInputRectangles(const UTIL::Rect& outputRect,
                                        std::vector<UTIL::Rect>& inputRects) override
    {
        inputRects[0] = requiredRect(outputRect);
    }

    // The crop rectangle acts through the data region alone: no pixel of a tile lies beyond it.
    void movePixels(const EMULSION::Image* output, const EMULSION::Image* input) override
    {
        const int64_t dx = m_moveToOrigin ? offsetX() : 0, dy = m_moveToOrigin ? offsetY() : 0;
        Private::translateOverZero(output, input, dx, dy, requiredRect(output->bounds));
    }

private:
    int64_t offsetX() const { return Private::negated(m_cropRect.x0); }
    int64_t offsetY() const { return Private::negated(m_cropRect.y0); }

    UTIL::Rect requiredRect(const UTIL::Rect& outputRect) const
    {
        return m_moveToOrigin ? outputRect.offset(m_cropRect.x0, m_cropRect.y0, true) : outputRect;
    }

    const UTIL::Rect m_cropRect;
    const bool m_clipRegion;
    const bool m_moveToOrigin;
};

}

ref_ptr<RenderTask> createCropTask(const std::string& name, float time, const UTIL::Rect& rect,
                                   bool clipRegion, bool moveToOrigin, ref_ptr<RenderTask> input)
{
    ref_ptr<RenderTask> task(new CropTask(name, time, rect, clipRegion, moveToOrigin));
    Private::require(*task, bool(input), "Crop node requires a connected input.");
    task->registerInputTask(std::move(input));
    return task;
}

}
