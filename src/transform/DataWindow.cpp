#include <utility>

#include "PixelMoveTask.h"
#include "private/CacheItems.h"
#include "private/Require.h"
#include "QUILT/GeometryTasks.h"

namespace QUILT
{

namespace
{

class DataWindowTask final : public Private::PixelMoveTask
{
public:
    DataWindowTask(const std::string& name, float time, const UTIL::Rect& rect)
        : PixelMoveTask(name, time), m_dataWindow(rect)
    {}

    std::string getType() const override { return "DataWindow"; }
    void computeCacheID(CacheIDStream& stream) override
    {
        Private::writeItems(stream, m_dataWindow);
    }

    UTIL::Region computeOutputDataRegion() override
    {
        UTIL::Region region = getDefinedInputDataRegion(0);
        region.add(m_dataWindow);
        return region;
    }

    void movePixels(const EMULSION::Image* output, const EMULSION::Image* input) override
    {
        Private::translateOverZero(output, input, 0, 0, output->bounds);
    }

private:
    const UTIL::Rect m_dataWindow;
};

}

ref_ptr<RenderTask> createDataWindowTask(const std::string& name, float time,
                                         const UTIL::Rect& rect, ref_ptr<RenderTask> input)
{
    ref_ptr<RenderTask> task(new DataWindowTask(name, time, rect));
    Private::require(*task, bool(input), "DataWindow node requires a connected input.");
    task->registerInputTask(std::move(input));
    return task;
}

}
