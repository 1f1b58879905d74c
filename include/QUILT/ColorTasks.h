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

// Values, channel by channel; alpha is a channel like the others unless said otherwise.

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

/// The input as it is. Unlike createCopyTask this can be part of a chain of operations that run
/// together.
QUILT_API ref_ptr<RenderTask> createInPlaceCopyTask(const std::string& name, float time,
                                                    ref_ptr<RenderTask> input);

/// More contrast about 0.5, by the curve s = 6v^5 - 15v^4 + 10v^3: (s - v) * amount + v. That keeps
/// 0, 0.5 and 1 where they are for any `amount`, and is meant for values between 0 and 1. Alpha
/// follows if `boostAlpha`, otherwise it becomes 1.
QUILT_API ref_ptr<RenderTask> createNContrastBoostTask(const std::string& name, float time,
                                                       float amount, bool boostAlpha,
                                                       ref_ptr<RenderTask> input);

/// 1 - |2v - 1| with v clamped to 0..1: 1 where v is 0.5, falling to 0 at 0 and at 1 and staying 0
/// beyond, so that of a matte the soft edge is left. NaN gives 0.
QUILT_API ref_ptr<RenderTask> createFringeTask(const std::string& name, float time,
                                               ref_ptr<RenderTask> input);

/// Turns gradations into steps; alpha stays.
///
/// \param levelsR, levelsG, levelsB  how many steps there are from 0 to 1, rounded down; less than
///                                   2 leaves the channel as it is
/// \param clampRange  values are clamped to 0..1 first; otherwise steps go on outside
/// \param nearest     a value becomes the step that is nearest to it; otherwise all steps from 0 to
///                    1 are equally wide
QUILT_API ref_ptr<RenderTask> createPosterizeTask(const std::string& name, float time,
                                                  float levelsR, float levelsG, float levelsB,
                                                  bool clampRange, bool nearest,
                                                  ref_ptr<RenderTask> input);

/// What becomes of highlights before they are spread.
struct BloomControlSettings
{
    bool enabled = true;
    float threshold = 1.0f; ///< values above it are highlights; with `useLuminance` 0 or more
    float amount = 0.0f;    ///< any number; 50 makes what exceeds the threshold ten times as much
    bool useLuminance = false; ///< by luminance (Rec. ITU-R BT.709), or each channel by itself
};

/// Makes highlights brighter, or darker by a negative amount: threshold + (v - threshold) * gain
/// where v exceeds the threshold, with a gain of 10^(amount / 50).
///
/// By luminance, red, green and blue are multiplied by what luminance is multiplied by, and are
/// asked of the input together; otherwise each is such a v. Alpha stays. When not enabled, and at
/// an amount of 0, this is `input` itself.
QUILT_API ref_ptr<RenderTask> createBloomTask(const std::string& name, float time,
                                              const BloomControlSettings& settings,
                                              ref_ptr<RenderTask> input);

// Models of colour.

/// From red, green and blue to hue, saturation and value, in the same channels, or back (A. R.
/// Smith, "Color Gamut Transform Pairs", 1978). Alpha stays.
///
/// Hue is in turns: 0 is red, 1/3 green, 2/3 blue. Value is the largest of the three, saturation
/// the part of it by which the smallest falls short. Greys have hue and saturation 0. On the way
/// back any finite hue is brought into range, and any other counts as 0. The result has red, green
/// and blue, and asks for all of them, whatever is wanted.
QUILT_API ref_ptr<RenderTask> createHSVConvertTask(const std::string& name, float time, bool toHSV,
                                                   ref_ptr<RenderTask> input);

/// From linear red, green and blue with the primaries and the white of Rec. ITU-R BT.709 to L*, a*,
/// b* of CIE 1976 (CIE 15:2004), divided by 100, so that white is 1, 0, 0; or back. Alpha stays.
QUILT_API ref_ptr<RenderTask> createLabTask(const std::string& name, float time, bool toLab,
                                            ref_ptr<RenderTask> input);

// Alpha made of red, green and blue, which stay. The result always has alpha, and asks for all
// three colours, whatever is wanted.

/// One of the three that createHSVConvertTask makes.
enum HSVComponent : int
{
    HSVComponentHue = 0,
    HSVComponentSaturation = 1,
    HSVComponentValue = 2
};

/// Alpha becomes a colour's hue, saturation or value; by any other number it stays as it was.
QUILT_API ref_ptr<RenderTask> createHSVComponentToAlphaTask(const std::string& name, float time,
                                                            HSVComponent component,
                                                            ref_ptr<RenderTask> input);

/// Alpha becomes the smallest of red, green and blue.
QUILT_API ref_ptr<RenderTask> createMinRGBToAlphaTask(const std::string& name, float time,
                                                      ref_ptr<RenderTask> input);

/// Alpha becomes the largest of red, green and blue.
QUILT_API ref_ptr<RenderTask> createMaxRGBToAlphaTask(const std::string& name, float time,
                                                      ref_ptr<RenderTask> input);

/// A matte for what stands before a screen: alpha becomes 1 - c + m, clamped to 0..1, with c the
/// value of `channel`, the screen's colour, and m the larger of the other two. NaN gives 0.
///
/// \param channel  1 red, 2 green, 4 blue; anything else makes alpha 0
QUILT_API ref_ptr<RenderTask> createScreenRGBToAlphaTask(const std::string& name, float time,
                                                         unsigned long channel,
                                                         ref_ptr<RenderTask> input);

// Tone.

/// Compresses red, green and blue above a knee, or expands them again, and keeps the hue: all three
/// are multiplied by f(m) / m, with m the largest of their absolute values.
///
/// f(x) is x up to `knee` and knee + k ln(1 + (x - knee) / k) above, with the k that takes `from`
/// to `to`; with `expand` it is the inverse, which takes `to` to `from`. It goes on beyond. A knee
/// below 0 counts as 0; unless knee < to < from, all finite, the picture stays as it is. So does a
/// pixel with an infinity or NaN in its colour, and alpha.
QUILT_API ref_ptr<RenderTask> createCompressRangeTask(const std::string& name, float time,
                                                      float knee, float from, float to, bool expand,
                                                      ref_ptr<RenderTask> input);

/// Compresses what is brighter than middle grey, 0.18, so that 16 becomes 1; and expands it again.
QUILT_API ref_ptr<RenderTask> createStandardCompressRangeTask(const std::string& name, float time,
                                                              ref_ptr<RenderTask> input);
QUILT_API ref_ptr<RenderTask> createStandardExpandRangeTask(const std::string& name, float time,
                                                            ref_ptr<RenderTask> input);

/// Per channel, alpha too, pivot * sign(q) |q|^exponent with q = v / pivot: the pivot stays, and
/// negative values mirror positive ones. A pivot of 0 counts as 1; 0^0 is 1, and the other special
/// powers are those of ISO C. An exponent of 1 in all channels gives `input` itself.
QUILT_API ref_ptr<RenderTask> createExponentialTask(const std::string& name, float time,
                                                    const Imath::Color4<float>& exponent,
                                                    const Imath::Color4<float>& pivot,
                                                    ref_ptr<RenderTask> input);

/// The same with the exponents 1 / gamma, infinite for a gamma of 0. A gamma of 1 in all
/// channels gives `input` itself.
QUILT_API ref_ptr<RenderTask> createGammaTask(const std::string& name, float time,
                                              const Imath::Color4<float>& gamma,
                                              const Imath::Color4<float>& pivot,
                                              ref_ptr<RenderTask> input);

/// From linear to the logarithmic curve of film scans (Kodak, 1995), or back; alpha stays. The
/// config of OpenColorIO plays no part: createLogConvertTask is for that.
///
/// \param black, white  what becomes, or was, 0 and 1 in linear: codes of 0 to 1023 if `tenBit`,
///                      otherwise fractions of 1023; they differ
/// \param gamma         of the film, 0.6 as a rule, and not 0. What the three have for alpha does
///                      not matter
/// Linear values so low that there is no logarithm become a little below code 0: see
/// EMULSION::LogConvert.
QUILT_API ref_ptr<RenderTask> createAnalyticalLogConvertTask(const std::string& name, float time,
                                                             const Imath::Color4<float>& black,
                                                             const Imath::Color4<float>& white,
                                                             const Imath::Color4<float>& gamma,
                                                             bool toLog, bool tenBit,
                                                             ref_ptr<RenderTask> input);

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
