#pragma once

#include <stdexcept>
#include <string>

#include "EMULSION/Error.h"

namespace EMULSION::Module
{

/// What went wrong, inside the module. It ends at the module's functions, which make a Fault of it.
class Failure : public std::runtime_error
{
public:
    Failure(Error code, const std::string& why) : std::runtime_error(why), m_code(code) {}
    Error code() const { return m_code; }

private:
    Error m_code;
};

}
