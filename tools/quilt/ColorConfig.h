#pragma once

#include <optional>
#include <string>

namespace QuiltTool
{

/// Makes an OpenColorIO config the current one: that of the file if there is one, otherwise what
/// $OCIO names, otherwise the tool's own. A file that is no config throws UsageError, whose line
/// begins with `origin`. A further call reads everything anew.
void setColorConfig(const std::optional<std::string>& file, const std::string& origin);

/// What $OCIO says; empty when it does not.
std::string colorConfigOfEnvironment();

}
