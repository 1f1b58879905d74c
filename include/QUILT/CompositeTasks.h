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

/// first * (1 - mix) + second * mix, channel by channel.
///
/// Channels and data region are those of both together; where one has no data it counts with its
/// background colour; a channel that it lacks counts as 0 everywhere. The background colour is the
/// mix of the two. At `mix` 0 or less, and for NaN, this is `first` itself, at 1 or more `second`.
QUILT_API ref_ptr<RenderTask> createMixTask(const std::string& name, float time, float mix,
                                            ref_ptr<RenderTask> first, ref_ptr<RenderTask> second);

}
