#include "files/exr/ExrOutputHeader.h"

#include <limits>
#include <set>

#include <ImfChannelList.h>
#include <ImfStandardAttributes.h>
#include <ImfStringAttribute.h>
#include <ImfStringVectorAttribute.h>
#include <ImfTileDescription.h>

#include "Rows.h"
#include "Validation.h"

namespace EMULSION::Private
{

namespace
{

constexpr size_t s_longestName = 255;

[[noreturn]] void refuse(const std::string& why)
{
    throw FileError(ERROR_INVALID_ARGUMENT, why);
}

// OpenEXR refuses coordinates whose differences might not fit either.
int coordinate(int64_t value, const UTIL::Rect& window)
{
    static constexpr int64_t most = std::numeric_limits<int>::max() / 2;
    if (value < 1 - most || value > most - 1)
        throw FileError(ERROR_IMAGE_TOO_LARGE, "OpenEXR cannot hold the window " + textOf(window));
    return static_cast<int>(value);
}

// A rectangle as a window of the file; `flip` is the sum of a row here and the same row there.
Imath::Box2i windowOf(const UTIL::Rect& rect, int64_t flip)
{
    return {{coordinate(rect.x0, rect), coordinate(flip - (rect.y1 - 1), rect)},
            {coordinate(rect.x1 - 1, rect), coordinate(flip - rect.y0, rect)}};
}

Imf::Compression compressionOf(const OutputImageOptions& options)
{
    if (options.type3OptionA < 0 || options.type3OptionA >= Imf::NUM_COMPRESSION_METHODS)
        refuse("OpenEXR has no compression " + std::to_string(options.type3OptionA));
    return static_cast<Imf::Compression>(options.type3OptionA);
}

Imf::PixelType pixelTypeOf(const OutputImageOptions& options)
{
    if (options.type3OptionB != 0 && options.type3OptionB != 1)
        refuse("the pixel type is 0 for half or 1 for float, not " +
               std::to_string(options.type3OptionB));
    return options.type3OptionB == 0 ? Imf::HALF : Imf::FLOAT;
}

Imf::TileDescription tilesOf(const OutputImageOptions& options)
{
    static constexpr int64_t most = int64_t{1} << 20;
    for (const int64_t side : {options.tileWidth, options.tileHeight})
        if (side < 1 || side > most)
            refuse("a tile cannot be " + std::to_string(options.tileWidth) + " x " +
                   std::to_string(options.tileHeight) + " pixels");
    return Imf::TileDescription(
        static_cast<unsigned>(options.tileWidth), static_cast<unsigned>(options.tileHeight),
        options.tileFlag ? Imf::MIPMAP_LEVELS : Imf::ONE_LEVEL, Imf::ROUND_DOWN);
}

void insertMetadata(Imf::Header& header, const OutputImageOptions& options)
{
    for (const auto& [name, text] : options.metadata)
    {
        const bool hasZero = name.find('\0') != std::string::npos;
        if (name.empty() || name.size() > s_longestName || hasZero)
            refuse("metadata cannot have the name \"" + name + "\"");
        if (header.find(name) != header.end())
            refuse("the metadata \"" + name + "\" would replace what the header says");
        header.insert(name, Imf::StringAttribute(text));
    }
    if (!options.comment.empty())
        header.insert("comments", Imf::StringAttribute(options.comment));
    if (!options.keywords.empty())
        header.insert("keywords", Imf::StringVectorAttribute(options.keywords));
}

}

std::vector<std::string> exrChannelNames(const OutputImageOptions& options)
{
    static constexpr const char* usual[4] = {"R", "G", "B", "A"};
    const auto count = static_cast<size_t>(channelCount(options.channels));
    std::vector<std::string> names = options.channelNames;
    if (names.empty())
        for (size_t channel = 0; channel < 4; ++channel)
            if (options.channels >> channel & 1)
                names.emplace_back(usual[channel]);
    if (names.size() != count || std::set<std::string>(names.begin(), names.end()).size() != count)
        refuse("the names do not name the " + std::to_string(count) + " channels");
    for (const std::string& name : names)
        if (name.empty() || name.size() > s_longestName || name.find('\0') != std::string::npos)
            refuse("a channel cannot have the name \"" + name + "\"");
    return names;
}

Imf::Header exrHeaderFor(const NewFile& file)
{
    const UTIL::Rect& display = file.options.displayWindow;
    int64_t flip = 0;
    if (__builtin_add_overflow(display.y0, display.y1 - 1, &flip))
        throw FileError(ERROR_IMAGE_TOO_LARGE, "OpenEXR cannot hold the window " + textOf(display));
    // A data window far away is out of range by itself, before `flip` is taken from it.
    windowOf(file.bounds, file.bounds.y0 + file.bounds.y1 - 1);
    Imf::Header header(windowOf(display, flip), windowOf(file.bounds, flip));
    header.compression() = compressionOf(file.options);
    header.lineOrder() = Imf::INCREASING_Y;
    for (const std::string& name : exrChannelNames(file.options))
        header.channels().insert(name, Imf::Channel(pixelTypeOf(file.options)));
    if (file.options.tiled)
        header.setTileDescription(tilesOf(file.options));
    insertMetadata(header, file.options);
    return header;
}

}
