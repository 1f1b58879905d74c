#include "PictureReader.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include "Failure.h"
#include "HeaderChecks.h"

namespace EMULSION::Module
{

std::string reasonOf(std::string text)
{
    while (!text.empty() &&
           (text.back() == '.' || std::isspace(static_cast<unsigned char>(text.back()))))
        text.pop_back();
    for (size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n'))
        text.replace(at, 1, "; ");
    return text.empty() ? "the format's library does not say why" : text;
}

std::string pluginOf(const std::string& format)
{
    return format == "tga" ? "targa" : format;
}

namespace
{

const char* const s_cutShort = "the file has been cut short";

}

PictureReader::PictureReader(const File& file)
    : m_path(file.path), m_format(file.format), m_descriptor(file.descriptor),
      m_stream(file.descriptor, OIIO::Filesystem::IOProxy::Read)
{
    checkHeader(m_stream, m_format);
    if (m_format == "png")
        m_stream.hideEnd();
    open();
    inspect();
}

void PictureReader::open()
{
    m_nextRow = 0;
    m_input = OIIO::ImageInput::create(pluginOf(m_format));
    if (!m_input)
        throw Failure(ERROR_FILE_UNSUPPORTED,
                      "this OpenImageIO does not read it: " + reasonOf(OIIO::geterror()));
    OIIO::ImageSpec config;
    config.attribute("oiio:UnassociatedAlpha", 1);
    const std::string path = giveFile(config);
    if (m_input->open(path, m_spec, config))
        return;
    const std::string reason = m_input->geterror();
    if (m_stream.hasFailed())
        throw Failure(ERROR_FILE_READ, m_stream.failure());
    if (m_format == "png" && m_stream.hasEnded())
        throw Failure(ERROR_FILE_FORMAT, s_cutShort);
    // The one way to tell OpenImageIO's limits from its other reasons. Behind it stands advice.
    const size_t limit = reason.find("Possible corrupt input");
    if (limit != std::string::npos)
        throw Failure(ERROR_IMAGE_TOO_LARGE, reasonOf(reason.substr(0, limit)));
    throw Failure(ERROR_FILE_FORMAT, reasonOf(reason));
}

// Puts the open file into the settings; the path to open.
std::string PictureReader::giveFile(OIIO::ImageSpec& config)
{
    // A name that stands for the open file, whatever has happened to its own.
    if (!m_input->supports("ioproxy"))
        return "/proc/self/fd/" + std::to_string(m_descriptor);
    OIIO::Filesystem::IOProxy* proxy = &m_stream;
    if (m_format == "jpeg")
    {
        m_jpeg = std::make_unique<JpegFile>(m_stream);
        proxy = m_jpeg->proxy();
    }
    m_stream.seek(0);
    config.attribute("oiio:ioproxy", OIIO::TypeDesc::PTR, &proxy);
    return m_path;
}

void PictureReader::inspect()
{
    if (m_spec.width < 1 || m_spec.height < 1 || m_spec.depth > 1 || m_spec.nchannels < 1 ||
        m_spec.deep)
        throw Failure(ERROR_FILE_FORMAT, "it holds no flat picture");
    m_orientation.emplace(m_spec.get_int_attribute("Orientation", 1), m_spec.width, m_spec.height);
    // The 16 bits of BMP may be 5 for one channel and 6 for another.
    const int bits = m_format == "bmp" ? 0 : m_spec.get_int_attribute("oiio:BitsPerSample", 0);
    const auto type = static_cast<OIIO::TypeDesc::BASETYPE>(m_spec.format.basetype);
    if (m_format == "pnm")
        m_pnm = PnmFile::find(m_stream);
    m_samples = m_pnm ? SampleReader::upTo(type, m_pnm->most()) : SampleReader(type, bits);
    m_names = m_spec.channelnames;
    inspectAlpha();
    inspectRows();
    for (const std::string& name : m_names)
        m_namePointers.push_back(name.c_str());
}

void PictureReader::inspectAlpha()
{
    const int alpha = m_spec.alpha_channel;
    if (alpha < 0)
        return;
    const bool isUnassociated = m_spec.get_int_attribute("oiio:UnassociatedAlpha", 0) != 0;
    constexpr int premultiplied = 4; // of TGA's extension area
    const bool isUnused = (m_format == "bmp" && m_spec.get_int_attribute("bmp:version", 0) == 3) ||
                          (m_format == "tga" && !isUnassociated &&
                           m_spec.get_int_attribute("targa:alpha_type", 0) != premultiplied);
    if (isUnused && alpha == m_spec.nchannels - 1)
        m_names.pop_back(); // bytes without a meaning, often 0
    else if (isUnassociated || m_format == "bmp" || m_format == "jpeg2000")
        m_alpha = alpha;
}

void PictureReader::inspectRows()
{
    const std::string compression = m_spec.get_string_attribute("compression", "none");
    const bool isPlain = compression == "none";
    if (m_spec.tile_width > 0)
        m_group = m_spec.tile_height;
    else if (m_format == "tiff" && !isPlain)
        m_group = std::clamp(m_spec.get_int_attribute("tiff:RowsPerStrip", m_spec.height), 1,
                             m_spec.height);
    // A strip costs as much as a row of it: larger ones are not at the cost of the rows.
    constexpr int64_t mostRowsOfStrip = 32;
    m_rowsAtRandom = m_spec.tile_width == 0 && !m_orientation->transposed() &&
                     (m_format == "cineon" || m_pnm ||
                      (isPlain && (m_format == "dpx" || m_format == "bmp" || m_format == "tiff")) ||
                      (m_format == "tiff" && m_group <= mostRowsOfStrip));
}

PictureInfo PictureReader::info() const
{
    PictureInfo info = {};
    info.width = m_orientation->width();
    info.height = m_orientation->height();
    info.channelCount = static_cast<int32_t>(m_names.size());
    info.channelNames = m_namePointers.data();
    info.pixelBytes = m_spec.pixel_bytes();
    info.rowsAtRandom = m_rowsAtRandom;
    return info;
}

size_t PictureReader::rowBytes() const
{
    return static_cast<size_t>(m_spec.width) * static_cast<size_t>(m_spec.nchannels) *
           m_samples->sampleBytes();
}

void PictureReader::read(const PictureRequest& request)
{
    const Orientation::Part part = m_orientation->partOf(
        request.x0, request.y0, request.x1, request.y1, request.pixelStride, request.rowStride);
    const bool isWhole = part.y0 == 0 && part.y1 == m_spec.height;
    if (m_rowsAtRandom || (isWhole && m_rowsDecoded == 0))
        readDirectly(request, part);
    else
    {
        keepRows(part.y1);
        for (int64_t row = part.y0; row < part.y1; ++row)
            convert(request, part, row, m_kept.get() + static_cast<size_t>(row) * rowBytes());
    }
    if (m_firstBadRow && *m_firstBadRow < part.y1)
        throw Failure(m_stream.hasFailed() ? ERROR_FILE_READ : ERROR_FILE_FORMAT, m_failure);
}

// Decodes rows and forgets them.
void PictureReader::readDirectly(const PictureRequest& request, const Orientation::Part& part)
{
    m_firstBadRow.reset();
    Rows rows;
    for (int64_t first = part.y0 - part.y0 % m_group; first < part.y1;)
    {
        const int64_t end = std::min(groupEnd(first), groupEnd(part.y1 - 1));
        if (!rows)
            rows = std::make_unique_for_overwrite<std::byte[]>(static_cast<size_t>(end - first) *
                                                               rowBytes());
        decode(first, end, rows.get());
        for (int64_t row = std::max(first, part.y0); row < std::min(end, part.y1); ++row)
            convert(request, part, row, rows.get() + static_cast<size_t>(row - first) * rowBytes());
        first = end;
    }
}

void PictureReader::keepRows(int64_t end)
{
    if (!m_kept)
    {
        // Memory that is not touched is not used: of what lies below the rows asked for there is
        // nothing.
        m_kept = std::make_unique_for_overwrite<std::byte[]>(static_cast<size_t>(m_spec.height) *
                                                             rowBytes());
        if (m_nextRow > 0)
            open();
        m_firstBadRow.reset();
    }
    while (m_keptRows < end)
    {
        const int64_t groupsEnd = groupEnd(m_keptRows);
        decode(m_keptRows, groupsEnd, m_kept.get() + static_cast<size_t>(m_keptRows) * rowBytes());
        m_keptRows = groupsEnd;
    }
}

// Where to stop decoding that begins at the row: after whole strips or rows of tiles, as many as
// make a piece that keeps several threads busy and still lies in the cache.
int64_t PictureReader::groupEnd(int64_t row) const
{
    constexpr int64_t bytes = 4 << 20;
    const int64_t groups =
        std::max<int64_t>(1, bytes / (m_group * static_cast<int64_t>(rowBytes())));
    return std::min<int64_t>((row / m_group + groups) * m_group, m_spec.height);
}

void PictureReader::decode(int64_t first, int64_t end, std::byte* rows)
{
    // Not all formats touch the rows that they cannot decode.
    std::memset(rows, 0, static_cast<size_t>(end - first) * rowBytes());
    const std::string reason =
        decodeRows(m_spec.y + static_cast<int>(first), m_spec.y + static_cast<int>(end), rows);
    m_rowsDecoded += static_cast<uint64_t>(end - first);
    m_nextRow = end;
    if (reason.empty() || m_firstBadRow)
        return;
    m_firstBadRow = first;
    m_failure = "rows " + std::to_string(first) + " to " + std::to_string(end - 1) +
                " from the top: " + reason;
}

// What has gone wrong; empty when nothing has.
std::string PictureReader::decodeRows(int y0, int y1, std::byte* rows)
{
    if (m_format == "cineon" && m_stream.size() < cineonSize())
        return s_cutShort; // what is missing would be whatever memory holds
    if (m_pnm)
        return m_pnm->read(y0, y1, rowBytes(), rows) ? "" : s_cutShort;
    m_stream.hasEnded();
    const bool decoded =
        m_spec.tile_width > 0
            ? m_input->read_tiles(0, 0, m_spec.x, m_spec.x + m_spec.width, y0, y1, m_spec.z,
                                  m_spec.z + 1, 0, m_spec.nchannels, m_spec.format, rows)
            : m_input->read_scanlines(0, 0, y0, y1, m_spec.z, 0, m_spec.nchannels, m_spec.format,
                                      rows);
    const std::string reason = m_input->geterror(); // cleared, whether it means anything or not
    if (m_stream.hasFailed())
        return m_stream.failure();
    // These do not mind when there is less than they need.
    const bool isCut = m_jpeg ? !m_jpeg->isComplete()
                              : (m_format == "dpx" || m_format == "png") && m_stream.hasEnded();
    return isCut ? s_cutShort : decoded ? "" : reasonOf(reason);
}

// What a Cineon file of these samples has at least: three of 10 bits are in a word.
size_t PictureReader::cineonSize()
{
    const auto samples = static_cast<size_t>(m_spec.width) * static_cast<size_t>(m_spec.nchannels);
    const auto bits = static_cast<size_t>(m_spec.get_int_attribute("oiio:BitsPerSample", 8));
    return cineonStart(m_stream) + static_cast<size_t>(m_spec.height) *
                                       (bits == 10 ? (samples + 2) / 3 * 4 : samples * bits / 8);
}

// One row of the file into the picture.
void PictureReader::convert(const PictureRequest& request, const Orientation::Part& part,
                            int64_t row, const std::byte* samples)
{
    const int64_t channels = m_spec.nchannels;
    const auto count = static_cast<size_t>((part.x1 - part.x0) * channels);
    m_floats.resize(count);
    m_samples->convert(samples + static_cast<size_t>(part.x0 * channels) * m_samples->sampleBytes(),
                       m_floats.data(), count);
    float* const start = request.pixels + part.start + (row - part.y0) * part.yStep;
    for (int32_t to = 0; to < request.count; ++to)
    {
        const int32_t source = request.sources[to];
        const float* from = m_floats.data() + std::max(source, 0);
        const float* alpha = m_floats.data() + m_alpha;
        const bool multiplies = m_alpha >= 0 && source >= 0 && source != m_alpha;
        float* pixel = start + to;
        for (int64_t x = part.x0; x < part.x1; ++x, pixel += part.xStep, from += channels)
        {
            if (source < 0)
                *pixel = source == sourceOne ? 1.0f : 0.0f;
            else
                *pixel = multiplies ? *from * *alpha : *from;
            alpha += channels;
        }
    }
}

}
