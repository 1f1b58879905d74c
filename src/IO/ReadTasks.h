#pragma once

#include "QUILT/FileTasks.h"

// The ways to read a file, of which createFileInTask chooses one.
namespace QUILT::Private
{

ref_ptr<RenderTask> createTiledReadTask(const std::string& name, float time,
                                        const FileInParams& params);
ref_ptr<RenderTask> createScanlineReadTask(const std::string& name, float time,
                                           const FileInParams& params);
ref_ptr<RenderTask> createPreloadReadTask(const std::string& name, float time,
                                          const FileInParams& params);

}
