#include "PictureWriter.h"

#include "Failure.h"
#include "PictureReader.h"

namespace EMULSION::Module
{

PictureWriter::PictureWriter(const File& file, const NewPicture& picture)
    : m_format(file.format), m_samples(picture.sample, picture.dither != 0),
      m_stream(file.descriptor, OIIO::Filesystem::IOProxy::Write),
      m_output(OIIO::ImageOutput::create(pluginOf(m_format))),
      m_spec(static_cast<int>(picture.width), static_cast<int>(picture.height),
             picture.channelCount, m_samples.type()),
      m_dividesByAlpha(picture.channelCount == 4 && (m_format == "png" || m_format == "tga"))
{
    if (!m_output || !m_output->supports("ioproxy"))
        throw Failure(ERROR_FILE_UNSUPPORTED,
                      "this OpenImageIO does not write " + m_format + " files to open files");
    setTexts(picture);
    setFormat(picture);
    OIIO::Filesystem::IOProxy* proxy = &m_stream;
    m_spec.attribute("oiio:ioproxy", OIIO::TypeDesc::PTR, &proxy);
    if (!m_output->open(file.path, m_spec))
        fail("beginning it");
}

void PictureWriter::setFormat(const NewPicture& picture)
{
    m_spec.attribute("oiio:BitsPerSample", m_samples.bits());
    m_spec.erase_attribute("Orientation"); // the first row that comes is the top one
    // Leave the samples alone: they are as the file wants them already.
    if (m_dividesByAlpha)
        m_spec.attribute("oiio:UnassociatedAlpha", 1);
    if (m_format == "jpeg")
    {
        m_spec.attribute("Compression", "jpeg:" + std::to_string(picture.compression));
        // Who asks for quality does not want colours at half the size.
        constexpr int32_t fine = 90;
        m_spec.attribute("jpeg:subsampling", picture.compression >= fine ? "4:4:4" : "4:2:0");
    }
    if (m_format == "png")
        m_spec.attribute("png:compressionLevel", picture.compression);
    if (m_format == "tiff")
    {
        m_spec.attribute("compression", "zip");
        m_spec.attribute("tiff:zipquality", 4); // a tenth larger than the default 6, half the time
        m_spec.attribute("tiff:half", picture.sample == Sample::Half ? 1 : 0);
    }
}

void PictureWriter::setTexts(const NewPicture& picture)
{
    constexpr size_t longestKeyword = 79; // of PNG
    for (int64_t i = 0; i < picture.attributeCount; ++i)
    {
        const std::string name = picture.attributes[i].name;
        if (!name.empty() && name.size() <= longestKeyword && !name.starts_with("oiio:"))
            m_spec.attribute(name, std::string(picture.attributes[i].value));
    }
    if (*picture.comment)
        m_spec.attribute(m_format == "png" ? "Comment" : "ImageDescription",
                         std::string(picture.comment));
}

void PictureWriter::write(const float* pixels, int64_t rows)
{
    const int channels = m_spec.nchannels;
    const auto rowFloats = static_cast<size_t>(m_spec.width) * static_cast<size_t>(channels);
    const size_t rowBytes = rowFloats * m_samples.sampleBytes();
    m_rows.resize(static_cast<size_t>(rows) * rowBytes);
    for (int64_t i = 0; i < rows; ++i)
    {
        const float* row = pixels + static_cast<size_t>(i) * rowFloats;
        if (m_format == "hdr")
        {
            m_floats.resize(rowFloats);
            roundToSharedExponent(row, m_floats.data(), m_spec.width);
            row = m_floats.data();
        }
        m_samples.convertRow(row, m_rows.data() + static_cast<size_t>(i) * rowBytes, m_spec.width,
                             channels, m_row + i, m_dividesByAlpha);
    }
    const auto first = static_cast<int>(m_row);
    m_row += rows;
    if (!m_output->write_scanlines(first, static_cast<int>(m_row), 0, m_spec.format,
                                   m_rows.data()) ||
        m_stream.hasFailed())
        fail("writing its rows " + std::to_string(first) + " to " + std::to_string(m_row - 1) +
             " from the top");
}

void PictureWriter::finish()
{
    // A text of OpenImageIO behind a success means nothing.
    const bool closed = m_output->close();
    m_stream.flush();
    if (!closed || m_stream.hasFailed())
        fail("completing it");
}

void PictureWriter::fail(const std::string& step)
{
    const std::string text = m_output->geterror(); // taken in any case: it is said once
    throw Failure(ERROR_FILE_WRITE,
                  step + ": " + (m_stream.hasFailed() ? m_stream.failure() : reasonOf(text)));
}

}
