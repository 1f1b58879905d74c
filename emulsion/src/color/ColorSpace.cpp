#include "EMULSION/ColorSpace.h"

#include <exception>

#include "color/OcioOperation.h"
#include "EMULSION/Channels.h"
#include "EMULSION/Error.h"
#include "OnePixel.h"

namespace EMULSION
{

namespace
{

// The conversion, or null for none. What cannot be converted sets the error.
PixelOperationPtr conversion(const char* name, const std::string& source,
                             const std::string& destination)
{
    if (source.empty() || destination.empty())
        return nullptr;
    try
    {
        const auto processor =
            OCIO_NAMESPACE::GetCurrentConfig()->getProcessor(source.c_str(), destination.c_str());
        return std::make_shared<Private::OcioOperation>(name, processor->getDefaultCPUProcessor(),
                                                        ChannelsRGB);
    }
    catch (const std::exception& failure)
    {
        SetError(ERROR_COLORSPACE, std::string(name) + ": converting \"" + source + "\" to \"" +
                                       destination + "\" failed: " + failure.what());
        return nullptr;
    }
}

void convert(const char* name, const Image* output, const Image* input, const std::string& source,
             const std::string& destination)
{
    const PixelOperationPtr operation = conversion(name, source, destination);
    const PixelOperation* const operations[] = {operation.get()};
    Run(output, input, operations, operation ? 1 : 0);
}

}

void ConvertColorspaceToColorspace(const Image* output, const Image* input,
                                   const std::string& source, const std::string& destination)
{
    convert("ConvertColorspaceToColorspace", output, input, source, destination);
}

Imath::Color4f ConvertColorspaceToColorspace(const Imath::Color4f& color, const std::string& source,
                                             const std::string& destination)
{
    return Private::onOnePixel(color, [&](const Image* output, const Image* input) {
        ConvertColorspaceToColorspace(output, input, source, destination);
    });
}

void ConvertColorspaceToLinear(const Image* output, const Image* input, const std::string& space)
{
    convert("ConvertColorspaceToLinear", output, input, space, OCIO_NAMESPACE::ROLE_SCENE_LINEAR);
}

Imath::Color4f ConvertColorspaceToLinear(const Imath::Color4f& color, const std::string& space)
{
    return Private::onOnePixel(color, [&](const Image* output, const Image* input) {
        ConvertColorspaceToLinear(output, input, space);
    });
}

std::string GetColorConfigID()
{
    try
    {
        return OCIO_NAMESPACE::GetCurrentConfig()->getCacheID();
    }
    catch (const std::exception& failure)
    {
        SetError(ERROR_COLORSPACE, std::string("GetColorConfigID: ") + failure.what());
        return "";
    }
}

std::string ParseColorspaceFromString(const std::string& text)
{
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    // Its successor looks at rules for file names that configs seldom have.
    const char* const found =
        OCIO_NAMESPACE::GetCurrentConfig()->parseColorSpaceFromString(text.c_str());
#pragma GCC diagnostic pop
    return found ? found : "";
}

}
