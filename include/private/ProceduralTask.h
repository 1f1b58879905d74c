#pragma once

#include "QUILT/RenderTask.h"

namespace QUILT::Private
{

/// The base of tasks without inputs: an image on a rectangle, zero outside it.
class ProceduralTask : public RenderTask
{
public:
    ProceduralTask(const std::string& name, float time, const UTIL::Rect& rect)
        : RenderTask(name, time), m_rect(rect)
    {}

    void computeCacheID(CacheIDStream& stream) override;
    unsigned long computeOutputChannels() override;
    UTIL::Region computeOutputDataRegion() override;
    void makeInputFormatRequests() override;
    void computeRequiredInputRectangles(const UTIL::Rect& outputRect,
                                        std::vector<UTIL::Rect>& inputRects) override;

protected:
    const UTIL::Rect m_rect;
};

}
