#pragma once

#include <algorithm>
#include <stdexcept>
#include <string>

#include <EMULSION/PixelOperation.h>
#include <EMULSION/Plumbing.h>
#include <QUILT/RenderTask.h>

#include "private/CacheItems.h"
#include "private/ImageLock.h"
#include "private/InPlaceTask.h"

/// Tasks that use what the engine offers to operations: several inputs, full frame, delayed
/// locking, extending far away, pixel operations in chains.
namespace QUILT::Test
{

/// A pixel of an image that holds it, or the colour where there is no image.
inline Imath::Color4f pixelOr(const Imath::Color4f& background, const EMULSION::Image* image,
                              int64_t x, int64_t y)
{
    if (!image)
        return background;
    Imath::Color4f color(0, 0, 0, 0);
    EMULSION::GetPixel(image, x, y, color.getValue());
    return color;
}

inline void forEachPixel(const EMULSION::Image& output, auto&& color)
{
    const UTIL::Rect& r = output.bounds;
    for (int64_t y = r.y0; y < r.y1; ++y)
        for (int64_t x = r.x0; x < r.x1; ++x)
            EMULSION::SetPixel(&output, x, y, Imath::Color4f(color(x, y)).getValue());
}

/// a + b, with b read at an offset. Asks both inputs for all channels of the sum, also those that
/// they lack. It does not ask for a rectangle of b that has no data.
class SumTask : public RenderTask
{
public:
    SumTask(const std::string& name, int64_t dx, int64_t dy, const ref_ptr<RenderTask>& a,
            const ref_ptr<RenderTask>& b)
        : RenderTask(name, 0), m_dx(dx), m_dy(dy)
    {
        registerInputTask(a);
        registerInputTask(b);
    }

    std::string getType() const override { return "Sum"; }
    void computeCacheID(CacheIDStream& id) override { Private::writeItems(id, m_dx, m_dy); }
    unsigned long computeOutputChannels() override
    {
        return getDefinedInputChannels(0) | getDefinedInputChannels(1);
    }
    UTIL::Region computeOutputDataRegion() override
    {
        UTIL::Region region = getDefinedInputDataRegion(0);
        region.add(getDefinedInputDataRegion(1).offset(-m_dx, -m_dy));
        return region;
    }
    Imath::Color4f computeBackgroundColor() override
    {
        return getInputBackgroundColor(0) + getInputBackgroundColor(1);
    }
    void makeInputFormatRequests() override
    {
        addInputRequest(0, getRequiredOutputChannels());
        addInputRequest(1, getRequiredOutputChannels());
    }
    void computeRequiredInputRectangles(const UTIL::Rect& outputRect,
                                        std::vector<UTIL::Rect>& inputRects) override
    {
        inputRects[0] = outputRect;
        const UTIL::Rect ofB = outputRect.offset(m_dx, m_dy, true);
        if (getDefinedInputDataRegion(1).intersects(ofB))
            inputRects[1] = ofB;
    }

    using RenderTask::renderRect;
    void renderRect(const EMULSION::Image* output,
                    const std::vector<const EMULSION::Image*>& inputs) override
    {
        forEachPixel(*output, [&](int64_t x, int64_t y) {
            return pixelOr(getInputBackgroundColor(0), inputs[0], x, y) +
                   pixelOr(getInputBackgroundColor(1), inputs[1], x + m_dx, y + m_dy);
        });
    }

private:
    const int64_t m_dx, m_dy;
};

/// Its input moved, shown on a region of its own.
struct ShiftParams
{
    UTIL::Region region;
    int64_t dx = 0, dy = 0;
    EMULSION::ExtendMethod extend = EMULSION::ExtendNone;
    bool withOverscan = false;
    UTIL::Rect displayRect = {};
    unsigned long channels = 15; ///< asked for, whatever the input defines
    Imath::Color4f background{0, 0, 0, 0};
};

class ShiftTask : public RenderTask
{
public:
    ShiftTask(const std::string& name, const ShiftParams& params, const ref_ptr<RenderTask>& input)
        : RenderTask(name, 0), m_params(params)
    {
        registerInputTask(input);
    }

    std::string getType() const override { return "Shift"; }
    void computeCacheID(CacheIDStream& id) override
    {
        id << m_params.region << ',';
        Private::writeItems(id, m_params.dx, m_params.dy, m_params.extend, m_params.withOverscan,
                            m_params.displayRect, m_params.channels, m_params.background);
    }
    unsigned long computeOutputChannels() override { return m_params.channels; }
    UTIL::Region computeOutputDataRegion() override { return m_params.region; }
    Imath::Color4f computeBackgroundColor() override { return m_params.background; }
    void makeInputFormatRequests() override
    {
        addInputRequest(0, getRequiredOutputChannels(), m_params.extend, m_params.withOverscan,
                        m_params.displayRect);
    }
    void computeRequiredInputRectangles(const UTIL::Rect& outputRect,
                                        std::vector<UTIL::Rect>& inputRects) override
    {
        inputRects[0] = outputRect.offset(m_params.dx, m_params.dy, true);
    }

    using RenderTask::renderRect;
    void renderRect(const EMULSION::Image* output,
                    const std::vector<const EMULSION::Image*>& inputs) override
    {
        forEachPixel(*output, [&](int64_t x, int64_t y) {
            return pixelOr(getInputBackgroundColor(0), inputs[0], x + m_params.dx, y + m_params.dy);
        });
    }

private:
    const ShiftParams m_params;
};

/// Adds to each pixel the one on the opposite side of the centre of `frame`, in full frame.
struct OppositeParams
{
    UTIL::Region region; ///< where the result has data
    UTIL::Rect frame;
    bool wrap = false;
    Imath::Color4f background{0, 0, 0, 0};
};

class OppositeTask : public RenderTask
{
public:
    OppositeTask(const std::string& name, const OppositeParams& params,
                 const ref_ptr<RenderTask>& input)
        : RenderTask(name, 0), m_params(params)
    {
        registerInputTask(input);
        setRenderFullFrame(true, params.wrap);
    }

    std::string getType() const override { return "Opposite"; }
    void computeCacheID(CacheIDStream& id) override
    {
        id << m_params.region << ',';
        Private::writeItems(id, m_params.frame, m_params.wrap, m_params.background);
    }
    unsigned long computeOutputChannels() override { return getDefinedInputChannels(0); }
    UTIL::Region computeOutputDataRegion() override { return m_params.region; }
    Imath::Color4f computeBackgroundColor() override { return m_params.background; }
    void makeInputFormatRequests() override { addInputRequest(0, getRequiredOutputChannels()); }
    void computeRequiredInputRectangles(const UTIL::Rect& outputRect,
                                        std::vector<UTIL::Rect>& inputRects) override
    {
        const UTIL::Rect& r = outputRect;
        inputRects[0] = r.unite(UTIL::Rect(oppositeX(r.x1 - 1), oppositeY(r.y1 - 1),
                                           oppositeX(r.x0) + 1, oppositeY(r.y0) + 1));
    }

    using RenderTask::renderRect;
    void renderRect(const EMULSION::Image* output,
                    const std::vector<const EMULSION::Image*>& inputs) override
    {
        if (m_params.wrap && !inputs[0])
            throw std::logic_error("Opposite got no image for its input.");
        forEachPixel(*output, [&](int64_t x, int64_t y) {
            const Imath::Color4f& background = getInputBackgroundColor(0);
            return pixelOr(background, inputs[0], x, y) +
                   pixelOr(background, inputs[0], oppositeX(x), oppositeY(y));
        });
    }

private:
    int64_t oppositeX(int64_t x) const { return m_params.frame.x0 + m_params.frame.x1 - 1 - x; }
    int64_t oppositeY(int64_t y) const { return m_params.frame.y0 + m_params.frame.y1 - 1 - y; }

    const OppositeParams m_params;
};

/// Half its input, which it locks itself, row by row.
class LateLockingTask : public RenderTask
{
public:
    LateLockingTask(const std::string& name, const ref_ptr<RenderTask>& input) : RenderTask(name, 0)
    {
        registerInputTask(input);
        setRenderLocalLocking(true);
    }

    std::string getType() const override { return "LateLocking"; }
    void computeCacheID(CacheIDStream&) override {}
    unsigned long computeOutputChannels() override { return getDefinedInputChannels(0); }
    UTIL::Region computeOutputDataRegion() override { return getDefinedInputDataRegion(0); }
    Imath::Color4f computeBackgroundColor() override { return getInputBackgroundColor(0) * 0.5f; }
    void makeInputFormatRequests() override { addInputRequest(0, getRequiredOutputChannels()); }
    void computeRequiredInputRectangles(const UTIL::Rect& outputRect,
                                        std::vector<UTIL::Rect>& inputRects) override
    {
        inputRects[0] = outputRect;
    }

    using RenderTask::renderRect;
    void renderRect(const EMULSION::Image* output, std::vector<ImageBuffer>& inputs) override
    {
        const UTIL::Rect& r = output->bounds;
        for (int64_t y = r.y0; y < r.y1; ++y)
        {
            const Private::ImageLock lock(inputs[0]);
            EMULSION::Image row;
            EMULSION::GetSubImage(&row, output, r.x0, y, r.x1, y + 1);
            forEachPixel(row, [&](int64_t x, int64_t) {
                return pixelOr({0, 0, 0, 0}, lock.image(), x, y) * 0.5f;
            });
        }
    }
};

/// A pixel operation in a chain, as a step of a program or only through apply.
class KernelOp final : public Private::InPlaceOp
{
public:
    /// `parameters` is the operation's identity; the channels are those that it makes of nothing,
    /// and those that never come out of it.
    KernelOp(EMULSION::PixelOperationPtr operation, const std::string& parameters, bool isStep,
             unsigned long made = 0, unsigned long lost = 0)
        : m_operation(std::move(operation)), m_parameters(parameters), m_isStep(isStep),
          m_made(made), m_lost(lost)
    {}

    std::string getName() const override { return m_operation->getName(); }
    void computeCacheID(CacheIDStream& id) override
    {
        id << m_parameters << ',';
        Private::writeItems(id, m_isStep);
    }
    void apply(const EMULSION::Image* output, const EMULSION::Image* input) override
    {
        EMULSION::Run(output, input, *m_operation);
    }
    unsigned long computeOutputChannels(unsigned long definedAtInput) override
    {
        return (definedAtInput | m_made) & ~m_lost;
    }
    unsigned long computeInputChannels(unsigned long wantedAtOutput) override
    {
        return m_operation->getRequiredChannels(wantedAtOutput);
    }
    Imath::Color4f computeBackgroundColor(const Imath::Color4f& color) override
    {
        return EMULSION::Run(color, *m_operation);
    }
    EMULSION::PixelOperationPtr getPixelOperation() const override
    {
        return m_isStep ? m_operation : nullptr;
    }

private:
    const EMULSION::PixelOperationPtr m_operation;
    const std::string m_parameters;
    const bool m_isStep;
    const unsigned long m_made, m_lost;
};

}
