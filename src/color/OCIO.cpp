#include <algorithm>
#include <cctype>
#include <stdexcept>

#include <EMULSION/ApplyOCIO.h>
#include <EMULSION/ColorSpace.h>

#include "private/Channels.h"
#include "private/InPlaceTask.h"
#include "QUILT/ColorTasks.h"
#include "QUILT/Exceptions.h"

namespace QUILT
{

namespace OCIO = OCIO_NAMESPACE;

namespace
{

// A processor of OpenColorIO on every pixel. It mixes red, green and blue, and gives alpha.
class OCIOProcessorOp : public Private::InPlaceOp
{
public:
    explicit OCIOProcessorOp(OCIO::ConstProcessorRcPtr processor)
        : m_processor(std::move(processor))
    {}

    std::string getName() const override { return "OCIOProcessor"; }

    // The identity is that of the processor and not of any names: what OpenColorIO resolves to the
    // same operations is the same picture.
    void computeCacheID(CacheIDStream& stream) override
    {
        stream << m_processor->getDefaultCPUProcessor()->getCacheID() << ',';
    }

    unsigned long computeOutputChannels(unsigned long definedAtInput) override
    {
        return Channels::withAlpha(definedAtInput);
    }

    unsigned long computeInputChannels(unsigned long wantedAtOutput) override
    {
        return Channels::withRGB(wantedAtOutput);
    }

    void apply(const EMULSION::Image* output, const EMULSION::Image* input) override
    {
        EMULSION::ApplyOCIO(output, input, m_processor);
    }

    Imath::Color4<float> computeBackgroundColor(const Imath::Color4<float>& input) override
    {
        return EMULSION::ApplyOCIO(input, m_processor);
    }

    EMULSION::PixelOperationPtr getPixelOperation() const override
    {
        return EMULSION::makeOCIOOperation(m_processor);
    }

protected:
    OCIO::ConstProcessorRcPtr m_processor;
};

// A transform becomes a processor when the task is described: there a failure of OpenColorIO, such
// as an unknown colour space, comes to light.
class OCIOTransformOp final : public OCIOProcessorOp
{
public:
    OCIOTransformOp(OCIO::ConstConfigRcPtr config, OCIO::ConstContextRcPtr context,
                    OCIO::ConstTransformRcPtr transform, OCIO::TransformDirection direction)
        : OCIOProcessorOp(nullptr), m_config(std::move(config)), m_context(std::move(context)),
          m_transform(std::move(transform)), m_direction(direction)
    {}

    std::string getName() const override { return "OCIOTransform"; }

    void computeCacheID(CacheIDStream& stream) override
    {
        m_processor = m_config->getProcessor(m_context, m_transform, m_direction);
        OCIOProcessorOp::computeCacheID(stream);
    }

private:
    const OCIO::ConstConfigRcPtr m_config;
    const OCIO::ConstContextRcPtr m_context;
    const OCIO::ConstTransformRcPtr m_transform;
    const OCIO::TransformDirection m_direction;
};

OCIO::ConstTransformRcPtr colorSpaceTransform(const std::string& src, const std::string& dst)
{
    const OCIO::ColorSpaceTransformRcPtr transform = OCIO::ColorSpaceTransform::Create();
    transform->setSrc(src.c_str());
    transform->setDst(dst.c_str());
    return transform;
}

const char* roleOf(ProcessSpace space)
{
    return space == ProcessSpaceLog ? OCIO::ROLE_COMPOSITING_LOG : OCIO::ROLE_SCENE_LINEAR;
}

void requireConversion(ProcessSpace from, ProcessSpace to)
{
    const bool known = (from == ProcessSpaceLinear && to == ProcessSpaceLog) ||
                       (from == ProcessSpaceLog && to == ProcessSpaceLinear);
    if (!known)
        throw std::runtime_error("Unimplemented process space conversion.");
}

}

ref_ptr<RenderTask> createOCIOProcessorTask(const std::string& name, float time,
                                            OCIO::ConstProcessorRcPtr processor,
                                            ref_ptr<RenderTask> input)
{
    if (!processor)
        throw RenderTaskRenderingException(name, "OCIOProcessor",
                                           "OCIOProcessor requires a processor.", -1);
    return Private::createInPlaceTask(new OCIOProcessorOp(std::move(processor)), name, input, time);
}

ref_ptr<RenderTask>
createOCIOTransformTask(const std::string& name, float time, OCIO::ConstConfigRcPtr config,
                        OCIO::ConstContextRcPtr context, OCIO::ConstTransformRcPtr transform,
                        OCIO::TransformDirection direction, ref_ptr<RenderTask> input)
{
    if (!config || !context || !transform)
        throw RenderTaskRenderingException(
            name, "OCIOTransform", "OCIOTransform requires a config, a context and a transform.",
            -1);
    return Private::createInPlaceTask(new OCIOTransformOp(config, context, transform, direction),
                                      name, input, time);
}

ref_ptr<RenderTask> createOCIOTransformTask(const std::string& name, float time,
                                            OCIO::ConstTransformRcPtr transform,
                                            OCIO::TransformDirection direction,
                                            ref_ptr<RenderTask> input)
{
    const OCIO::ConstConfigRcPtr config = OCIO::GetCurrentConfig();
    return createOCIOTransformTask(name, time, config, config->getCurrentContext(), transform,
                                   direction, input);
}

ref_ptr<RenderTask> createOCIOColorSpaceTask(const std::string& name, float time,
                                             OCIO::ConstConfigRcPtr config,
                                             OCIO::ConstContextRcPtr context,
                                             const std::string& src, const std::string& dst,
                                             ref_ptr<RenderTask> input)
{
    if (src == dst)
        return input;
    return createOCIOTransformTask(name, time, config, context, colorSpaceTransform(src, dst),
                                   OCIO::TRANSFORM_DIR_FORWARD, input);
}

ref_ptr<RenderTask> createOCIOColorSpaceTask(const std::string& name, float time,
                                             const std::string& src, const std::string& dst,
                                             ref_ptr<RenderTask> input)
{
    if (src == dst)
        return input;
    return createOCIOTransformTask(name, time, colorSpaceTransform(src, dst),
                                   OCIO::TRANSFORM_DIR_FORWARD, input);
}

ref_ptr<RenderTask> createLogConvertTask(const std::string& name, float time, bool toLog,
                                         ref_ptr<RenderTask> input)
{
    return createProcessSpaceConvertTask(name, time, toLog ? ProcessSpaceLinear : ProcessSpaceLog,
                                         toLog ? ProcessSpaceLog : ProcessSpaceLinear, input);
}

ref_ptr<RenderTask> createProcessSpaceConvertTask(const std::string& name, float time,
                                                  ProcessSpace from, ProcessSpace to,
                                                  ref_ptr<RenderTask> input)
{
    if (from == to)
        return input;
    requireConversion(from, to);
    return createOCIOColorSpaceTask(name, time, roleOf(from), roleOf(to), input);
}

Imath::Color4<float> logConvert(const Imath::Color4<float>& color, bool toLog)
{
    return processSpaceConvert(color, toLog ? ProcessSpaceLinear : ProcessSpaceLog,
                               toLog ? ProcessSpaceLog : ProcessSpaceLinear);
}

Imath::Color4<float> processSpaceConvert(const Imath::Color4<float>& color, ProcessSpace from,
                                         ProcessSpace to)
{
    if (from == to)
        return color;
    requireConversion(from, to);
    return EMULSION::ConvertColorspaceToColorspace(color, roleOf(from), roleOf(to));
}

int GetProcessColorspaceFromString(const std::string& text)
{
    std::string lower = text;
    std::ranges::transform(lower, lower.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (lower == "rgb")
        return 0;
    if (lower == "hsv")
        return 1;
    throw std::runtime_error("Unknown ProcessColorspace");
}

}
