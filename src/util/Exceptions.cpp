#include "UTIL/Exceptions.h"

#include <cstdio>

#include <unistd.h>

#include <Bramble3/Configuration.h>

namespace UTIL
{

namespace
{

// The text of what(), in one buffer for each class and thread.
template <class Exception>
const char* describe(const char* format, const Exception& exception)
{
    static thread_local char text[8192];
    std::snprintf(text, sizeof text, format, exception.m_text, exception.m_file, exception.m_line);
    return text;
}

}

const char* ErrorException::what() const noexcept
{
    return "ErrorException was thrown.";
}

AssertException::AssertException(const char* text, const char* file, long line)
    : m_text(text), m_file(file), m_line(line)
{
    std::fprintf(stderr, "assert(%s) failed at %s:%ld\n", m_text, m_file, m_line);
}

const char* AssertException::what() const noexcept
{
    return describe("assertion(%s) failed at %s:%ld", *this);
}

FatalErrorException::FatalErrorException(const char* text, const char* file, long line)
    : m_text(text), m_file(file), m_line(line)
{
    std::fprintf(stderr, "Fatal Error: %s at %s:%ld\n", m_text, m_file, m_line);
}

const char* FatalErrorException::what() const noexcept
{
    return describe("Fatal Error: %s\n%s:%ld", *this);
}

OutOfMemoryException::OutOfMemoryException(const char* text, const char* file, long line)
    : m_text(text), m_file(file), m_line(line)
{
    std::fprintf(stderr, "Out of Memory: %s at %s:%ld\n", m_text, m_file, m_line);
    if (Bramble3::BzConfiguration::v1::Config().has("LANTERN_BATCH_MODE"))
        _exit(33);
}

const char* OutOfMemoryException::what() const noexcept
{
    return describe("Out of Memory: %s\n%s:%ld", *this);
}

int OutOfMemoryException::getErrorCode() const
{
    return 33;
}

}
