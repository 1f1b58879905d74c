#pragma once

#include <exception>

#include "UTIL/Export.h"

namespace UTIL
{

// The `const char*` fields of these classes point to string literals, which are not copied. The
// texts of what() that are put together from them stand in one static buffer of 8192 bytes for each
// class and thread, so that asking for a text allocates nothing: a text is cut at that length, and
// is to be copied by whoever needs it for longer than until the next one of its class on the
// thread.

/// The root of the utility layer's exceptions.
class UTIL_API ErrorException : public std::exception
{
public:
    const char* what() const noexcept override;
};

/// A condition was false that only a programming error can make false.
///
/// The constructor prints "assert(<text>) failed at <file>:<line>" and a line end on standard
/// error.
class UTIL_API AssertException : public ErrorException
{
public:
    AssertException(const char* text, const char* file, long line);
    const char* what() const noexcept override; ///< "assertion(<text>) failed at <file>:<line>"

    const char* m_text;
    const char* m_file;
    long m_line;
};

/// The constructor prints "Fatal Error: <text> at <file>:<line>" and a line end on standard error.
class UTIL_API FatalErrorException : public ErrorException
{
public:
    FatalErrorException(const char* text, const char* file, long line);
    const char*
    what() const noexcept override; ///< "Fatal Error: <text>", line end, "<file>:<line>"

    const char* m_text;
    const char* m_file;
    long m_line;
};

/// The memory budget was overrun where the configuration forbids it.
///
/// The constructor prints "Out of Memory: <text> at <file>:<line>" and a line end on standard
/// error. With the configuration key LANTERN_BATCH_MODE set, to whatever value, it then ends the
/// process at once with the exit status 33: no handler, destructor or atexit function runs.
class UTIL_API OutOfMemoryException : public ErrorException
{
public:
    OutOfMemoryException(const char* text, const char* file, long line);
    const char*
    what() const noexcept override;   ///< "Out of Memory: <text>", line end, "<file>:<line>"
    virtual int getErrorCode() const; ///< 33

    const char* m_text;
    const char* m_file;
    long m_line;
};

}
