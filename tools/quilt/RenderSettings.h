#pragma once

#include <cstddef>

#include "GraphFile.h"

namespace QuiltTool
{

/// The command line's settings, and those of the graph where it has none.
Settings merged(const Settings& commandLine, const Settings& graph);

/// Sets the library up for a render of that many frames: threads, tiles, memory, order, caching.
void applySettings(const Settings& settings, size_t frames);

/// Half of the memory that this process may use, in MiB.
unsigned long defaultMemory();

}
