#pragma once

#include <string>

#include <ImathColor.h>
#include <ImathMatrix.h>
#include <OpenColorIO/OpenColorIO.h>

#include "QUILT/Export.h"
#include "QUILT/RefPtr.h"
#include "QUILT/RenderTask.h"

/// Colour operations: each pixel by itself. A factory is called on the thread that builds the
/// graph; its task renders on any number of threads. Unless said otherwise, the data region is the
/// input's, the background colour goes through the operation like a pixel, and a null input throws
/// RenderTaskRenderingException.
namespace QUILT
{

/// Replaces the background colour, and leaves pixels and data region alone. Its tiles are not
/// offered to the cache.
QUILT_API ref_ptr<RenderTask> createBackgroundColorTask(const std::string& name, float time,
                                                        const Imath::Color4<float>& color,
                                                        ref_ptr<RenderTask> input);

// Values, channel by channel; alpha is a channel like the others.

/// Limits values: below `min` they become `min` if `clampMin`, then above `max` they become `max`
/// if `clampMax`. NaN stays. With neither, this is `input` itself.
QUILT_API ref_ptr<RenderTask> createClampTask(const std::string& name, float time,
                                              const Imath::Color4<float>& min,
                                              const Imath::Color4<float>& max, bool clampMin,
                                              bool clampMax, ref_ptr<RenderTask> input);

/// Splits values at a threshold: those at or above it become `high` if `replaceHigh`, those below
/// it, and NaN, become `low` if `replaceLow`. The others stay.
QUILT_API ref_ptr<RenderTask>
createThresholdTask(const std::string& name, float time, const Imath::Color4<float>& threshold,
                    bool replaceLow, const Imath::Color4<float>& low, bool replaceHigh,
                    const Imath::Color4<float>& high, ref_ptr<RenderTask> input);

/// (v - pivot) * contrast + pivot. A contrast of 1 in all channels gives `input` itself.
QUILT_API ref_ptr<RenderTask> createContrastTask(const std::string& name, float time,
                                                 const Imath::Color4<float>& contrast,
                                                 const Imath::Color4<float>& pivot,
                                                 ref_ptr<RenderTask> input);

/// 1 / v; 0 gives 0.
QUILT_API ref_ptr<RenderTask> createMultInverseTask(const std::string& name, float time,
                                                    ref_ptr<RenderTask> input);

/// Takes out what no picture should hold: NaN and infinities become 0, alpha is clamped to 0..1,
/// and negative colours become 0 unless `keepNegative`. That is for wide-gamut colours, which a
/// composite may rightly hold; what is negative behind a filter is ringing.
QUILT_API ref_ptr<RenderTask> createCleanupClampTask(const std::string& name, float time,
                                                     bool keepNegative, ref_ptr<RenderTask> input);

// Linear maps of the four channels. A row of the matrix makes one channel of the result; a channel
// is defined where its row has a coefficient for one that the input defines, or a constant. What no
// wanted row names is not asked of the input.

/// By 20 floats, which are copied: four rows of five, for red, green, blue and alpha of the result,
/// each with the factors of the input's red, green, blue and alpha and a constant. A factor of 0
/// takes no part, not even against infinity or NaN. The identity gives `input` itself.
QUILT_API ref_ptr<RenderTask> createColorTransformTask(const std::string& name, float time,
                                                       const float* matrix,
                                                       ref_ptr<RenderTask> input);

/// By a matrix for row vectors, as Imath has them: (r, g, b, a) * matrix + offset.
QUILT_API ref_ptr<RenderTask> createColorTransformTask(const std::string& name, float time,
                                                       const Imath::Matrix44<float>& matrix,
                                                       const Imath::Color4<float>& offset,
                                                       ref_ptr<RenderTask> input);

/// Each channel times its gain. A gain of 1 in all channels gives `input` itself.
QUILT_API ref_ptr<RenderTask> createGainTask(const std::string& name, float time,
                                             const Imath::Color4<float>& gain,
                                             ref_ptr<RenderTask> input);

/// The luminance, in all four channels, by the weights of OpenColorIO's config that is current now.
QUILT_API ref_ptr<RenderTask> createLuminanceTask(const std::string& name, float time,
                                                  ref_ptr<RenderTask> input);

// Colour spaces, by OpenColorIO. Such a task reads red, green and blue whatever is asked of it, and
// defines alpha, 0 where the input has none. What OpenColorIO cannot do, an unknown colour space
// for one, throws its exception when the task is described: when it becomes another task's input,
// at its first getCacheID() or getOutputDescription(), or, as a render's output, at the set-up.

/// Applies a processor; a null one throws RenderTaskRenderingException.
QUILT_API ref_ptr<RenderTask> createOCIOProcessorTask(const std::string& name, float time,
                                                      OCIO_NAMESPACE::ConstProcessorRcPtr processor,
                                                      ref_ptr<RenderTask> input);

/// Applies a transform in a config and a context; a null one of the three throws
/// RenderTaskRenderingException.
QUILT_API ref_ptr<RenderTask> createOCIOTransformTask(const std::string& name, float time,
                                                      OCIO_NAMESPACE::ConstConfigRcPtr config,
                                                      OCIO_NAMESPACE::ConstContextRcPtr context,
                                                      OCIO_NAMESPACE::ConstTransformRcPtr transform,
                                                      OCIO_NAMESPACE::TransformDirection direction,
                                                      ref_ptr<RenderTask> input);

/// The same in the current config.
QUILT_API ref_ptr<RenderTask> createOCIOTransformTask(const std::string& name, float time,
                                                      OCIO_NAMESPACE::ConstTransformRcPtr transform,
                                                      OCIO_NAMESPACE::TransformDirection direction,
                                                      ref_ptr<RenderTask> input);

/// Converts from the colour space or role `src` to `dst`. Equal names give `input` itself.
QUILT_API ref_ptr<RenderTask> createOCIOColorSpaceTask(const std::string& name, float time,
                                                       OCIO_NAMESPACE::ConstConfigRcPtr config,
                                                       OCIO_NAMESPACE::ConstContextRcPtr context,
                                                       const std::string& src,
                                                       const std::string& dst,
                                                       ref_ptr<RenderTask> input);

/// The same in the current config.
QUILT_API ref_ptr<RenderTask> createOCIOColorSpaceTask(const std::string& name, float time,
                                                       const std::string& src,
                                                       const std::string& dst,
                                                       ref_ptr<RenderTask> input);

/// The two colour spaces in which operations can be asked to work.
enum ProcessSpace : int
{
    ProcessSpaceLinear = 0, ///< the role scene_linear of the current config
    ProcessSpaceLog = 1     ///< the role compositing_log
};

/// From scene linear to compositing log, or back.
QUILT_API ref_ptr<RenderTask> createLogConvertTask(const std::string& name, float time, bool toLog,
                                                   ref_ptr<RenderTask> input);

/// Equal spaces give `input` itself. Other values than the two throw std::runtime_error.
QUILT_API ref_ptr<RenderTask> createProcessSpaceConvertTask(const std::string& name, float time,
                                                            ProcessSpace from, ProcessSpace to,
                                                            ref_ptr<RenderTask> input);

/// The same for one colour, at once. What OpenColorIO cannot do leaves an EMULSION error, and the
/// colour unconverted.
QUILT_API Imath::Color4<float> logConvert(const Imath::Color4<float>& color, bool toLog);
QUILT_API Imath::Color4<float> processSpaceConvert(const Imath::Color4<float>& color,
                                                   ProcessSpace from, ProcessSpace to);

/// 0 for "rgb", 1 for "hsv", in any case; anything else throws std::runtime_error.
QUILT_API int GetProcessColorspaceFromString(const std::string& text);

}
