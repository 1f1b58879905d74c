#pragma once

#include <new>
#include <string>

#include "files/FileFormat.h"

namespace EMULSION::Private
{

/// Runs `work()` and hands what it throws to `fail(code, text)`; whether it threw nothing. The text
/// is `attempt`, such as "Reading the header of", the file's name and the reason.
bool failuresTo(const auto& fail, const char* attempt, const std::string& name, const auto& work)
{
    const auto say = [&](Error code, const std::string& why) {
        fail(code, std::string(attempt) + " \"" + name + "\" failed: " + why + ".");
        return false;
    };
    try
    {
        work();
        return true;
    }
    catch (const FileError& error)
    {
        return say(error.code(), error.what());
    }
    catch (const std::bad_alloc&)
    {
        return say(ERROR_OUT_OF_MEMORY, "there is not enough memory");
    }
    catch (const std::exception& error)
    {
        return say(ERROR_UNKNOWN, error.what());
    }
    catch (...)
    {
        return say(ERROR_UNKNOWN, "for an unknown reason");
    }
}

/// The same with the error state at the end of it.
bool failuresToErrorState(const char* attempt, const std::string& name, const auto& work)
{
    return failuresTo(SetError, attempt, name, work);
}

}
