#pragma once

#include <string>

#include "files/FileFormat.h"

namespace EMULSION::Private
{

/// Opens the file that a caller names, and says what stands in the name behind it. Throws
/// ERROR_FILE_NOT_FOUND or ERROR_FILE_OPEN.
FoundFile findFile(const std::string& name);

/// The text of an errno value.
std::string systemText(int error);

/// Calls `work`, which returns -1 and sets errno when it fails, until no signal interrupts it.
auto uninterrupted(const auto& work)
{
    auto result = work();
    while (result < 0 && errno == EINTR)
        result = work();
    return result;
}

}
