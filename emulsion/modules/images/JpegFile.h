#pragma once

#include <string>

#include <OpenImageIO/filesystem.h>

#include "Stream.h"

namespace EMULSION::Module
{

/// A JPEG file in memory, where alone OpenImageIO reads it if it is not to open it itself.
class JpegFile
{
public:
    explicit JpegFile(Stream& file);

    OIIO::Filesystem::IOProxy* proxy() { return &m_reader; }

    /// Whether the end mark stands behind the compressed samples. Where it does not, the file has
    /// been cut, and the library behind it makes the rest up.
    bool isComplete() const;

private:
    const std::string m_bytes;
    OIIO::Filesystem::IOMemReader m_reader;
};

}
