#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include <ImathColor.h>

#include "EMULSION/Export.h"
#include "EMULSION/Image.h"

namespace EMULSION
{

/// Something that turns a pixel into another one, whatever stands around it.
///
/// It works on four planes of red, green, blue and alpha, so that a chain of operations runs over a
/// strip of pixels while it is in the first-level cache. Immutable, and safe to use from any number
/// of threads at once. The operations that come with this library are bound to the instruction set
/// that was chosen when they were made; all give the same bits, but for which NaN goes on where two
/// different ones meet.
class EMULSION_API PixelOperation
{
public:
    static constexpr size_t s_stripLength = 128;     ///< the most pixels that `transform` gets
    static constexpr size_t s_planeGranularity = 16; ///< it gets multiples of so many pixels
    static constexpr size_t s_planeAlignment = 64;   ///< of each plane, in bytes

    PixelOperation() = default;
    PixelOperation(const PixelOperation&) = delete;
    PixelOperation& operator=(const PixelOperation&) = delete;
    virtual ~PixelOperation();

    /// The function that error messages name, such as "Contrast": a text that is never freed.
    virtual const char* getName() const = 0;

    /// The channels that must hold the input's values if `wanted` are to come out right: a mask
    /// that grows when `wanted` grows. A channel that passes through unchanged requires itself.
    virtual uint64_t getRequiredChannels(uint64_t wanted) const = 0;

    /// Transforms `count` pixels in place.
    ///
    /// planes[0] to planes[3] are red, green, blue, alpha, and do not overlap. `count` and the
    /// planes' addresses keep to the three constants above; pixels behind the end of a row are
    /// part of the count, and what becomes of them does not matter. Only the channels of `wanted`
    /// must come out right: the others may be left in any state, and those that
    /// getRequiredChannels does not name may hold anything. The value of a pixel must not depend
    /// on where it stands in the planes. Throws nothing.
    virtual void transform(float* const planes[4], size_t count, uint64_t wanted) const = 0;
};

using PixelOperationPtr = std::shared_ptr<const PixelOperation>;

/// Leaves everything as it is.
EMULSION_API PixelOperationPtr makeCopyOperation();

/// Sets the channels of the mask to 0, and leaves the others as they are.
EMULSION_API PixelOperationPtr makeClearChannelsOperation(uint64_t channels);

/// Runs a chain of operations, the first one first, over the pixels that both images have.
///
/// Every channel of `output` is written there; outside `input` the output stays as it was. A
/// channel that `input` lacks reads as 0, alpha too. Without operations this copies. The two may
/// be the same image, or two structures over the same pixels. A chain gives the same bits as its
/// operations one after the other over images with all four channels.
///
/// An invalid image sets ERROR_INVALID_ARGUMENT or ERROR_INVALID_CHANNELS, and nothing is written.
EMULSION_API void Run(const Image* output, const Image* input,
                      const PixelOperation* const* operations, size_t count);

/// The same with one operation.
EMULSION_API void Run(const Image* output, const Image* input, const PixelOperation& operation);

/// What the chain makes of one colour: the same bits as it makes of a pixel.
EMULSION_API Imath::Color4f Run(const Imath::Color4f& color,
                                const PixelOperation* const* operations, size_t count);

/// The same with one operation.
EMULSION_API Imath::Color4f Run(const Imath::Color4f& color, const PixelOperation& operation);

}
