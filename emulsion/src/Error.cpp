#include "EMULSION/Error.h"

namespace EMULSION
{

namespace
{

thread_local Error s_code = ERROR_NONE;
thread_local std::string s_message;

}

Error GetError()
{
    return s_code;
}

std::string GetErrorMessage()
{
    return s_message;
}

void ClearError()
{
    s_code = ERROR_NONE;
    s_message.clear();
}

void SetError(Error code, const std::string& message)
{
    if (s_code != ERROR_NONE || code == ERROR_NONE)
        return;
    s_code = code;
    s_message = message;
}

ErrorScope::ErrorScope() : m_code(s_code), m_message(s_message)
{
    ClearError();
}

ErrorScope::~ErrorScope()
{
    s_code = m_code;
    s_message.swap(m_message);
}

}
