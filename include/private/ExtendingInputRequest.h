#pragma once

#include "ColorInputRequest.h"

namespace QUILT::Private
{

/// The input goes on beyond its edge: beyond the display rectangle, or beyond its data where data
/// overlaps that and overscan is used.
class ExtendingInputRequest : public ColorInputRequest
{
public:
    ExtendingInputRequest(RenderTask_Imp* inputTask, unsigned long channels,
                          bool extendWithOverscan, const UTIL::Rect& inputDisplayRect)
        : ColorInputRequest(inputTask, channels), m_extendWithOverscan(extendWithOverscan),
          m_inputDisplayRect(inputDisplayRect)
    {}

    ImageBuffer getImage(const UTIL::Rect& rect) override;
    UTIL::Rect getRequiredRect(const UTIL::Rect& rect) override;

protected:
    /// Cuts `rect` into actions that read inside `extendRect` only.
    virtual void splitToActions(const UTIL::Rect& rect, const UTIL::Rect& extendRect,
                                std::vector<EMULSION::ExtendAction>& actions) = 0;

    /// The part of `extendRect` that those actions read.
    virtual UTIL::Rect getRequiredExtendRect(const UTIL::Rect& rect,
                                             const UTIL::Rect& extendRect) = 0;

private:
    friend struct TaskTestAccess;

    UTIL::Region usedData() const;
    UTIL::Rect extendRect(const UTIL::Region& data) const;

    const bool m_extendWithOverscan;
    const UTIL::Rect m_inputDisplayRect;
};

/// Repeats the pixels at the edge.
class ClampInputRequest final : public ExtendingInputRequest
{
public:
    using ExtendingInputRequest::ExtendingInputRequest;

protected:
    void splitToActions(const UTIL::Rect& rect, const UTIL::Rect& extendRect,
                        std::vector<EMULSION::ExtendAction>& actions) override;
    UTIL::Rect getRequiredExtendRect(const UTIL::Rect& rect, const UTIL::Rect& extendRect) override;
};

/// Reflects the image at its edge.
class MirroredInputRequest final : public ExtendingInputRequest
{
public:
    using ExtendingInputRequest::ExtendingInputRequest;

protected:
    void splitToActions(const UTIL::Rect& rect, const UTIL::Rect& extendRect,
                        std::vector<EMULSION::ExtendAction>& actions) override;
    UTIL::Rect getRequiredExtendRect(const UTIL::Rect& rect, const UTIL::Rect& extendRect) override;
};

}
