#include "JpegFile.h"

#include <string_view>

#include "Failure.h"

namespace EMULSION::Module
{

namespace
{

std::string bytesOf(Stream& file)
{
    std::string bytes(file.size(), '\0');
    if (file.pread(bytes.data(), bytes.size(), 0) != bytes.size())
        throw Failure(ERROR_FILE_READ, file.hasFailed() ? file.failure() : "it has become shorter");
    return bytes;
}

}

JpegFile::JpegFile(Stream& file)
    : m_bytes(bytesOf(file)),
      m_reader(OIIO::cspan<unsigned char>(
          reinterpret_cast<const unsigned char*>(m_bytes.data()),
          static_cast<OIIO::cspan<unsigned char>::size_type>(m_bytes.size())))
{}

bool JpegFile::isComplete() const
{
    using namespace std::literals;
    const auto byteAt = [&](size_t place) { return static_cast<unsigned char>(m_bytes[place]); };
    // From segment to segment, each with its length, because a thumbnail inside of one has an end
    // mark too, up to the start of the samples.
    constexpr unsigned startOfScan = 0xda;
    for (size_t place = 2; place + 4 <= m_bytes.size() && byteAt(place) == 0xff;)
    {
        if (byteAt(place + 1) == startOfScan)
            return m_bytes.find("\xff\xd9"sv, place) != std::string::npos;
        const bool isFill = byteAt(place + 1) == 0xff;
        place += isFill ? 1 : 2U + (byteAt(place + 2) << 8U | byteAt(place + 3));
    }
    return false;
}

}
