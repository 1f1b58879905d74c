#pragma once

#include <memory>
#include <string>

#include "files/FileFormat.h"

namespace EMULSION::Private
{

/// An open file of any format, its channels mapped and its windows placed as the options say.
/// Throws what formats throw.
class OpenPicture
{
public:
    OpenPicture(const std::string& name, const InputImageOptions& options);

    const FilePicture& picture() const { return m_reader->picture(); }
    const FileStamp& stamp() const { return m_file.stamp; }

    /// Fills the image, which is sound; zero where the file has nothing.
    void read(const Image& image);

private:
    FoundFile m_file;
    std::unique_ptr<FileReader> m_reader;
    ChannelSources m_sources;
    UTIL::Rect m_inImage; // the data region where the options put it
    UTIL::Rect m_inFile;  // the same pixels where the file has them
};

/// The header of the file, as ReadImageDescription gives it.
ImageDescription describeFile(const std::string& name);

}
