#pragma once

#include <map>
#include <string>
#include <vector>

#include <QUILT/RenderManager.h>
#include <QUILT/RenderTask.h>

#include "private/CacheItems.h"
#include "private/InPlaceTask.h"
#include "private/ProceduralTask.h"

/// Graphs whose pixel work is known, so that what a render takes beside it is the engine's.
namespace QUILT::Bench
{

/// A picture that nobody paints: whatever its memory held before.
class BlankTask : public Private::ProceduralTask
{
public:
    explicit BlankTask(const UTIL::Rect& rect) : ProceduralTask("blank", 0, rect) {}

    std::string getType() const override { return "Blank"; }

    using RenderTask::renderRect;
    void renderRect(const EMULSION::Image*, const std::vector<const EMULSION::Image*>&) override {}
};

/// Asks each input for the pixels up to `reach` around its own, and does nothing with them.
class IdleTask : public RenderTask
{
public:
    IdleTask(const std::string& name, int64_t reach, const std::vector<ref_ptr<RenderTask>>& inputs)
        : RenderTask(name, 0), m_reach(reach)
    {
        for (const ref_ptr<RenderTask>& input : inputs)
            registerInputTask(input);
    }

    std::string getType() const override { return "Idle"; }
    void computeCacheID(CacheIDStream& stream) override { stream << getName(); }
    unsigned long computeOutputChannels() override { return getDefinedInputChannels(0); }
    UTIL::Region computeOutputDataRegion() override { return getDefinedInputDataRegion(0); }

    void makeInputFormatRequests() override
    {
        for (unsigned long i = 0; i < getInputTaskCount(); ++i)
            addInputRequest(i, getRequiredOutputChannels());
    }
    void computeRequiredInputRectangles(const UTIL::Rect& outputRect,
                                        std::vector<UTIL::Rect>& inputRects) override
    {
        for (UTIL::Rect& rect : inputRects)
            rect = outputRect.pad(m_reach, m_reach, true);
    }

    using RenderTask::renderRect;
    void renderRect(const EMULSION::Image*, const std::vector<const EMULSION::Image*>&) override {}

private:
    const int64_t m_reach;
};

/// A kernel's operation as one of a chain, with a parameter that is all of its identity.
class PixelOp final : public Private::InPlaceOp
{
public:
    PixelOp(EMULSION::PixelOperationPtr operation, float parameter)
        : m_operation(std::move(operation)), m_parameter(parameter)
    {}

    void computeCacheID(CacheIDStream& stream) override
    {
        Private::writeItems(stream, m_parameter);
    }
    void apply(const EMULSION::Image* output, const EMULSION::Image* input) override
    {
        EMULSION::Run(output, input, *m_operation);
    }
    std::string getName() const override { return m_operation->getName(); }
    Imath::Color4f computeBackgroundColor(const Imath::Color4f& input) override
    {
        return EMULSION::Run(input, *m_operation);
    }
    EMULSION::PixelOperationPtr getPixelOperation() const override { return m_operation; }

private:
    const EMULSION::PixelOperationPtr m_operation;
    const float m_parameter;
};

enum class Shape
{
    Chain,        ///< each task reads the same tile of the one above
    Diamond,      ///< pairs of tasks that read one and are read by one
    Neighbourhood ///< each task reads a tile and the eight around it of the one above
};

/// A graph of that many idle tasks, the blank one included, over `rect`.
inline ref_ptr<RenderTask> makeIdleGraph(Shape shape, int tasks, const UTIL::Rect& rect)
{
    ref_ptr<RenderTask> last(new BlankTask(rect));
    const auto add = [](int number, int64_t reach, const std::vector<ref_ptr<RenderTask>>& inputs) {
        return ref_ptr<RenderTask>(new IdleTask(std::to_string(number), reach, inputs));
    };
    for (int i = 1; i < tasks;)
    {
        if (shape == Shape::Diamond && i + 3 <= tasks)
        {
            const ref_ptr<RenderTask> left = add(i, 0, {last}), right = add(i + 1, 0, {last});
            last = add(i + 2, 0, {left, right});
            i += 3;
        }
        else
            last = add(i++, shape == Shape::Neighbourhood ? 1 : 0, {last});
    }
    RenderManager::ClearRenderTaskCache();
    return last;
}

/// What every benchmark starts from.
struct Settings
{
    unsigned long threads = 1;
    RenderManager::TileOrder order = RenderManager::TileOrder::Waves;
    long tileSize = 256;
    unsigned long budget = 256; ///< mebibytes
    bool cache = false;
};

inline void apply(const Settings& settings)
{
    RenderManager::SetPollPeriod(1000);
    RenderManager::setRenderThreads(settings.threads);
    RenderManager::SetTileOrder(settings.order);
    RenderManager::setGlobalTileSize(settings.tileSize, settings.tileSize);
    RenderManager::SetMaxImageMemory(settings.budget);
    RenderManager::setSpeculativeCachingEnable(settings.cache);
    RenderManager::clearSpeculativeCache();
    RenderManager::resetStatistics();
}

/// Renders all that the task has and drops the tiles; an error ends the process. With `seconds`,
/// adds up there what the tiles of each task took.
void render(const ref_ptr<RenderTask>& task, std::map<std::string, double>* seconds = nullptr);

}
