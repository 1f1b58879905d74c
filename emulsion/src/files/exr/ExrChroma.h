#pragma once

#include <ImfInputPart.h>

#include "files/exr/ExrSlices.h"

// Channels that have fewer samples than the picture has pixels. All of these read whole rows of the
// part: the image spans its data window in x.
namespace EMULSION::Private
{

/// The parts of red, green and blue in luminance, by the header's chromaticities.
Imath::V3f luminanceWeights(const Imf::Header& header);

/// Fills the channel with the sample at or before each pixel.
void readSubsampled(Imf::InputPart& input, const ExrPart& part,
                    const ExrChannelPlan::Subsampled& channel, const Image& image);

/// Makes colours of a luminance and of chroma at every second pixel of every second row, as
/// Imf::RgbaInputFile does, to the bit and whatever rows are asked for: missing chroma comes from
/// the 14 samples around it, along rows and then along columns, and pixels that have become more
/// saturated than their neighbours are toned down.
void readColours(Imf::InputPart& input, const ExrPart& part, const ExrChannelPlan& plan,
                 const Image& image);

}
