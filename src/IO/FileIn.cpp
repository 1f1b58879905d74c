#include <stdexcept>

#include <EMULSION/ColorSpace.h>
#include <OpenColorIO/OpenColorIO.h>

#include "QUILT/ColorTasks.h"
#include "QUILT/Exceptions.h"
#include "QUILT/FileTasks.h"
#include "ReadTasks.h"

namespace QUILT
{

namespace
{

// The header alone decides how a file is read.
ref_ptr<RenderTask> createReadTask(const std::string& name, float time, const FileInParams& params)
{
    EMULSION::ImageDescription description;
    ImageHeaderCache_GetImageDescription(&description, params.filename, true);
    if (description.isTiled)
        return Private::createTiledReadTask(name, time, params);
    if (description.isDeepShadow || description.isVolumeShadow)
        throw RenderTaskRenderingException(
            name, "DeepShadowInput", "Deep files cannot be read: '" + params.filename + "'.", -1);
    if (description.isScanlineReadable)
        return Private::createScanlineReadTask(name, time, params);
    return Private::createPreloadReadTask(name, time, params);
}

std::string colorSpaceOf(const FileInParams& params)
{
    if (params.colorspace != "auto")
        return params.colorspace;
    const std::string found = EMULSION::ParseColorspaceFromString(params.filename);
    if (found.empty())
        throw std::runtime_error("A valid OCIO ColorSpace could not be determined from file '" +
                                 params.filename + "'.\n");
    return found;
}

}

// The background stands behind the conversion: outside the data window the picture is transparent
// black, whatever the conversion would make of black.
ref_ptr<RenderTask> createFileInTask(const std::string& name, float time,
                                     const FileInParams& params)
{
    ref_ptr<RenderTask> task = createReadTask(name, time, params);
    const std::string colorSpace = colorSpaceOf(params);
    if (!colorSpace.empty())
        task = createOCIOColorSpaceTask(name + ".tolinear", time, colorSpace,
                                        OCIO_NAMESPACE::ROLE_SCENE_LINEAR, task);
    return createBackgroundColorTask(name + ".bgcolor", time, {0.0f, 0.0f, 0.0f, 0.0f}, task);
}

}
