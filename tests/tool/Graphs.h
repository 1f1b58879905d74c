#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "tool/Process.h"

// Parts of graph files, and what came of them.

namespace ToolTest
{

Json node(const char* task, const Json& params = Json::object(),
          const Json& inputs = Json::object());
Json output(const char* name, const char* file);
Json slowGraph(); ///< one output, slow.exr, that takes minutes

/// The red of one pixel of a file; -1 when it cannot be read.
float redAt(const std::string& file, int64_t x, int64_t y);

/// Waits a minute at most.
bool comesTrue(const std::function<bool()>& condition);

}
