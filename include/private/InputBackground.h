#pragma once

#include <ImathColor.h>

#include "QUILT/RenderTask.h"

namespace QUILT::Private
{

/// An input's background colour, 0 in the channels that the input does not define, unless it has no
/// data at all.
///
/// A channel that is missing is 0 where there is data. Where an operation takes the background
/// colour for the pixels of a tile without data, it must say the same as a tile that has some. An
/// input without any data is nothing but its colour, whatever channels it defines.
inline Imath::Color4<float> definedBackground(RenderTask& task, unsigned long inputID)
{
    Imath::Color4<float> color = task.getInputBackgroundColor(inputID);
    if (task.getDefinedInputDataRegion(inputID).isEmpty())
        return color;
    const unsigned long channels = task.getDefinedInputChannels(inputID);
    for (int channel = 0; channel < 4; ++channel)
    {
        if (!(channels >> channel & 1))
            color[channel] = 0.0f;
    }
    return color;
}

}
