#include "ColorConfig.h"

#include <cstdlib>
#include <sstream>
#include <utility>

#include <OpenColorIO/OpenColorIO.h>

#include "OwnColorConfig.h"
#include "Problems.h"
#include "Text.h"

namespace QuiltTool
{

namespace OCIO = OCIO_NAMESPACE;

namespace
{

template <class MakeConfig>
void makeCurrent(MakeConfig makeConfig, const std::string& origin, const std::string& name)
{
    try
    {
        OCIO::SetCurrentConfig(makeConfig());
    }
    catch (const OCIO::Exception& error)
    {
        throw UsageError(origin + ": " + inQuotes(name) +
                         " is no OpenColorIO config: " + trimmed(error.what()));
    }
}

}

void setColorConfig(const std::optional<std::string>& file, const std::string& origin)
{
    static bool s_isFirst = true;
    const bool isFirst = std::exchange(s_isFirst, false);
    if (!isFirst)
        OCIO::ClearAllCaches(); // of tables that were read from files, too
    const std::string environment = colorConfigOfEnvironment();
    if (file)
        makeCurrent([&] { return OCIO::Config::CreateFromFile(file->c_str()); }, origin, *file);
    else if (environment.empty())
    {
        std::istringstream text(s_ownColorConfig);
        OCIO::SetCurrentConfig(OCIO::Config::CreateFromStream(text));
    }
    // OpenColorIO reads what the environment names by itself, when it is needed first.
    else if (!isFirst)
        makeCurrent(OCIO::Config::CreateFromEnv, "$OCIO", environment);
}

std::string colorConfigOfEnvironment()
{
    const char* const name = std::getenv("OCIO");
    return name ? name : "";
}

}
