#pragma once

#include "QUILT/CompositeTasks.h"
#include "QUILT/RenderTask.h"

namespace QUILT::Private
{

/// The base of operators of two images, A and B.
///
/// A subclass says which kernel combines two images; the result's background colour is what the
/// same kernel makes of one pixel. Channels and data region are those of both inputs together.
class BaseCompositeTask : public RenderTask
{
public:
    BaseCompositeTask(const std::string& name, float time, const ref_ptr<RenderTask>& a,
                      const ref_ptr<RenderTask>& b);

    void computeCacheID(CacheIDStream&) override {}
    unsigned long computeOutputChannels() override;
    UTIL::Region computeOutputDataRegion() override;
    Imath::Color4<float> computeBackgroundColor() final;
    void makeInputFormatRequests() override;
    void computeRequiredInputRectangles(const UTIL::Rect& outputRect,
                                        std::vector<UTIL::Rect>& inputRects) final;

    using RenderTask::renderRect;
    void renderRect(const EMULSION::Image* output,
                    const std::vector<const EMULSION::Image*>& inputs) final;

    /// Fills `output`. One of the two may be null: its background colour stands for it.
    virtual void compositeImages(const EMULSION::Image* output, const EMULSION::Image* a,
                                 const EMULSION::Image* b) = 0;

    /// The same where only the one input has data.
    virtual void compositeMissingB(const EMULSION::Image* output, const EMULSION::Image* a);
    virtual void compositeMissingA(const EMULSION::Image* output, const EMULSION::Image* b);

protected:
    /// What stands for an input outside its data, as the images that it is asked for have it.
    virtual Imath::Color4<float> backgroundA();
    virtual Imath::Color4<float> backgroundB();

    unsigned long channelsOfBoth();
    UTIL::Region regionOfBoth();

    /// Where a product of something of A and something of B can differ from its background colour:
    /// a factor that is zero outside its input's data cuts the other's down to it.
    UTIL::Region regionOfProduct(bool zeroOutsideA, bool zeroOutsideB);

    bool hasZeroBackground(size_t input); ///< in all four channels; NaN is not zero, -0 is

    const size_t m_inputA, m_inputB;
};

/// What createCompositeTask was asked for.
struct Composite
{
    const std::string& name;
    float time;
    CompositeOp op;
    bool flagA, flagB;
    const ref_ptr<RenderTask>&a, &b;
};

// The operators by kind; null for one that is not of the kind.
ref_ptr<RenderTask> makeAlphaComposite(const Composite& composite);
ref_ptr<RenderTask> makeArithmeticComposite(const Composite& composite);
ref_ptr<RenderTask> makeExtremeComposite(const Composite& composite);

}
