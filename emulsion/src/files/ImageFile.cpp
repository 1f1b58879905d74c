#include "EMULSION/ImageFile.h"

#include <algorithm>
#include <ostream>
#include <stdexcept>

#include "files/FileErrors.h"
#include "files/OpenPicture.h"
#include "Validation.h"

namespace EMULSION
{

using namespace Private;

namespace
{

class PictureFunction final : public ReadImageFunction
{
public:
    PictureFunction(const std::string& name, const InputImageOptions& options)
        : m_name(name), m_picture(name, options)
    {}

    void operator()(const Image* image) override
    {
        if (!checkOutput("ReadImageFunction", image) || isEmpty(*image))
            return;
        failuresToErrorState("Reading pixels of", m_name, [&] { m_picture.read(*image); });
    }

    FileStamp stamp() const override { return m_picture.stamp(); }
    const FilePicture& picture() const { return m_picture.picture(); }

private:
    const std::string m_name;
    OpenPicture m_picture;
};

// The first and the last tile, counted from the lower one of two coordinates, that holds pixels of
// a part.
struct TileRange
{
    int64_t first, last;

    TileRange(int64_t begin, int64_t end, int64_t size)
        : first(begin / size), last((end - 1) / size)
    {}
};

}

std::ostream& operator<<(std::ostream& stream, const InputImageOptions& options)
{
    const auto write = [&](const std::string& item) { stream << item << ','; };
    write(options.useFileChannels ? "1" : "0");
    for (const std::string& name : options.channelNames)
        write(std::to_string(name.size()) + ":" + name);
    write(options.overrideWindows ? "1" : "0");
    return stream << options.dataRegion << ',' << options.displayRect << ',';
}

void ReadImageDescription(ImageDescription* description, const char* filename)
{
    if (!description || !filename)
    {
        invalidArgument("ReadImageDescription", "the description or the file's name is null.");
        return;
    }
    failuresToErrorState("Reading the header of", filename,
                         [&] { *description = describeFile(filename); });
}

std::unique_ptr<ReadImageFunction> createReadImageFunction(const char* filename,
                                                           const InputImageOptions& options)
{
    std::unique_ptr<ReadImageFunction> function;
    if (!filename)
        invalidArgument("createReadImageFunction", "the file's name is null.");
    else
        failuresToErrorState("Opening", filename, [&] {
            function = std::make_unique<PictureFunction>(filename, options);
        });
    return function;
}

std::unique_ptr<ReadImageFunction> createTiledReadExrFunction(const char* filename,
                                                              const InputImageOptions& options,
                                                              long& tileWidth, long& tileHeight)
{
    std::unique_ptr<PictureFunction> function;
    if (!filename)
    {
        invalidArgument("createTiledReadExrFunction", "the file's name is null.");
        return nullptr;
    }
    const bool opened = failuresToErrorState("Opening", filename, [&] {
        function = std::make_unique<PictureFunction>(filename, options);
        if (!function->picture().description.isTiled)
            throw FileError(ERROR_FILE_UNSUPPORTED, "its picture is not stored in tiles");
    });
    if (!opened)
        return nullptr;
    tileWidth = function->picture().tileWidth;
    tileHeight = function->picture().tileHeight;
    return function;
}

void convertRectToEXRTileIDs(const UTIL::Rect& rect, const UTIL::Rect& dataBounds,
                             const UTIL::Rect& /*displayRect*/, long tileWidth, long tileHeight,
                             std::vector<std::pair<Imath::Vec2<int>, UTIL::Rect>>& tiles)
{
    if (tileWidth < 1 || tileHeight < 1)
    {
        invalidArgument("convertRectToEXRTileIDs", "tiles of no size.");
        return;
    }
    const UTIL::Rect part = rect.intersect(dataBounds);
    if (part.isNull())
        return;
    const TileRange columns(part.x0 - dataBounds.x0, part.x1 - dataBounds.x0, tileWidth);
    const TileRange rows(dataBounds.y1 - part.y1, dataBounds.y1 - part.y0, tileHeight);
    for (int64_t row = rows.first; row <= rows.last; ++row)
        for (int64_t column = columns.first; column <= columns.last; ++column)
        {
            const int64_t left = dataBounds.x0 + column * tileWidth;
            const int64_t top = dataBounds.y1 - row * tileHeight;
            const UTIL::Rect tile(left, std::max(top - tileHeight, dataBounds.y0),
                                  std::min(left + tileWidth, dataBounds.x1), top);
            tiles.emplace_back(Imath::Vec2<int>(static_cast<int>(column), static_cast<int>(row)),
                               tile);
        }
}

void ReadImage(const Image* image, const char* path, const char* /*extra*/,
               const InputImageOptions& options)
{
    const ErrorScope scope;
    const auto fail = [](Error, const std::string& text) { throw std::runtime_error(text); };
    if (!path)
        fail(ERROR_INVALID_ARGUMENT, "ReadImage: the file's name is null.");
    if (!checkOutput("ReadImage", image))
        fail(GetError(), GetErrorMessage());
    failuresTo(fail, "Reading", path, [&] {
        OpenPicture picture(path, options);
        if (!isEmpty(*image))
            picture.read(*image);
    });
}

}
