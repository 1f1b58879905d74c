#include "EMULSION/ApplyOCIO.h"

#include <exception>
#include <string>

#include "color/OcioOperation.h"
#include "EMULSION/Channels.h"
#include "EMULSION/Error.h"
#include "EMULSION/Plumbing.h"
#include "OnePixel.h"
#include "Rows.h"
#include "Validation.h"

namespace EMULSION
{

namespace
{

constexpr char s_name[] = "ApplyOCIO";
constexpr uint64_t s_allChannels = 15;

// Images of four channels need no strips: their rows are what OpenColorIO wants.
void applyToRows(const Image* output, const Image* input,
                 const OCIO_NAMESPACE::ConstCPUProcessorRcPtr& processor)
{
    CopyInto(output, input);
    const UTIL::Rect common = Private::overlap(*output, *input);
    for (int64_t y = common.y0; y < common.y1; ++y)
    {
        OCIO_NAMESPACE::PackedImageDesc row(Private::pixelOf(*output, common.x0, y), common.width(),
                                            1, 4);
        processor->apply(row);
    }
}

}

void ApplyOCIO(const Image* output, const Image* input,
               const OCIO_NAMESPACE::ConstProcessorRcPtr& processor)
{
    if (!Private::checkOutput(s_name, output) || !Private::checkInput(s_name, input))
        return;
    try
    {
        if (!processor)
            throw OCIO_NAMESPACE::Exception("there is no processor");
        if (output->channels == s_allChannels)
            applyToRows(output, input, processor->getDefaultCPUProcessor());
        else
            Run(output, input, *makeOCIOOperation(processor));
    }
    catch (const std::exception& failure)
    {
        SetError(ERROR_COLORSPACE, std::string(s_name) + ": " + failure.what());
    }
}

Imath::Color4f ApplyOCIO(const Imath::Color4f& color,
                         const OCIO_NAMESPACE::ConstProcessorRcPtr& processor)
{
    return Private::onOnePixel(color, [&](const Image* output, const Image* input) {
        ApplyOCIO(output, input, processor);
    });
}

PixelOperationPtr makeOCIOOperation(const OCIO_NAMESPACE::ConstProcessorRcPtr& processor)
{
    return std::make_shared<Private::OcioOperation>(s_name, processor->getDefaultCPUProcessor(),
                                                    s_allChannels);
}

}
