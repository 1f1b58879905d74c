#include "EMULSION/WriteImage.h"

#include <algorithm>
#include <cctype>

#include "EMULSION/Channels.h"
#include "EMULSION/Plumbing.h"
#include "files/FileErrors.h"
#include "files/Formats.h"
#include "files/OwnedImage.h"
#include "files/TemporaryFile.h"
#include "Validation.h"

namespace EMULSION
{

using namespace Private;

namespace
{

// The format's name, or the path's extension in small letters under the name that we have for it.
std::string formatNameOf(const std::string& path, const std::string& format)
{
    std::string name = format;
    if (name.empty())
    {
        const size_t dot = path.rfind('.');
        if (dot == std::string::npos || path.find('/', dot) != std::string::npos)
            throw FileError(ERROR_FILE_UNSUPPORTED, "its name has no extension to tell the format");
        name = path.substr(dot + 1);
    }
    for (char& letter : name)
        letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    static constexpr const char* others[][2] = {{"tif", "tiff"},  {"jpg", "jpeg"}, {"rgbe", "hdr"},
                                                {"targa", "tga"}, {"ppm", "pnm"},  {"pgm", "pnm"}};
    for (const auto& [other, ours] : others)
        if (name == other)
            return ours;
    return name;
}

// A picture on its way to a file: what comes is checked, cut and padded to what the format gets.
class Picture
{
public:
    Picture(const std::string& path, const std::string& format, const OutputImageOptions& options,
            const UTIL::Rect& bounds)
        : m_bounds(bounds), m_nextTop(bounds.y1), m_format(formatNamed(formatNameOf(path, format))),
          m_file(targetOf(path))
    {
        NewFile file{m_file.path(), m_file.descriptor(), formatNameOf(path, format), bounds,
                     options};
        if (file.options.displayWindow.isNull())
            file.options.displayWindow = bounds;
        if (!m_format.hasWindows() && !options.cropped)
            file.bounds = file.options.displayWindow;
        m_frame = file.bounds;
        m_channels = options.channels;
        m_writer = m_format.create(file);
        if (m_frame.y1 > m_bounds.y1)
            writeEmptyRows(std::max(m_bounds.y1, m_frame.y0), m_frame.y1);
    }

    void write(const Image& band)
    {
        if (band.bounds.isNull())
            return;
        if (band.bounds.y1 != m_nextTop || band.bounds.y0 < m_bounds.y0 ||
            band.bounds.x0 > m_bounds.x0 || band.bounds.x1 < m_bounds.x1)
            throw FileError(ERROR_INVALID_ARGUMENT, "the band " + textOf(band.bounds) +
                                                        " does not continue " + textOf(m_bounds) +
                                                        " at row " + std::to_string(m_nextTop));
        m_nextTop = band.bounds.y0;
        const int64_t y0 = std::max(band.bounds.y0, m_frame.y0);
        const int64_t y1 = std::min(band.bounds.y1, m_frame.y1);
        if (y0 < y1)
            writePadded(band, y0, y1);
    }

    void finish()
    {
        if (m_nextTop != m_bounds.y0)
            throw FileError(ERROR_INVALID_ARGUMENT, "rows below " + std::to_string(m_nextTop) +
                                                        " of " + textOf(m_bounds) +
                                                        " have not come");
        if (m_frame.y0 < m_bounds.y0)
            writeEmptyRows(m_frame.y0, std::min(m_bounds.y0, m_frame.y1));
        m_writer->finish();
        m_writer.reset();
        m_file.commit();
    }

private:
    static constexpr int64_t s_rows = 64; // that are padded at once

    Image rowsOf(const Image& image, int64_t y0, int64_t y1) const
    {
        Image view;
        GetSubImage(&view, &image, image.bounds.x0, y0, image.bounds.x1, y1);
        return view;
    }

    void writePadded(const Image& band, int64_t y0, int64_t y1)
    {
        if (m_frame.x0 >= m_bounds.x0 && m_frame.x1 <= m_bounds.x1)
        {
            m_writer->write(rowsOf(band, y0, y1));
            return;
        }
        for (int64_t top = y1; top > y0; top -= s_rows)
        {
            const int64_t low = std::max(top - s_rows, y0);
            const OwnedImage padded(m_channels, UTIL::Rect(m_frame.x0, low, m_frame.x1, top));
            Clear(&padded.image);
            Image within; // a band may reach beyond the bounds
            const UTIL::Rect part = padded.image.bounds.intersect(m_bounds);
            GetSubImage(&within, &padded.image, part.x0, part.y0, part.x1, part.y1);
            Copy(&within, &band);
            m_writer->write(padded.image);
        }
    }

    void writeEmptyRows(int64_t y0, int64_t y1)
    {
        for (int64_t top = y1; top > y0; top -= s_rows)
        {
            const int64_t low = std::max(top - s_rows, y0);
            const OwnedImage empty(m_channels, UTIL::Rect(m_frame.x0, low, m_frame.x1, top));
            Clear(&empty.image);
            m_writer->write(empty.image);
        }
    }

    const UTIL::Rect m_bounds; // of what comes
    UTIL::Rect m_frame;        // of what the format gets
    uint64_t m_channels;
    int64_t m_nextTop; // where the next band ends
    const FileFormat& m_format;
    TemporaryFile m_file; // outlives the writer
    std::unique_ptr<FileWriter> m_writer;
};

class PictureWriter final : public WriteImageFunction
{
public:
    PictureWriter(const std::string& path, const std::string& format,
                  const OutputImageOptions& options, const UTIL::Rect& bounds)
        : m_path(path), m_picture(std::make_unique<Picture>(path, format, options, bounds))
    {}

    void operator()(const Image* band) override
    {
        if (m_picture && checkInput("WriteImageFunction", band))
            attempt([&] { m_picture->write(*band); });
    }

    void finish() override
    {
        if (!m_picture)
            return;
        attempt([&] { m_picture->finish(); });
        m_picture.reset();
    }

private:
    void attempt(const auto& work)
    {
        if (!failuresToErrorState("Writing", m_path, work))
            m_picture.reset();
    }

    const std::string m_path;
    std::unique_ptr<Picture> m_picture; // null when it is finished or has failed
};

}

std::unique_ptr<WriteImageFunction> createWriteImageFunction(const char* path, const char* format,
                                                             const OutputImageOptions& options,
                                                             const UTIL::Rect& bounds)
{
    std::unique_ptr<WriteImageFunction> function;
    if (!path || !format)
        invalidArgument("createWriteImageFunction", "the path or the format is null.");
    else if (options.channels == 0 || !IsChannelMaskValid(options.channels))
        SetError(ERROR_INVALID_CHANNELS, "createWriteImageFunction: there is no picture of the "
                                         "channel mask " +
                                             std::to_string(options.channels) + ".");
    else if (bounds.isNull())
        invalidArgument("createWriteImageFunction", "the picture has no pixels.");
    else
        failuresToErrorState("Writing", path, [&] {
            function = std::make_unique<PictureWriter>(path, format, options, bounds);
        });
    return function;
}

void WriteImage(const char* path, const Image* image, const char* format,
                OutputImageOptions options)
{
    if (!checkInput("WriteImage", image))
        return;
    if (options.channels == 0)
        options.channels = image->channels;
    if (const auto function = createWriteImageFunction(path, format, options, image->bounds))
    {
        (*function)(image);
        function->finish();
    }
}

int IsWriteableFile(const char* path)
{
    return path ? writeability(targetOf(path)) : EINVAL;
}

}
