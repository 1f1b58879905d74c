#include "files/exr/ExrWriter.h"

#include <algorithm>
#include <vector>

#include <ImfOutputFile.h>
#include <ImfTiledOutputFile.h>

#include "EMULSION/Plumbing.h"
#include "files/exr/ExrHeaderScan.h"
#include "files/exr/ExrOutputHeader.h"
#include "files/exr/ExrPart.h"
#include "files/exr/MipLevels.h"
#include "files/exr/PackedRows.h"

namespace EMULSION::Private
{

namespace
{

// What scanlines and tiles do alike: a stream, rows of the file's pixel type, and failures.
class ExrWriter : public FileWriter
{
public:
    explicit ExrWriter(const NewFile& file)
        : m_bounds(file.bounds), m_header(exrHeaderFor(file)),
          m_rows(exrChannelNames(file.options), file.options.channels,
                 file.options.type3OptionB == 0),
          m_stream(file.descriptor, file.path)
    {}

    void write(const Image& band) final
    {
        throwingWriteErrors([&] { writeBand(band); });
    }

    void finish() final
    {
        // OpenEXR writes the table of chunks when a file is closed, and keeps quiet if it cannot.
        throwingWriteErrors([&] { close(); });
        m_stream.flush();
    }

protected:
    virtual void writeBand(const Image& band) = 0;
    virtual void close() = 0;

    // The window's row of the file that y is.
    int64_t rowFromTop(int64_t y) const { return m_bounds.y1 - 1 - y; }

    const UTIL::Rect m_bounds;
    const Imf::Header m_header;
    PackedRows m_rows;
    ExrOutputStream m_stream;

private:
    static void throwingWriteErrors(const auto& work)
    {
        try
        {
            work();
        }
        catch (...)
        {
            rethrowAsFileError(ERROR_FILE_WRITE);
        }
    }
};

class ExrScanlineWriter final : public ExrWriter
{
public:
    explicit ExrScanlineWriter(const NewFile& file)
        : ExrWriter(file),
          m_file(std::make_unique<Imf::OutputFile>(m_stream, m_header, fileThreads()))
    {}

private:
    // As many rows as keep all threads busy, within 32 MiB.
    int64_t rowsAtOnce() const
    {
        static constexpr int64_t mostBytes = int64_t{32} << 20;
        const int64_t chunk = rowsOfChunk(m_header.compression());
        const int64_t wanted = std::max<int64_t>(2 * chunk * std::max(fileThreads(), 1), 64);
        const auto rowSize = static_cast<int64_t>(m_rows.bytesOfRow(m_bounds.width()));
        return std::max(std::min(wanted, mostBytes / rowSize), chunk);
    }

    void writeBand(const Image& band) override
    {
        const int64_t step = rowsAtOnce();
        for (int64_t top = band.bounds.y1; top > band.bounds.y0; top -= step)
        {
            const int64_t y0 = std::max(top - step, band.bounds.y0);
            const UTIL::Rect part(m_bounds.x0, y0, m_bounds.x1, top);
            const Imath::V2i first(m_header.dataWindow().min.x, m_file->currentScanLine());
            m_file->setFrameBuffer(m_rows.frameBuffer(band, part, first));
            m_file->writePixels(static_cast<int>(top - y0));
        }
    }

    void close() override { m_file.reset(); }

    std::unique_ptr<Imf::OutputFile> m_file;
};

class ExrTiledWriter final : public ExrWriter
{
public:
    explicit ExrTiledWriter(const NewFile& file)
        : ExrWriter(file),
          m_file(std::make_unique<Imf::TiledOutputFile>(m_stream, m_header, fileThreads())),
          m_tileHeight(m_file->tileYSize())
    {
        const UTIL::Rect row(m_bounds.x0, 0, m_bounds.x1,
                             std::min<int64_t>(m_tileHeight, m_bounds.height()));
        m_tileRow = std::make_unique<OwnedImage>(file.options.channels, row);
        if (file.options.tileFlag)
            m_levels = std::make_unique<MipLevels>(file.options.channels, m_bounds.width(),
                                                   m_bounds.height());
    }

private:
    void writeBand(const Image& band) override
    {
        for (int64_t top = band.bounds.y1; top > band.bounds.y0;)
        {
            const int64_t inTile = rowFromTop(top - 1) % m_tileHeight;
            const int64_t y0 =
                std::max({top - (m_tileHeight - inTile), band.bounds.y0, m_bounds.y0});
            takeRows(band, y0, top, inTile);
            const bool isWhole = inTile + (top - y0) == m_tileHeight || y0 == m_bounds.y0;
            if (isWhole)
                writeTileRow(rowFromTop(y0) / m_tileHeight, inTile + (top - y0));
            top = y0;
        }
    }

    // Puts rows y0 to top - 1 below the first `above` rows of the row of tiles, whose row 0 is its
    // lowest as in every image.
    void takeRows(const Image& band, int64_t y0, int64_t top, int64_t above)
    {
        Image to;
        const UTIL::Rect& whole = m_tileRow->image.bounds;
        const int64_t end = whole.y1 - above;
        GetSubImage(&to, &m_tileRow->image, whole.x0, end - (top - y0), whole.x1, end);
        to.bounds.y0 = y0;
        to.bounds.y1 = top;
        Copy(&to, &band);
        if (m_levels)
            for (int64_t y = top - 1; y >= y0; --y)
                m_levels->add(rowOf(to, y));
    }

    void writeTileRow(int64_t tileRow, int64_t rows)
    {
        const UTIL::Rect& whole = m_tileRow->image.bounds;
        const UTIL::Rect part(whole.x0, whole.y1 - rows, whole.x1, whole.y1);
        writeTiles(m_tileRow->image, part, tileRow, tileRow, 0);
    }

    void writeTiles(const Image& image, const UTIL::Rect& part, int64_t first, int64_t last,
                    int level)
    {
        const Imath::V2i& corner = m_header.dataWindow().min;
        const Imath::V2i at(corner.x, corner.y + static_cast<int>(first * m_tileHeight));
        m_file->setFrameBuffer(m_rows.frameBuffer(image, part, at));
        m_file->writeTiles(0, m_file->numXTiles(level) - 1, static_cast<int>(first),
                           static_cast<int>(last), level);
    }

    void close() override
    {
        if (m_levels)
            for (int level = 1; level < m_file->numLevels(); ++level)
                writeLevel(level);
        m_file.reset();
    }

    void writeLevel(int level)
    {
        const Image& image = m_levels->level(level);
        for (int64_t row = 0; row < m_file->numYTiles(level); ++row)
        {
            const int64_t top = image.bounds.y1 - row * m_tileHeight;
            const UTIL::Rect part(image.bounds.x0, std::max<int64_t>(top - m_tileHeight, 0),
                                  image.bounds.x1, top);
            writeTiles(image, part, row, row, level);
        }
    }

    std::unique_ptr<Imf::TiledOutputFile> m_file;
    const int64_t m_tileHeight;
    std::unique_ptr<OwnedImage> m_tileRow; // what has come of a row of tiles, from its top
    std::unique_ptr<MipLevels> m_levels;
};

}

std::unique_ptr<FileWriter> createExrWriter(const NewFile& file)
{
    std::unique_ptr<FileWriter> writer;
    try
    {
        if (file.options.tiled)
            writer = std::make_unique<ExrTiledWriter>(file);
        else
            writer = std::make_unique<ExrScanlineWriter>(file);
    }
    catch (...)
    {
        rethrowAsFileError(ERROR_FILE_WRITE);
    }
    return writer;
}

}
