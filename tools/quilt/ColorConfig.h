#pragma once

#include <optional>
#include <string>

namespace QuiltTool
{

/// Makes an OpenColorIO config the current one: that of the file if there is one, otherwise what
/// $OCIO names, otherwise the tool's own. A file that is no config throws UsageError, whose line
/// begins with `origin`.
void setColorConfig(const std::optional<std::string>& file, const std::string& origin);

}
