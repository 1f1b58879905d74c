#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <ImfIO.h>

#include "files/FileFormat.h"

namespace EMULSION::Private
{

/// Gives OpenEXR the bytes of a descriptor that is ours, so that the file is closed in children,
/// is the one that was stamped, and tells why it cannot be read.
///
/// The end of the file throws ERROR_FILE_FORMAT, the system's refusal ERROR_FILE_READ.
class ExrInputStream final : public Imf::IStream
{
public:
    ExrInputStream(Descriptor descriptor, const std::string& path, uint64_t size);

    bool read(char bytes[], int count) override;
    uint64_t tellg() override { return m_position; }
    void seekg(uint64_t position) override { m_position = position; }

    uint64_t size() const { return m_size; }

private:
    void readAt(uint64_t position, char* bytes, size_t count) const;
    void copyFromBuffer(char*& bytes, size_t& count);

    const Descriptor m_descriptor;
    const uint64_t m_size;
    uint64_t m_position = 0;
    std::vector<char> m_buffer; // what the file has from m_bufferStart
    uint64_t m_bufferStart = 0;
};

/// Writes to a descriptor that is the caller's, in large pieces. After a failure every call throws
/// the same ERROR_FILE_WRITE: OpenEXR swallows what its destructors meet.
class ExrOutputStream final : public Imf::OStream
{
public:
    ExrOutputStream(int descriptor, const std::string& path);

    void write(const char bytes[], int count) override;
    uint64_t tellp() override { return m_start + m_buffer.size(); }
    void seekp(uint64_t position) override;

    /// Writes what is held back. Throws the first failure of all there were.
    void flush();

private:
    const int m_descriptor;
    uint64_t m_start = 0; // where the buffer belongs
    std::vector<char> m_buffer;
    std::string m_failure;
};

}
