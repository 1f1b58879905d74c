#include "files/exr/ExrStream.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <unistd.h>

#include "files/OpenFile.h"

namespace EMULSION::Private
{

namespace
{

// Rows of a chunk come by themselves; what stands between them does not cost a call each.
constexpr size_t s_readAhead = size_t{16} << 10;
constexpr size_t s_writeBuffer = size_t{1} << 20;

}

ExrInputStream::ExrInputStream(Descriptor descriptor, const std::string& path, uint64_t size)
    : Imf::IStream(path.c_str()), m_descriptor(std::move(descriptor)), m_size(size)
{
    m_buffer.reserve(s_readAhead);
}

bool ExrInputStream::read(char bytes[], int count)
{
    const size_t wanted = static_cast<size_t>(std::max(count, 0));
    if (m_position > m_size || wanted > m_size - m_position)
        throw FileError(ERROR_FILE_FORMAT, "the file ends at byte " + std::to_string(m_size) +
                                               ", where " + std::to_string(wanted) +
                                               " bytes from byte " + std::to_string(m_position) +
                                               " on are needed");
    size_t left = wanted;
    copyFromBuffer(bytes, left);
    if (left >= s_readAhead)
    {
        readAt(m_position, bytes, left);
        m_position += left;
    }
    else if (left > 0)
    {
        m_buffer.resize(std::min<uint64_t>(s_readAhead, m_size - m_position));
        m_bufferStart = m_position;
        readAt(m_position, m_buffer.data(), m_buffer.size());
        copyFromBuffer(bytes, left);
    }
    return m_position < m_size;
}

void ExrInputStream::copyFromBuffer(char*& bytes, size_t& count)
{
    if (m_position < m_bufferStart || m_position - m_bufferStart >= m_buffer.size())
        return;
    const size_t at = m_position - m_bufferStart;
    const size_t taken = std::min(count, m_buffer.size() - at);
    std::memcpy(bytes, m_buffer.data() + at, taken);
    bytes += taken;
    count -= taken;
    m_position += taken;
}

void ExrInputStream::readAt(uint64_t position, char* bytes, size_t count) const
{
    while (count > 0)
    {
        const ssize_t moved = uninterrupted([&] {
            return ::pread(m_descriptor.number(), bytes, count, static_cast<off_t>(position));
        });
        if (moved < 0)
            throw FileError(ERROR_FILE_READ,
                            systemText(errno) + " at byte " + std::to_string(position));
        if (moved == 0)
            throw FileError(ERROR_FILE_FORMAT, "the file was cut short while it was read");
        bytes += moved;
        position += static_cast<uint64_t>(moved);
        count -= static_cast<size_t>(moved);
    }
}

ExrOutputStream::ExrOutputStream(int descriptor, const std::string& path)
    : Imf::OStream(path.c_str()), m_descriptor(descriptor)
{
    m_buffer.reserve(s_writeBuffer);
}

void ExrOutputStream::write(const char bytes[], int count)
{
    size_t left = static_cast<size_t>(std::max(count, 0));
    while (left > 0)
    {
        const size_t taken = std::min(left, s_writeBuffer - m_buffer.size());
        m_buffer.insert(m_buffer.end(), bytes, bytes + taken);
        bytes += taken;
        left -= taken;
        if (m_buffer.size() == s_writeBuffer)
            flush();
    }
}

void ExrOutputStream::seekp(uint64_t position)
{
    if (position == tellp())
        return;
    flush();
    m_start = position;
}

void ExrOutputStream::flush()
{
    if (!m_failure.empty())
        throw FileError(ERROR_FILE_WRITE, m_failure);
    for (size_t done = 0; done < m_buffer.size();)
    {
        const ssize_t moved = uninterrupted([&] {
            return ::pwrite(m_descriptor, m_buffer.data() + done, m_buffer.size() - done,
                            static_cast<off_t>(m_start + done));
        });
        if (moved <= 0)
        {
            m_failure = systemText(moved < 0 ? errno : ENOSPC);
            throw FileError(ERROR_FILE_WRITE, m_failure);
        }
        done += static_cast<size_t>(moved);
    }
    m_start += m_buffer.size();
    m_buffer.clear();
}

}
