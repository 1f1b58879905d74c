#include <EMULSION/Composite.h>

#include "private/Assert.h"
#include "private/CacheItems.h"
#include "private/Channels.h"
#include "QUILT/CompositeTasks.h"

namespace QUILT
{

namespace
{

using EMULSION::Image;

class ZCompositeTask final : public RenderTask
{
public:
    ZCompositeTask(const std::string& name, float time, unsigned long depthChannel)
        : RenderTask(name, time), m_depthChannel(depthChannel)
    {}

    void addLayer(const ref_ptr<RenderTask>& color, const ref_ptr<RenderTask>& depth)
    {
        m_colorInputs.push_back(registerInputTask(color));
        m_depthInputs.push_back(registerInputTask(depth));
    }

    std::string getType() const override { return "ZComposite"; }
    void computeCacheID(CacheIDStream& stream) override
    {
        Private::writeItems(stream, m_depthChannel);
    }

    unsigned long computeOutputChannels() override
    {
        unsigned long channels = 0;
        for (const size_t color : m_colorInputs)
            channels |= getDefinedInputChannels(color);
        return channels;
    }

    UTIL::Region computeOutputDataRegion() override
    {
        UTIL::Region region;
        for (const size_t color : m_colorInputs)
            region.add(getDefinedInputDataRegion(color));
        return region;
    }

    Imath::Color4<float> computeBackgroundColor() override
    {
        std::vector<Imath::Color4<float>> colors;
        std::vector<float> depths;
        for (size_t layer = 0; layer < m_colorInputs.size(); ++layer)
        {
            const Imath::Color4<float>& color = getInputBackgroundColor(m_colorInputs[layer]);
            if (color == Imath::Color4<float>(0, 0, 0, 0))
                continue;
            colors.push_back(color);
            depths.push_back(depthOf(getInputBackgroundColor(m_depthInputs[layer])));
        }
        return EMULSION::ZComposite(colors, depths);
    }

    void makeInputFormatRequests() override
    {
        const unsigned long wanted = Channels::withAlpha(getRequiredOutputChannels());
        for (size_t layer = 0; layer < m_colorInputs.size(); ++layer)
        {
            const size_t color = m_colorInputs[layer], depth = m_depthInputs[layer];
            addInputRequest(color, wanted & getDefinedInputChannels(color));
            addInputRequest(depth, m_depthChannel & getDefinedInputChannels(depth));
        }
    }

    void computeRequiredInputRectangles(const UTIL::Rect& outputRect,
                                        std::vector<UTIL::Rect>& inputRects) override
    {
        inputRects.assign(inputRects.size(), outputRect);
    }

    using RenderTask::renderRect;

    void renderRect(const Image* output, const std::vector<const Image*>& inputs) override
    {
        std::vector<const Image*> colors, depths;
        for (size_t layer = 0; layer < m_colorInputs.size(); ++layer)
        {
            const Image* const color = inputs[m_colorInputs[layer]];
            if (!color)
                continue;
            colors.push_back(color);
            depths.push_back(inputs[m_depthInputs[layer]]);
        }
        EMULSION::ZComposite(output, colors, depths, m_depthChannel);
    }

private:
    // By the lowest channel of the mask, as the kernel reads it.
    float depthOf(const Imath::Color4<float>& background) const
    {
        for (int channel = 0; channel < 4; ++channel)
        {
            if (m_depthChannel >> channel & 1)
                return background[channel];
        }
        return 0.0f;
    }

    std::vector<size_t> m_colorInputs, m_depthInputs;
    const unsigned long m_depthChannel;
};

}

ref_ptr<RenderTask> createZCompositeTask(const std::string& name, float time,
                                         const std::vector<ref_ptr<RenderTask>>& colorTasks,
                                         const std::vector<ref_ptr<RenderTask>>& depthTasks,
                                         unsigned long depthChannel)
{
    QUILT_ASSERT(colorTasks.size() == depthTasks.size());
    const ref_ptr<ZCompositeTask> task(new ZCompositeTask(name, time, depthChannel));
    for (size_t layer = 0; layer < colorTasks.size(); ++layer)
        task->addLayer(colorTasks[layer], depthTasks[layer]);
    return task;
}

}
