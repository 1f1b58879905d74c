#pragma once

#include <sstream>
#include <string>

#include "QUILT/Export.h"

namespace QUILT
{

/// The text stream into which a task writes every parameter that changes its output.
///
/// Numbers are written as a stream writes them by default: integers in decimal, bools as 0 and 1,
/// floats and doubles with six significant digits. The process's locale plays no part.
class QUILT_API CacheIDStream : public std::ostringstream
{
public:
    CacheIDStream() { imbue(std::locale::classic()); }
};

/// The short form of an identity: "$" and the 16 bytes of the text's MD5 digest (RFC 1321), each as
/// two letters from "a" to "p", the low nibble first. 33 bytes, whatever the text.
QUILT_API std::string compressCacheID(const std::string& text);

}
