#include "ColorConfig.h"

#include <cstdlib>
#include <sstream>

#include <OpenColorIO/OpenColorIO.h>

#include "OwnColorConfig.h"
#include "Problems.h"
#include "Text.h"

namespace QuiltTool
{

namespace OCIO = OCIO_NAMESPACE;

void setColorConfig(const std::optional<std::string>& file, const std::string& origin)
{
    if (file)
    {
        try
        {
            OCIO::SetCurrentConfig(OCIO::Config::CreateFromFile(file->c_str()));
        }
        catch (const OCIO::Exception& error)
        {
            throw UsageError(origin + ": " + inQuotes(*file) +
                             " is no OpenColorIO config: " + trimmed(error.what()));
        }
        return;
    }
    // OpenColorIO reads what the environment names by itself, when it is needed first.
    const char* const environment = std::getenv("OCIO");
    if (environment && *environment)
        return;
    std::istringstream text(s_ownColorConfig);
    OCIO::SetCurrentConfig(OCIO::Config::CreateFromStream(text));
}

}
