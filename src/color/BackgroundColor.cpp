#include <EMULSION/Plumbing.h>

#include "private/CacheItems.h"
#include "private/FirstInputTask.h"
#include "private/Require.h"
#include "QUILT/ColorTasks.h"

namespace QUILT
{

namespace
{

class BackgroundColorTask final : public Private::FirstInputTask
{
public:
    BackgroundColorTask(const std::string& name, float time, const Imath::Color4<float>& color)
        : FirstInputTask(name, time), m_color(color)
    {}

    std::string getType() const override { return "BackgroundColor"; }
    void computeCacheID(CacheIDStream& stream) override { Private::writeItems(stream, m_color); }
    Imath::Color4<float> computeBackgroundColor() override { return m_color; }

    void renderRect(const EMULSION::Image* output,
                    const std::vector<const EMULSION::Image*>& inputs) override
    {
        EMULSION::Copy(output, inputs[0]);
    }

private:
    const Imath::Color4<float> m_color;
};

}

ref_ptr<RenderTask> createBackgroundColorTask(const std::string& name, float time,
                                              const Imath::Color4<float>& color,
                                              ref_ptr<RenderTask> input)
{
    ref_ptr<RenderTask> task(new BackgroundColorTask(name, time, color));
    Private::require(*task, bool(input), "BackgroundColor require a connected input.");
    task->registerInputTask(input);
    task->setCaching(false);
    return task;
}

}
