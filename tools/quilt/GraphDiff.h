#pragma once

#include <string>
#include <vector>

#include "GraphFile.h"

namespace QuiltTool
{

/// What is different in a newer state of a graph file: "grade.gain" for a parameter,
/// "comp.inputs.a" for an input, "grade.task"; "title added" and "title removed" for nodes;
/// "format", "settings.memory", "outputs.0.file". Parameters of an object have its name in front,
/// as in "glow.bloom.size". Nodes come first, by name. Empty when both say the same.
std::vector<std::string> differences(const GraphFile& before, const GraphFile& after);

}
