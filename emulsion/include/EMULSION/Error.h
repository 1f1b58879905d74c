#pragma once

#include <string>

#include "EMULSION/Export.h"

namespace EMULSION
{

/// What can go wrong in this library. The numbers are part of the interface.
enum Error : int
{
    ERROR_NONE = 0,
    ERROR_UNKNOWN = 1,
    ERROR_INVALID_ARGUMENT = 2,
    ERROR_INVALID_CHANNELS = 3,
    ERROR_OUT_OF_MEMORY = 4,
    ERROR_FILE_NOT_FOUND = 16,
    ERROR_FILE_OPEN = 17,
    ERROR_FILE_READ = 18,
    ERROR_FILE_WRITE = 19,
    ERROR_FILE_FORMAT = 20, ///< damaged or foreign
    ERROR_FILE_UNSUPPORTED = 21,
    ERROR_IMAGE_TOO_LARGE = 22,
    ERROR_COLORSPACE = 32,
    ERROR_CANCELLED = 257
};

// The error state belongs to the calling thread: a call and the check behind it run on one thread,
// and no thread meets another's error. The first error stays until ClearError; later ones are
// dropped.

/// The pending error of this thread, ERROR_NONE when there is none.
EMULSION_API Error GetError();

/// What was tried, on what, and why it failed; empty when no error is pending.
EMULSION_API std::string GetErrorMessage();

/// Forgets the pending error of this thread.
EMULSION_API void ClearError();

/// Makes `code` the pending error of this thread unless one is pending already or it is ERROR_NONE.
EMULSION_API void SetError(Error code, const std::string& message);

/// Sets the pending error aside, so that what follows can be judged by itself, and puts it back at
/// the end of the scope in place of whatever is pending then.
class EMULSION_API ErrorScope
{
public:
    ErrorScope();
    ~ErrorScope();
    ErrorScope(const ErrorScope&) = delete;
    ErrorScope& operator=(const ErrorScope&) = delete;

private:
    const Error m_code;
    std::string m_message;
};

}
