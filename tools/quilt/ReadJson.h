#pragma once

#include <string>

#include "Param.h"
#include "Problems.h"

namespace QuiltTool
{

/// JSON with comments. Text that is not JSON throws UsageError with its line and column; keys that
/// stand twice in one object are problems.
Json readJson(const std::string& text, const std::string& path, Problems& problems);

/// The contents of a file, or of standard input for "-". A file that cannot be read throws
/// UsageError.
std::string readText(const std::string& path);

}
