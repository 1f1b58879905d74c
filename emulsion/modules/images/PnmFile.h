#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "Stream.h"

namespace EMULSION::Module
{

/// A PGM or PPM file whose samples stand in it as binary numbers. They are read here, because
/// OpenImageIO scales them to all of 8 or 16 bits on the way, and of 16 bits loses the last one.
class PnmFile
{
public:
    /// None for what is not of that kind, or has no sound header.
    static std::optional<PnmFile> find(Stream& file);

    int64_t most() const { return m_most; } ///< the sample that stands for 1

    /// Whole rows as numbers of this machine, one byte each or two; false when the file has less.
    bool read(int64_t first, int64_t end, size_t rowBytes, std::byte* rows);

private:
    PnmFile(Stream& file, int64_t start, int64_t most) : m_file(&file), m_start(start), m_most(most)
    {}

    Stream* m_file;
    int64_t m_start; ///< of the samples
    int64_t m_most;
};

}
