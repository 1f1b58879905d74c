#pragma once

#include <vector>

#include <EMULSION/Extend.h>
#include <ImathColor.h>

#include "QUILT/ImageBuffer.h"
#include "UTIL/Rect.h"
#include "UTIL/Region.h"

namespace QUILT::Private
{

class RenderTask_Imp;

/// What stands between a task and one of its inputs: it knows where the input has data, where its
/// tiles end and what is beyond, and shows the task one plain image.
///
/// Made during set-up, read-only from then on, and used by any number of threads at once.
class InputRequest
{
public:
    virtual ~InputRequest() = default;

    /// One image that holds at least `rect`, put together from the input's tiles, which must have
    /// finished. Null when the input has nothing there. Nobody may write into it.
    virtual ImageBuffer getImage(const UTIL::Rect& rect) = 0;

    /// The area of the input that must exist for `rect`; null when there is none.
    virtual UTIL::Rect getRequiredRect(const UTIL::Rect& rect) = 0;

    /// The channels as they were asked for; the input may define fewer.
    virtual unsigned long getChannels() = 0;
};

/// Makes the request that goes with the method; an unknown method counts as ExtendNone.
InputRequest* makeInputRequest(RenderTask_Imp* inputTask, unsigned long channels,
                               EMULSION::ExtendMethod extendMethod, bool extendWithOverscan,
                               const UTIL::Rect& inputDisplayRect);

}
