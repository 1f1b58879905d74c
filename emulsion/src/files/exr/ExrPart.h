#pragma once

#include <memory>

#include <ImfHeader.h>
#include <ImfMultiPartInputFile.h>

#include "files/exr/ExrStream.h"
#include "files/FileFormat.h"

namespace EMULSION::Private
{

/// One part of an open OpenEXR file and what its header says.
class ExrPart
{
public:
    /// Takes the descriptor. The part of the name in `file`, or the first with a flat image, or the
    /// first.
    explicit ExrPart(FoundFile& file);

    const FilePicture& picture() const { return m_picture; }
    const Imf::Header& header() const { return m_file->header(m_number); }
    Imf::MultiPartInputFile& file() { return *m_file; }
    int number() const { return m_number; }

    UTIL::Rect dataRect() const { return m_picture.description.dataRegion.getBounds(); }

    /// Row f of the file is row `flip - f` of images, and the other way round.
    int64_t flip() const { return m_flip; }
    int fileRow(int64_t y) const { return static_cast<int>(m_flip - y); }

private:
    int choosePart(const std::string& name) const;
    void describe();
    void describeLevels();
    void describeDeep();

    std::unique_ptr<ExrInputStream> m_stream; // outlives m_file
    std::unique_ptr<Imf::MultiPartInputFile> m_file;
    int m_number = 0;
    int64_t m_flip = 0;
    FilePicture m_picture;
};

/// In a handler: throws what was caught again, that of OpenEXR as a FileError of the code.
[[noreturn]] void rethrowAsFileError(Error code);

/// Runs `work()`; what OpenEXR throws leaves as ERROR_FILE_FORMAT.
void throwingFileErrors(const auto& work)
{
    try
    {
        work();
    }
    catch (...)
    {
        rethrowAsFileError(ERROR_FILE_FORMAT);
    }
}

}
