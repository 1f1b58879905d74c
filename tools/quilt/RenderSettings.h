#pragma once

#include "GraphFile.h"

namespace QuiltTool
{

/// The command line's settings, and those of the graph where it has none.
Settings merged(const Settings& commandLine, const Settings& graph);

/// Sets the library up for a render: threads, tiles, memory, order, and whether tiles are kept,
/// `caching` where the settings do not say.
void applySettings(const Settings& settings, bool caching);

/// Half of the memory that this process may use, in MiB.
unsigned long defaultMemory();

}
