#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include <sys/uio.h>

#include "plumbing/CopyOverlap.h"
#include "Validation.h"

namespace EMULSION::Private
{

/// Up to 256 KiB in the order of a file, as the vector calls of the system take them. Small enough
/// to stay in a core's cache between the checksum and the copy.
class Piece
{
public:
    Piece() = default;
    Piece(void* bytes, size_t count) { add(bytes, count); }

    /// Appends as many of the bytes as fit; how many that were.
    size_t add(void* bytes, size_t count)
    {
        const size_t taken = std::min(count, s_maxBytes - m_bytes);
        m_parts[m_end++] = {bytes, taken};
        m_bytes += taken;
        return taken;
    }

    /// Drops the first `count` bytes.
    void skip(size_t count)
    {
        m_bytes -= count;
        for (; m_first < m_end && count >= m_parts[m_first].iov_len; ++m_first)
            count -= m_parts[m_first].iov_len;
        if (count > 0)
        {
            iovec& part = m_parts[m_first];
            part.iov_base = static_cast<char*>(part.iov_base) + count;
            part.iov_len -= count;
        }
    }

    const iovec* parts() const { return m_parts + m_first; }
    int count() const { return m_end - m_first; }
    size_t bytes() const { return m_bytes; }
    bool isFull() const { return m_bytes == s_maxBytes || m_end == s_maxParts; }

private:
    static constexpr size_t s_maxBytes = size_t{256} << 10;
    static constexpr int s_maxParts = 256;

    iovec m_parts[s_maxParts];
    int m_first = 0;
    int m_end = 0;
    size_t m_bytes = 0;
};

/// Calls work(const Piece&) for all pixels of the image, row by row without the gaps between them,
/// until it returns false; whether it never did.
template <class Work>
bool forEachPiece(const Image& image, Work work)
{
    if (isEmpty(image))
        return true;
    Piece piece;
    bool going = true;
    forEachRun(image, image.bounds, [&](float* run, int64_t pixels) {
        char* next = reinterpret_cast<char*>(run);
        size_t left = static_cast<size_t>(pixels) * pixelBytes(image.channels);
        while (going && left > 0)
        {
            const size_t taken = piece.add(next, left);
            next += taken;
            left -= taken;
            if (piece.isFull())
            {
                going = work(piece);
                piece = Piece();
            }
        }
    });
    return going && (piece.count() == 0 || work(piece));
}

}
