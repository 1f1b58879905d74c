#pragma once

#include <string>

#include "QUILT/Export.h"
#include "QUILT/RefPtr.h"
#include "QUILT/RenderTask.h"

/// Tasks that combine images. A factory is called on the thread that builds the graph; its task
/// renders on any number of threads.
namespace QUILT
{

/// The input itself, as a task of its own: channels, data region and background colour are the
/// input's. A null input throws RenderTaskRenderingException.
QUILT_API ref_ptr<RenderTask> createCopyTask(const std::string& name, float time,
                                             ref_ptr<RenderTask> input);

}
