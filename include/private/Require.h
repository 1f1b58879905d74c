#pragma once

#include "QUILT/Exceptions.h"
#include "QUILT/RenderTask.h"

namespace QUILT::Private
{

/// A refusal of a factory: throws RenderTaskRenderingException on the task unless the condition
/// holds.
inline void require(const RenderTask& task, bool condition, const char* message)
{
    if (!condition)
        throw RenderTaskRenderingException(&task, message, -1);
}

}
