#pragma once

namespace QuiltTool
{

/// From now on Ctrl-C, SIGTERM and a closed terminal do not end the process, however often they
/// come, but make stopRequested() true. A signal that was ignored already stays so. A pipe that
/// nobody reads and a file that grows too large are errors of the write, not the process's end.
void catchSignals();

bool stopRequested();

/// A descriptor that can be read from once stopRequested() is true, to be waited for. Good after
/// catchSignals.
int stopDescriptor();

}
