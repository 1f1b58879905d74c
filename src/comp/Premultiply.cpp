#include <EMULSION/Plumbing.h>
#include <EMULSION/Premultiply.h>

#include "private/Assert.h"
#include "private/CacheItems.h"
#include "private/Channels.h"
#include "private/KernelOp.h"
#include "QUILT/CompositeTasks.h"

namespace QUILT
{

namespace
{

class PremultiplyOp final : public Private::KernelOp
{
public:
    explicit PremultiplyOp(bool premultiply)
        : KernelOp(premultiply ? EMULSION::makePremultiplyOperation()
                               : EMULSION::makeUnpremultiplyOperation()),
          m_premultiply(premultiply)
    {}

    std::string getName() const override { return m_premultiply ? "Premultiply" : "Unpremultiply"; }

    void computeCacheID(CacheIDStream& stream) override
    {
        Private::writeItems(stream, m_premultiply);
    }

    unsigned long computeOutputChannels(unsigned long definedAtInput) override
    {
        return Channels::withRGB(definedAtInput);
    }

    unsigned long computeInputChannels(unsigned long wantedAtOutput) override
    {
        return Channels::withAlpha(wantedAtOutput);
    }

private:
    const bool m_premultiply;
};

// With the alpha of another image, which also becomes that of the result.
class PremultiplyOtherAlphaTask final : public RenderTask
{
public:
    PremultiplyOtherAlphaTask(const std::string& name, float time, bool premultiply,
                              const ref_ptr<RenderTask>& input, const ref_ptr<RenderTask>& alpha)
        : RenderTask(name, time), m_input(registerInputTask(input)),
          m_alpha(registerInputTask(alpha)), m_premultiply(premultiply)
    {}

    std::string getType() const override
    {
        return m_premultiply ? "PremultiplyOtherAlpha" : "UnpremultiplyOtherAlpha";
    }

    void computeCacheID(CacheIDStream& stream) override
    {
        Private::writeItems(stream, m_premultiply);
    }

    unsigned long computeOutputChannels() override
    {
        return getDefinedInputChannels(m_input) |
               (getDefinedInputChannels(m_alpha) & Channels::Alpha);
    }

    UTIL::Region computeOutputDataRegion() override { return getDefinedInputDataRegion(m_input); }

    Imath::Color4<float> computeBackgroundColor() override
    {
        const Imath::Color4<float> color = getInputBackgroundColor(m_input);
        const Imath::Color4<float> alpha = getInputBackgroundColor(m_alpha);
        return m_premultiply ? EMULSION::Premultiply(color, alpha)
                             : EMULSION::Unpremultiply(color, alpha);
    }

    // Where only alpha is wanted, the colours are not read.
    void makeInputFormatRequests() override
    {
        addInputRequest(m_alpha, Channels::Alpha);
        if (getRequiredOutputChannels() & Channels::RGB)
            addInputRequest(m_input, Channels::RGB);
    }

    void computeRequiredInputRectangles(const UTIL::Rect& outputRect,
                                        std::vector<UTIL::Rect>& inputRects) override
    {
        inputRects[m_input] = outputRect;
        inputRects[m_alpha] = outputRect;
    }

    using RenderTask::renderRect;

    void renderRect(const EMULSION::Image* output,
                    const std::vector<const EMULSION::Image*>& inputs) override
    {
        const EMULSION::Image* const color = inputs[m_input];
        const EMULSION::Image* const alpha = inputs[m_alpha];
        if (!color && !alpha)
            EMULSION::Fill(output, getBackgroundColor().getValue());
        else if (m_premultiply)
            EMULSION::Premultiply(output, color, alpha, getInputBackgroundColor(m_input),
                                  getInputBackgroundColor(m_alpha));
        else
            EMULSION::Unpremultiply(output, color, alpha, getInputBackgroundColor(m_input),
                                    getInputBackgroundColor(m_alpha));
    }

private:
    const size_t m_input, m_alpha;
    const bool m_premultiply;
};

ref_ptr<RenderTask> createTask(bool premultiply, const std::string& name, float time,
                               const ref_ptr<RenderTask>& inputTask,
                               const ref_ptr<RenderTask>& alphaTask)
{
    if (!alphaTask || alphaTask == inputTask)
        return Private::createInPlaceTask(new PremultiplyOp(premultiply), name, inputTask, time);
    QUILT_ASSERT_TEXT(inputTask, "inputTask != 0");
    return new PremultiplyOtherAlphaTask(name, time, premultiply, inputTask, alphaTask);
}

}

ref_ptr<RenderTask> createPremultiplyTask(const std::string& name, float time,
                                          ref_ptr<RenderTask> inputTask,
                                          ref_ptr<RenderTask> alphaTask)
{
    return createTask(true, name, time, inputTask, alphaTask);
}

ref_ptr<RenderTask> createUnpremultiplyTask(const std::string& name, float time,
                                            ref_ptr<RenderTask> inputTask,
                                            ref_ptr<RenderTask> alphaTask)
{
    return createTask(false, name, time, inputTask, alphaTask);
}

}
