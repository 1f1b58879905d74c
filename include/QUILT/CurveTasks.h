#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <ImathColor.h>

#include "QUILT/Export.h"
#include "QUILT/RefPtr.h"
#include "QUILT/RenderTask.h"

/// Colour operations by curves, by hue and by brightness. A factory is called on the thread that
/// builds the graph; its task renders on any number of threads. The data region is the input's, the
/// background colour goes through the operation like a pixel, and a null input throws
/// RenderTaskRenderingException unless the factory gives `input` itself.
///
/// A curve is its points, x and y in turn, by growing x. It is linear between points, exact at
/// points, and keeps the values of its ends outside; two points at one x make a step, whose later
/// value holds at x. One point is a constant, none leaves values alone. NaN stays. Points whose x
/// is less than that of one before, or not finite, are left out; so is a last x without a y.
namespace QUILT
{

/// Each channel by a curve of its own. With four empty curves this is `input` itself.
QUILT_API ref_ptr<RenderTask>
createRGBACurvesTask(const std::string& name, float time, const std::vector<float>& red,
                     const std::vector<float>& green, const std::vector<float>& blue,
                     const std::vector<float>& alpha, ref_ptr<RenderTask> input);

/// Luma by a curve, and the colour along with it: where luma is above 0, red, green and blue are
/// multiplied by what the curve makes of it over what it was, elsewhere the difference is added.
/// Alpha stays. The coefficients are the weights of red, green and blue in luma; they are not part
/// of the cache ID, so tasks that differ in nothing else may share pixels.
QUILT_API ref_ptr<RenderTask> createLumaCurvesTask(const std::string& name, float time,
                                                   const Imath::Color3<float>& lumaCoefficients,
                                                   const std::vector<float>& curve,
                                                   ref_ptr<RenderTask> input);

/// Takes colours around one hue, that of `color`, towards grey; alpha stays.
///
/// \param amount  1: all the way at that hue itself; 0: not at all; negative: away from grey
/// \param width   of the range of hues, in turns: the effect falls off smoothly to nothing at half
///                the width to both sides; 1 reaches every hue
QUILT_API ref_ptr<RenderTask> createHueSuppressTask(const std::string& name, float time,
                                                    const Imath::Color3<float>& color, float amount,
                                                    float width, ref_ptr<RenderTask> input);

/// Changes colours by their hue; alpha stays. The less saturated a colour is, the less it changes,
/// except by `suppression`; grey stays as it is.
///
/// Tables over hues have equally many values; of n, value i is for the hue i / n, in turns, and in
/// between they are linear, around the circle too. Empty tables change nothing. Sizes that differ
/// throw std::runtime_error.
///
/// Luma is by the weights of OpenColorIO's config that is current when the task is described, which
/// take the place of `lumaCoefficients`.
///
/// \param stops        the values of the last four tables are in stops: their sum is a power of two
///                     by which red, green and blue are multiplied. Otherwise they are added
/// \param color        a channel that is above 0 here loses, as `suppression` says, so much times
///                     what it exceeds the others by
/// \param saturation   factors of the difference from luma; 1 changes nothing
/// \param suppression  0 suppresses nothing, 1 all of what exceeds, where `color` is 1
/// \param luminance    is added to each of the following three
/// \param red,green,blue  0 changes nothing
QUILT_API ref_ptr<RenderTask>
createHueCurvesTask(const std::string& name, float time, bool stops,
                    const Imath::Color3<float>& lumaCoefficients, const Imath::Color3<float>& color,
                    const std::vector<float>& saturation, const std::vector<float>& suppression,
                    const std::vector<float>& luminance, const std::vector<float>& red,
                    const std::vector<float>& green, const std::vector<float>& blue,
                    ref_ptr<RenderTask> input);

struct HueShiftParams
{
    float hue = 0.0f;        ///< degrees; red goes towards green for positive ones
    float saturation = 1.0f; ///< factor
    int32_t mode = 0;        ///< 0: by a matrix; 1: by way of HSV; others change nothing
    Imath::Color3<float> lumaCoefficients{0.2126f, 0.7152f, 0.0722f}; ///< of mode 0
};

/// Turns hues, and scales saturation; alpha stays.
///
/// By a matrix, colours turn about the grey axis, and then their difference from luma is scaled. By
/// way of HSV, values stay. A hue of 0 with a saturation of 1 gives `input` itself.
QUILT_API ref_ptr<RenderTask> createHueShiftTask(const std::string& name, float time,
                                                 const HueShiftParams& params,
                                                 ref_ptr<RenderTask> input);

/// How far brightness makes a pixel belong to the shadows, the midtones, the highlights. The three
/// curves over luminance run from `low` to `high`, in whichever order these are, and are 0 to 1;
/// shadows fall from 1 to 0, highlights rise from 0 to 1, and midtones are what is left of 1.
struct RangeKeyParams
{
    float low = 0.0f;            ///< where the transition begins, a scene-linear value
    float high = 1.0f;           ///< where it ends
    float shadowSlope = 0.0f;    ///< of the shadows at the low end, for a transition of length 1
    float highlightSlope = 0.0f; ///< of the highlights at the high end
    bool useLog = true;          ///< whether luminance is made logarithmic, as the ends always are
};

enum RangeKeyType : uint32_t
{
    RangeKeyShadows = 0, ///< the key in alpha; red, green and blue stay
    RangeKeyMidtones = 1,
    RangeKeyHighlights = 2,
    RangeKeySMHInRGB = 3 ///< the three in red, green and blue; alpha stays
};

/// "shadows", "midtones", "highlights" or "smhinrgb", in any case; anything else throws
/// std::runtime_error.
QUILT_API RangeKeyType rangeKeyTypeFromString(const std::string& text);

/// Makes a matte of brightness.
///
/// Luminance is by the weights of OpenColorIO's config that is current now. From that config's role
/// scene_linear to compositing_log go `low` and `high` always, and luminance if `useLog`: without
/// it, the ends are logarithmic values among linear ones. OpenColorIO throws an exception when the
/// config lacks one of the roles. A type above 3 throws RenderTaskRenderingException.
QUILT_API ref_ptr<RenderTask> createRangeKeyTask(const std::string& name, float time,
                                                 const RangeKeyParams& params,
                                                 const RangeKeyType& type,
                                                 ref_ptr<RenderTask> input);

/// The same under the name followed by ".rangeKey".
QUILT_API ref_ptr<RenderTask> createRangeKeyPreviewTask(const std::string& name, float time,
                                                        const RangeKeyParams& params,
                                                        const RangeKeyType& type,
                                                        ref_ptr<RenderTask> input);

}
