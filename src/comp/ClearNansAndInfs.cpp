#include <EMULSION/Color.h>
#include <EMULSION/Plumbing.h>

#include "private/CacheItems.h"
#include "private/FirstInputTask.h"
#include "QUILT/CompositeTasks.h"

namespace QUILT
{

namespace
{

class ClearNansAndInfsTask final : public Private::FirstInputTask
{
public:
    ClearNansAndInfsTask(const std::string& name, float time, const ref_ptr<RenderTask>& input,
                         bool keepInfinities)
        : FirstInputTask(name, time), m_flag(keepInfinities)
    {
        registerInputTask(input);
    }

    std::string getType() const override { return "ClearNansAndInfs"; }

    void computeCacheID(CacheIDStream& stream) override
    {
        Private::writeItems(stream, getType(), getInputCacheID(0), getTime(), m_flag);
    }

    void makeInputFormatRequests() override { addInputRequest(0, getDefinedInputChannels(0)); }

    void renderRect(const EMULSION::Image* output,
                    const std::vector<const EMULSION::Image*>& inputs) override
    {
        EMULSION::CopyInto(output, inputs[0]);
        EMULSION::ClearInfsAndNans(output, m_flag);
    }

private:
    const bool m_flag;
};

}

ref_ptr<RenderTask> createClearNansAndInfsTask(const std::string& name, float time,
                                               ref_ptr<RenderTask> input, bool keepInfinities)
{
    return new ClearNansAndInfsTask(name, time, input, keepInfinities);
}

}
