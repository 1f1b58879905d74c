#pragma once

#include <string>

namespace QUILT::Private
{

/// Writes whole lines to the engine's log, whether its trace is on or not: to standard error, or to
/// the file of RenderManager::setRenderLogFile. For what a user may want to know and nothing has
/// failed for. Takes a leaf lock; safe from any thread.
void writeToLog(const std::string& lines);

}
