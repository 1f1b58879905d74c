#pragma once

#include <OpenColorIO/OpenColorIO.h>

namespace QUILT::Test
{

/// "linear" is scene_linear, "half" holds half of it, "log" is compositing_log.
inline OCIO_NAMESPACE::ConfigRcPtr colorConfig()
{
    namespace OCIO = OCIO_NAMESPACE;
    const auto config = OCIO::Config::CreateRaw()->createEditableCopy();
    config->setStrictParsingEnabled(true);
    const auto add = [&](const char* name, const OCIO::ConstTransformRcPtr& toReference) {
        const auto space = OCIO::ColorSpace::Create();
        space->setName(name);
        if (toReference)
            space->setTransform(toReference, OCIO::COLORSPACE_DIR_TO_REFERENCE);
        config->addColorSpace(space);
    };
    const auto twice = OCIO::MatrixTransform::Create();
    const double matrix[16] = {2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 1};
    twice->setMatrix(matrix);
    const auto log = OCIO::LogAffineTransform::Create();
    const double slope[3] = {0.25, 0.25, 0.25}, offset[3] = {0.6, 0.6, 0.6},
                 linOffset[3] = {0.01, 0.01, 0.01};
    log->setLogSideSlopeValue(slope);
    log->setLogSideOffsetValue(offset);
    log->setLinSideOffsetValue(linOffset);
    log->setDirection(OCIO::TRANSFORM_DIR_INVERSE);
    add("linear", nullptr);
    add("half", twice);
    add("log", log);
    config->setRole(OCIO::ROLE_SCENE_LINEAR, "linear");
    config->setRole(OCIO::ROLE_COMPOSITING_LOG, "log");
    return config;
}

}
