#pragma once

#include "QUILT/RenderTask.h"

namespace QUILT::Private
{

/// The base of tasks that follow their input 0: channels, data region, request and rectangle are
/// that input's. A subclass overrides where it differs.
class FirstInputTask : public RenderTask
{
public:
    using RenderTask::RenderTask;

    void computeCacheID(CacheIDStream&) override {}
    unsigned long computeOutputChannels() override { return getDefinedInputChannels(0); }
    UTIL::Region computeOutputDataRegion() override { return getDefinedInputDataRegion(0); }
    void makeInputFormatRequests() override { addInputRequest(0, getRequiredOutputChannels()); }

    void computeRequiredInputRectangles(const UTIL::Rect& outputRect,
                                        std::vector<UTIL::Rect>& inputRects) override
    {
        inputRects[0] = outputRect;
    }

    using RenderTask::renderRect;
};

}
