#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <OpenImageIO/imageio.h>

#include "files/ImageModuleInterface.h"
#include "JpegFile.h"
#include "Orientation.h"
#include "PnmFile.h"
#include "Samples.h"
#include "Stream.h"

namespace EMULSION::Module
{

/// An open picture. Samples are decoded as they are in the file and made floats here, because
/// OpenImageIO rounds otherwise and multiplies alpha in with the few bits that the file has.
class PictureReader
{
public:
    explicit PictureReader(const File& file);

    PictureInfo info() const;
    void read(const PictureRequest& request);
    uint64_t rowsDecoded() const { return m_rowsDecoded; }

private:
    using Rows = std::unique_ptr<std::byte[]>;

    void open();
    std::string giveFile(OIIO::ImageSpec& config);
    void inspect();
    void inspectAlpha();
    void inspectRows();

    void readDirectly(const PictureRequest& request, const Orientation::Part& part);
    void keepRows(int64_t end);
    void decode(int64_t first, int64_t end, std::byte* rows);
    std::string decodeRows(int y0, int y1, std::byte* rows);
    int64_t groupEnd(int64_t row) const;
    void convert(const PictureRequest& request, const Orientation::Part& part, int64_t row,
                 const std::byte* samples);
    size_t rowBytes() const;
    size_t cineonSize();

    const std::string m_path, m_format;
    const int m_descriptor;
    Stream m_stream;
    std::unique_ptr<JpegFile> m_jpeg;
    std::optional<PnmFile> m_pnm;
    std::unique_ptr<OIIO::ImageInput> m_input;
    OIIO::ImageSpec m_spec;

    std::optional<Orientation> m_orientation;
    std::optional<SampleReader> m_samples;
    std::vector<std::string> m_names;
    std::vector<const char*> m_namePointers;
    int m_alpha = -1; ///< the channel that the others are to be multiplied by; -1 when none is
    bool m_rowsAtRandom = false;
    int64_t m_group = 1; ///< rows that are decoded together: of a strip or of tiles

    /// A format that decodes from its start only. Its first m_keptRows rows, once a part was asked
    /// for, so that parts from the bottom up do not decode it again and again.
    Rows m_kept;
    int64_t m_keptRows = 0;
    int64_t m_nextRow = 0; ///< that the format decodes without going back
    std::optional<int64_t> m_firstBadRow;
    std::string m_failure; ///< of that row
    std::vector<float> m_floats;
    uint64_t m_rowsDecoded = 0;
};

/// What OpenImageIO says of its latest failure, on one line.
std::string reasonOf(std::string text);

/// OpenImageIO's name of one of our formats.
std::string pluginOf(const std::string& format);

}
