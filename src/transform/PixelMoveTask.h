#pragma once

#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>

#include <EMULSION/Plumbing.h>

#include "private/FirstInputTask.h"

namespace QUILT::Private
{

/// The base of tasks that give each pixel of their input another place: where the input has no
/// data, the tile is its background colour.
class PixelMoveTask : public FirstInputTask
{
public:
    using FirstInputTask::FirstInputTask;
    using FirstInputTask::renderRect;

    void renderRect(const EMULSION::Image* output,
                    const std::vector<const EMULSION::Image*>& inputs) final
    {
        if (inputs[0])
            movePixels(output, inputs[0]);
        else
            EMULSION::Fill(output, getInputBackgroundColor(0).getValue());
    }

    virtual void movePixels(const EMULSION::Image* output, const EMULSION::Image* input) = 0;
};

/// The input moved by (dx, dy), and zero where it does not reach: what is overwritten whole is not
/// cleared before.
inline void translateOverZero(const EMULSION::Image* output, const EMULSION::Image* input,
                              int64_t dx, int64_t dy, const UTIL::Rect& requiredRect)
{
    if (!input->bounds.contains(requiredRect))
        EMULSION::Clear(output);
    EMULSION::Translate(output, input, dx, dy);
}

/// The opposite offset. Throws std::runtime_error for the one that has none.
inline int64_t negated(int64_t offset)
{
    if (offset == std::numeric_limits<int64_t>::min())
        throw std::runtime_error("Error negating offset " + std::to_string(offset) +
                                 ". Overflow detected.");
    return -offset;
}

}
