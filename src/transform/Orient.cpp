#include <utility>

#include "PixelMoveTask.h"
#include "private/CacheItems.h"
#include "private/Require.h"
#include "QUILT/GeometryTasks.h"

namespace QUILT
{

namespace
{

using EMULSION::Image;
using EMULSION::OrientOperation;

class OrientTask final : public Private::PixelMoveTask
{
public:
    OrientTask(const std::string& name, float time, OrientOperation operation,
               const UTIL::Rect& displayRect)
        : PixelMoveTask(name, time), m_operation(operation), m_displayRect(displayRect)
    {}

    void computeOrientedDisplayRect() { m_orientedDisplayRect = orient(m_displayRect); }

    std::string getType() const override { return "Orient"; }
    void computeCacheID(CacheIDStream& stream) override
    {
        Private::writeItems(stream, m_operation, m_displayRect);
    }

    UTIL::Region computeOutputDataRegion() override
    {
        UTIL::Region region;
        for (const UTIL::Rect& rect : getDefinedInputDataRegion(0))
            region.add(orient(rect));
        return region;
    }

    void computeRequiredInputRectangles(const UTIL::Rect& outputRect,
                                        std::vector<UTIL::Rect>& inputRects) override
    {
        inputRects[0] = requiredRect(outputRect);
    }

    void movePixels(const Image* output, const Image* input) override
    {
        const UTIL::Rect part = requiredRect(output->bounds).intersect(input->bounds);
        Image view;
        EMULSION::GetSubImage(&view, input, part.x0, part.y0, part.x1, part.y1);
        switch (m_operation)
        {
        case EMULSION::OrientNone:
            return EMULSION::Copy(output, &view);
        case EMULSION::OrientCounterClockwise:
        case EMULSION::OrientClockwise:
            return EMULSION::Orient(output, &view, m_operation);
        case EMULSION::OrientHalfTurn:
        case EMULSION::OrientFlipFlop:
            return EMULSION::FlipFlop(output, &view);
        case EMULSION::OrientFlip:
            return EMULSION::Flip(output, &view);
        case EMULSION::OrientFlop:
            return EMULSION::Flop(output, &view);
        }
    }

private:
    UTIL::Rect orient(const UTIL::Rect& rect) const
    {
        const UTIL::Rect oriented = EMULSION::OrientRect(m_operation, rect, m_displayRect);
        CheckError();
        return oriented;
    }

    UTIL::Rect requiredRect(const UTIL::Rect& outputRect) const
    {
        const UTIL::Rect rect =
            EMULSION::UnOrientRect(m_operation, outputRect, m_orientedDisplayRect);
        CheckError();
        return rect;
    }

    UTIL::Rect m_orientedDisplayRect;
    const OrientOperation m_operation;
    const UTIL::Rect m_displayRect;
};

}

ref_ptr<RenderTask> createOrientTask(const std::string& name, float time,
                                     const OrientOperation& operation,
                                     const UTIL::Rect& displayRect, ref_ptr<RenderTask> input)
{
    const ref_ptr<OrientTask> task(new OrientTask(name, time, operation, displayRect));
    Private::require(*task, bool(input), "Orient requires an input.");
    Private::require(*task,
                     operation >= EMULSION::OrientNone && operation <= EMULSION::OrientFlipFlop,
                     "Unknown orient Operation");
    task->registerInputTask(std::move(input));
    task->computeOrientedDisplayRect();
    return task;
}

}
