#include <EMULSION/ColorMatrix.h>

#include "private/InnerTask.h"
#include "QUILT/ColorTasks.h"
#include "QUILT/CurveTasks.h"

namespace QUILT
{

namespace
{

const Imath::Color4<float> s_noOffset(0, 0, 0, 0);

ref_ptr<RenderTask> shiftByMatrix(const std::string& name, float time, const HueShiftParams& params,
                                  const ref_ptr<RenderTask>& input)
{
    Imath::Matrix44<float> saturation, hue;
    EMULSION::BuildMatrix_Saturation(&saturation, params.saturation, params.lumaCoefficients);
    EMULSION::BuildMatrix_HueShift(&hue, params.hue);
    return createColorTransformTask(name + ".satmtx", time, hue * saturation, s_noOffset, input);
}

// Hue is the first channel there, in turns, and saturation the second.
ref_ptr<RenderTask> shiftInHSV(const std::string& name, float time, const HueShiftParams& params,
                               const ref_ptr<RenderTask>& input)
{
    if (params.hue == 0.0f && params.saturation == 1.0f)
        return input;
    Imath::Matrix44<float> scaled;
    scaled[1][1] = params.saturation;
    const Imath::Color4<float> turned(params.hue / 360.0f, 0, 0, 0);
    const auto hsv = Private::inner(createHSVConvertTask(name + ".tohsv", time, true, input));
    const auto shifted =
        Private::inner(createColorTransformTask(name + ".hueshiftmtx", time, scaled, turned, hsv));
    return createHSVConvertTask(name + ".fromhsv", time, false, shifted);
}

}

ref_ptr<RenderTask> createHueShiftTask(const std::string& name, float time,
                                       const HueShiftParams& params, ref_ptr<RenderTask> input)
{
    switch (params.mode)
    {
    case 0:
        return shiftByMatrix(name, time, params, input);
    case 1:
        return shiftInHSV(name, time, params, input);
    default:
        return input;
    }
}

}
