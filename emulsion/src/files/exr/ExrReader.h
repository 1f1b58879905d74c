#pragma once

#include <exception>

#include <ImfInputPart.h>
#include <ImfTiledInputPart.h>

#include "files/exr/ExrPart.h"
#include "files/exr/ExrSlices.h"

namespace EMULSION::Private
{

/// Keeps the first of several failures until all that can be read has been read.
class FirstFailure
{
public:
    /// Runs `work()`; false when it threw.
    bool attempt(const auto& work)
    {
        try
        {
            throwingFileErrors(work);
            return true;
        }
        catch (...)
        {
            if (!m_failure)
                m_failure = std::current_exception();
            return false;
        }
    }

    /// The same for reading pixels with OpenEXR. A failure that one call has thrown may be kept and
    /// thrown once more by the next one, which did all of its work: only what fails twice has
    /// failed.
    bool attemptToRead(const auto& work)
    {
        FirstFailure failure;
        if (failure.attempt(work) || failure.attempt(work))
            return true;
        if (!m_failure)
            m_failure = failure.m_failure;
        return false;
    }

    void throwIfAny() const
    {
        if (m_failure)
            std::rethrow_exception(m_failure);
    }

private:
    std::exception_ptr m_failure;
};

/// Reads pixels of a part. What scanlines and tiles do alike.
class ExrReader : public FileReader
{
public:
    explicit ExrReader(ExrPart part);

    const FilePicture& picture() const override { return m_part.picture(); }
    void read(const Image& image, const ChannelSources& sources) final;

protected:
    /// Fills the image but for colours whose chroma is whole.
    virtual void readPlanned(const Image& image, const ExrChannelPlan& plan) = 0;

    ExrPart m_part;
    const bool m_wholeChroma; // of luminance and chroma, when there are such

private:
    void readWholeChroma(const Image& image, const ExrChannelPlan& plan);
};

/// For headers alone: a part whose pixels cannot be read.
class ExrDescribingReader final : public ExrReader
{
public:
    using ExrReader::ExrReader;

private:
    void readPlanned(const Image& image, const ExrChannelPlan& plan) override;
};

/// Rows come in any order, for the cost of the chunks that hold them.
class ExrScanlineReader final : public ExrReader
{
public:
    explicit ExrScanlineReader(ExrPart part);

private:
    void readPlanned(const Image& image, const ExrChannelPlan& plan) override;
    void readRows(const Image& image, const ExrChannelPlan& plan, FirstFailure& failure);
    void readWholeRows(const Image& image, const ExrChannelPlan& plan);
    int64_t rowsAtOnce(const Image& image) const;
    int64_t splitRow(const UTIL::Rect& rows) const;

    Imf::InputPart m_input;
    int64_t m_chunkRows;
};

/// Tiles of level 0.
class ExrTiledReader final : public ExrReader
{
public:
    explicit ExrTiledReader(ExrPart part);

private:
    struct Tiles; // a block of tiles of the file
    void readPlanned(const Image& image, const ExrChannelPlan& plan) override;
    void readTiles(const Image& image, const ExrChannelPlan& plan, const Tiles& tiles,
                   FirstFailure& failure);
    void readBlock(const Image& image, const ExrChannelPlan& plan, const Tiles& tiles);
    Tiles tilesOf(const UTIL::Rect& rect) const;
    UTIL::Rect rectOf(const Tiles& tiles) const;

    Imf::TiledInputPart m_input;
};

}
