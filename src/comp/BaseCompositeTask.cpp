#include "BaseCompositeTask.h"

#include <EMULSION/Channels.h>

#include "private/InputBackground.h"
#include "private/Require.h"

namespace QUILT::Private
{

BaseCompositeTask::BaseCompositeTask(const std::string& name, float time,
                                     const ref_ptr<RenderTask>& a, const ref_ptr<RenderTask>& b)
    : RenderTask(name, time), m_inputA(registerInputTask(a)), m_inputB(registerInputTask(b))
{}

unsigned long BaseCompositeTask::computeOutputChannels()
{
    return EMULSION::ValidateChannelMask(channelsOfBoth());
}

UTIL::Region BaseCompositeTask::computeOutputDataRegion()
{
    return regionOfBoth();
}

Imath::Color4<float> BaseCompositeTask::computeBackgroundColor()
{
    Imath::Color4<float> a = backgroundA(), b = backgroundB(), result(0, 0, 0, 0);
    const auto onePixel = [](Imath::Color4<float>& color) {
        return EMULSION::Image{15, 15, UTIL::Rect(0, 0, 1, 1), sizeof color, color.getValue()};
    };
    const EMULSION::Image output = onePixel(result), imageA = onePixel(a), imageB = onePixel(b);
    compositeImages(&output, &imageA, &imageB);
    return result;
}

void BaseCompositeTask::makeInputFormatRequests()
{
    const unsigned long wanted = getRequiredOutputChannels();
    addInputRequest(m_inputB, wanted & getDefinedInputChannels(m_inputB));
    addInputRequest(m_inputA, wanted & getDefinedInputChannels(m_inputA));
}

void BaseCompositeTask::computeRequiredInputRectangles(const UTIL::Rect& outputRect,
                                                       std::vector<UTIL::Rect>& inputRects)
{
    inputRects[m_inputA] = outputRect;
    inputRects[m_inputB] = outputRect;
}

void BaseCompositeTask::renderRect(const EMULSION::Image* output,
                                   const std::vector<const EMULSION::Image*>& inputs)
{
    const EMULSION::Image* const a = inputs[m_inputA];
    const EMULSION::Image* const b = inputs[m_inputB];
    require(*this, a || b, "At least one of the inputs should be valid");
    if (!b)
        compositeMissingB(output, a);
    else if (!a)
        compositeMissingA(output, b);
    else
        compositeImages(output, a, b);
}

void BaseCompositeTask::compositeMissingB(const EMULSION::Image* output, const EMULSION::Image* a)
{
    compositeImages(output, a, nullptr);
}

void BaseCompositeTask::compositeMissingA(const EMULSION::Image* output, const EMULSION::Image* b)
{
    compositeImages(output, nullptr, b);
}

// Only channels that the input defines are requested; where it has data the others are 0.
Imath::Color4<float> BaseCompositeTask::backgroundA()
{
    return definedBackground(*this, m_inputA);
}

Imath::Color4<float> BaseCompositeTask::backgroundB()
{
    return definedBackground(*this, m_inputB);
}

unsigned long BaseCompositeTask::channelsOfBoth()
{
    return getDefinedInputChannels(m_inputA) | getDefinedInputChannels(m_inputB);
}

UTIL::Region BaseCompositeTask::regionOfBoth()
{
    UTIL::Region region = getDefinedInputDataRegion(m_inputA);
    region.add(getDefinedInputDataRegion(m_inputB));
    return region;
}

UTIL::Region BaseCompositeTask::regionOfProduct(bool zeroOutsideA, bool zeroOutsideB)
{
    const UTIL::Region& a = getDefinedInputDataRegion(m_inputA);
    const UTIL::Region& b = getDefinedInputDataRegion(m_inputB);
    if (zeroOutsideA)
        return zeroOutsideB ? a.intersected(b) : a;
    return zeroOutsideB ? b : regionOfBoth();
}

bool BaseCompositeTask::hasZeroBackground(size_t input)
{
    return getInputBackgroundColor(input) == Imath::Color4<float>(0, 0, 0, 0);
}

}
