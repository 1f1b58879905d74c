#include "QUILT/Exceptions.h"

#include <cstdio>

#include <EMULSION/Error.h>

#include "QUILT/RenderManager.h"
#include "QUILT/RenderTask.h"

namespace QUILT
{

RenderTaskRenderingException::RenderTaskRenderingException(const RenderTask* task,
                                                           const std::string& message, int code)
    : RenderTaskRenderingException(task->getName(), task->getType(), message, code)
{}

RenderTaskRenderingException::RenderTaskRenderingException(const std::string& name,
                                                           const std::string& type,
                                                           const std::string& message, int code)
    : m_name(name), m_type(type), m_message(message), m_code(code)
{}

RenderTaskRenderingException::~RenderTaskRenderingException() = default;

const char* RenderTaskRenderingException::what() const noexcept
{
    return m_message.c_str();
}

EmulsionRenderingException::EmulsionRenderingException() : m_message(EMULSION::GetErrorMessage())
{
    EMULSION::ClearError();
}

EmulsionRenderingException::~EmulsionRenderingException() = default;

const char* EmulsionRenderingException::what() const noexcept
{
    return m_message.c_str();
}

RenderCancelledException::~RenderCancelledException() = default;

const char* RenderCancelledException::what() const noexcept
{
    return "EMULSION Cancellation";
}

ErrorException::~ErrorException() = default;

const char* ErrorException::what() const noexcept
{
    return "ErrorException was thrown.";
}

FatalErrorException::FatalErrorException(const char* text, const char* file, long line)
    : m_text(text), m_file(file), m_line(line)
{}

FatalErrorException::~FatalErrorException() = default;

const char* FatalErrorException::what() const noexcept
{
    static thread_local char text[8192];
    std::snprintf(text, sizeof text, "Fatal Error: %s\n%s:%ld", m_text, m_file, m_line);
    return text;
}

void CheckError()
{
    const EMULSION::Error error = EMULSION::GetError();
    if (error == EMULSION::ERROR_CANCELLED)
    {
        EMULSION::ClearError();
        throw RenderCancelledException();
    }
    if (error != EMULSION::ERROR_NONE)
        throw EmulsionRenderingException();
    if (RenderManager::CheckAbort())
        throw RenderCancelledException();
}

}
