#pragma once

#include <optional>
#include <vector>

#include <EMULSION/PixelOperation.h>

#include "QUILT/RenderTask.h"

namespace QUILT::Private
{

/// An operation that touches each pixel by itself. Immutable, and shared between threads.
class InPlaceOp : public ThreadSafeRefBase
{
public:
    ~InPlaceOp() override;

    /// Writes every parameter that changes the output.
    virtual void computeCacheID(CacheIDStream& stream) = 0;

    /// Fills all of `output` from `input`; the two may be the same image.
    virtual void apply(const EMULSION::Image* output, const EMULSION::Image* input) = 0;

    /// The channels that come out when these are defined at the input; unless overridden, the same.
    virtual unsigned long computeOutputChannels(unsigned long definedAtInput);

    /// The channels needed of the input when these are wanted at the output; unless overridden, the
    /// same.
    virtual unsigned long computeInputChannels(unsigned long wantedAtOutput);

    virtual std::string getName() const = 0;

    /// What the operation makes of one colour: the same, to the bit, as of a pixel of that colour.
    virtual Imath::Color4<float> computeBackgroundColor(const Imath::Color4<float>& input);

    /// The operation as one step of a program over strips of pixels, null when it cannot be one. It
    /// does to a pixel, to the bit, what apply does.
    virtual EMULSION::PixelOperationPtr getPixelOperation() const;
};

/// Carries in-place operations through the graph. It starts with one; set-up merges a run of such
/// tasks, in which each feeds only the next, into its head, which then applies all their operations
/// to a tile in one go.
class InPlaceTask final : public RenderTask
{
public:
    InPlaceTask(ref_ptr<InPlaceOp> op, const std::string& name, float time);

    void addOp(ref_ptr<InPlaceOp> op); ///< one that runs before all that are here
    ref_ptr<InPlaceOp> getOp() const;  ///< the only one

    /// What the merged operations make of the background, as the first merged task was described.
    /// They are not asked again when the head is described after its merge.
    void setMergedBackground(const Imath::Color4<float>& color);

    /// Whether chains collapse, in the whole process; true at the start. A switch for tests.
    static void setCollapsing(bool collapsing);
    static bool isCollapsing();

    std::string getType() const override;
    void computeCacheID(CacheIDStream& stream) override;
    unsigned long computeOutputChannels() override;
    UTIL::Region computeOutputDataRegion() override;
    Imath::Color4<float> computeBackgroundColor() override;
    void makeInputFormatRequests() override;
    void computeRequiredInputRectangles(const UTIL::Rect& outputRect,
                                        std::vector<UTIL::Rect>& inputRects) override;
    using RenderTask::renderRect;
    void renderRect(const EMULSION::Image* output,
                    const std::vector<const EMULSION::Image*>& inputImages) override;

private:
    struct Step
    {
        InPlaceOp* op;                         // null where channels are cleared
        EMULSION::PixelOperationPtr operation; // null where the op has to be applied
    };

    void prepareChain(const std::vector<unsigned long>& wantedChannels);
    void runChain(const EMULSION::Image* output, const EMULSION::Image* input) const;

    std::vector<ref_ptr<InPlaceOp>> m_ops; // [0] is the last to run, nearest the consumers
    std::optional<Imath::Color4<float>> m_mergedBackground;
    unsigned long m_intermediateChannels = 0; // that pass between operations
    std::vector<Step> m_steps;                // of a chain, in the order in which they run
};

/// Makes an in-place task on an input. A null input throws RenderTaskRenderingException.
ref_ptr<RenderTask> createInPlaceTask(ref_ptr<InPlaceOp> op, const std::string& name,
                                      ref_ptr<RenderTask> input, float time);

}
