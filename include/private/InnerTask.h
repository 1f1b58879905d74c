#pragma once

#include "QUILT/RenderTask.h"

namespace QUILT::Private
{

/// A new task that a factory puts in front of the one that it returns: only the tiles of that one
/// are kept for later renders.
inline ref_ptr<RenderTask> inner(ref_ptr<RenderTask> task)
{
    task->setCaching(false);
    return task;
}

}
