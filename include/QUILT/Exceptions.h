#pragma once

#include <exception>
#include <string>

#include "QUILT/Export.h"
#include "UTIL/Exceptions.h"

namespace QUILT
{

class RenderTask;

/// A task or a factory cannot do what it was asked for. Whoever throws it on a task's behalf passes
/// the code -1.
class QUILT_API RenderTaskRenderingException : public std::exception
{
public:
    /// Takes name and type from the task, which must not be null.
    RenderTaskRenderingException(const RenderTask* task, const std::string& message, int code);
    RenderTaskRenderingException(const std::string& name, const std::string& type,
                                 const std::string& message, int code);
    RenderTaskRenderingException(const RenderTaskRenderingException&) = default;
    RenderTaskRenderingException& operator=(const RenderTaskRenderingException&) = default;
    ~RenderTaskRenderingException() override;

    const char* what() const noexcept override; ///< the message
    const std::string& getName() const { return m_name; }
    const std::string& getType() const { return m_type; }
    int errorCode() const { return m_code; }

private:
    std::string m_name;
    std::string m_type;
    std::string m_message;
    int m_code;
};

/// A kernel or an image file function has failed. Making the exception takes over EMULSION's
/// pending message on this thread and clears it.
class QUILT_API EmulsionRenderingException : public std::exception
{
public:
    EmulsionRenderingException();
    ~EmulsionRenderingException() override;
    const char* what() const noexcept override; ///< EMULSION's message

private:
    std::string m_message;
};

/// The render that this thread works for has been cancelled.
class QUILT_API RenderCancelledException : public std::exception
{
public:
    ~RenderCancelledException() override;
    const char* what() const noexcept override; ///< "EMULSION Cancellation"
};

/// The root of the render system's own fatal failures.
class QUILT_API ErrorException : public std::exception
{
public:
    ~ErrorException() override;
    const char* what() const noexcept override; ///< "ErrorException was thrown."
};

/// A failure after which nothing can go on. The text of what() stands in a static buffer of 8192
/// bytes for each thread and is cut at that length.
class QUILT_API FatalErrorException : public ErrorException
{
public:
    /// `text` and `file` are string literals and are not copied.
    FatalErrorException(const char* text, const char* file, long line);
    ~FatalErrorException() override;
    const char*
    what() const noexcept override; ///< "Fatal Error: <text>", line end, "<file>:<line>"

    const char* m_text;
    const char* m_file;
    long m_line;
};

/// The error check and the cancellation poll in one.
///
/// A pending EMULSION error of this thread becomes an exception and is cleared:
/// RenderCancelledException for ERROR_CANCELLED, EmulsionRenderingException for any other. Without
/// one, RenderCancelledException is thrown when RenderManager::CheckAbort() says that this thread's
/// work is not wanted any more. Safe from any thread; costs a few nanoseconds when all is well.
QUILT_API void CheckError();

}
