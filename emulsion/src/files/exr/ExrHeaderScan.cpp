#include "files/exr/ExrHeaderScan.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <string_view>

namespace EMULSION::Private
{

namespace
{

constexpr uint32_t s_flagLongNames = 0x400;
constexpr uint32_t s_flagManyParts = 0x1000;

[[noreturn]] void damaged(const std::string& what)
{
    throw FileError(ERROR_FILE_FORMAT, "its header is damaged: " + what);
}

// Little-endian numbers and texts out of the bytes of an attribute.
class Bytes
{
public:
    explicit Bytes(std::string_view bytes) : m_rest(bytes) {}

    std::string_view take(size_t count)
    {
        if (count > m_rest.size())
            damaged("an attribute is too short");
        const std::string_view taken = m_rest.substr(0, count);
        m_rest.remove_prefix(count);
        return taken;
    }
    uint8_t byte() { return static_cast<uint8_t>(take(1)[0]); }
    int32_t number()
    {
        int32_t value = 0;
        std::memcpy(&value, take(sizeof(value)).data(), sizeof(value));
        return value;
    }
    std::string_view text()
    {
        const size_t end = m_rest.find('\0');
        if (end == std::string_view::npos)
            damaged("a name has no end");
        const std::string_view found = take(end);
        take(1);
        return found;
    }
    bool isEmpty() const { return m_rest.empty(); }

private:
    std::string_view m_rest;
};

struct Box
{
    int64_t x0, y0, x1, y1; // both corners included

    explicit Box(Bytes bytes)
        : x0(bytes.number()), y0(bytes.number()), x1(bytes.number()), y1(bytes.number())
    {}
    int64_t width() const { return x1 - x0 + 1; }
    int64_t height() const { return y1 - y0 + 1; }
};

// What one part's header claims, as far as memory hangs on it.
struct Claims
{
    std::optional<Box> dataWindow;
    std::optional<int64_t> tileWidth, tileHeight;
    uint64_t pixelBytes = 0; // of all channels
    int compression = 0;
    bool isEmpty = true;
};

uint64_t bytesOfChannels(Bytes& bytes)
{
    uint64_t sum = 0;
    while (!bytes.text().empty())
    {
        const int32_t type = bytes.number();
        if (type < 0 || type > 2)
            damaged("a channel has the unknown type " + std::to_string(type));
        bytes.take(4);
        const int32_t xSampling = bytes.number(), ySampling = bytes.number();
        if (xSampling < 1 || ySampling < 1)
            damaged("a channel has no samples");
        sum += type == 1 ? 2 : 4; // whole pixels, although a channel may have fewer samples
    }
    return sum;
}

// OpenEXR reads what the type of an attribute has, whatever size the file claims for it, and goes
// on from there. Where the two differ it would read another header than the one that is checked
// here.
void checkSize(std::string_view type, std::string_view contents)
{
    struct Fixed
    {
        std::string_view type;
        size_t size;
    };
    static constexpr Fixed fixed[] = {{"box2f", 16},      {"box2i", 16},    {"chromaticities", 32},
                                      {"compression", 1}, {"double", 8},    {"deepImageState", 1},
                                      {"envmap", 1},      {"float", 4},     {"int", 4},
                                      {"keycode", 28},    {"lineOrder", 1}, {"m33d", 72},
                                      {"m33f", 36},       {"m44d", 128},    {"m44f", 64},
                                      {"rational", 8},    {"tiledesc", 9},  {"timecode", 8},
                                      {"v2d", 16},        {"v2f", 8},       {"v2i", 8},
                                      {"v3d", 24},        {"v3f", 12},      {"v3i", 12}};
    const auto found = std::find_if(std::begin(fixed), std::end(fixed),
                                    [&](const Fixed& candidate) { return candidate.type == type; });
    bool fits = found == std::end(fixed) || found->size == contents.size();
    Bytes bytes(contents);
    if (type == "preview")
    {
        const auto width = static_cast<uint32_t>(bytes.number());
        const auto height = static_cast<uint32_t>(bytes.number());
        const uint64_t pixels = (contents.size() - 8) / 4;
        fits = contents.size() % 4 == 0 && width <= pixels && height <= pixels &&
               uint64_t{width} * height == pixels;
    }
    else if (type == "chlist")
    {
        bytesOfChannels(bytes);
        fits = bytes.isEmpty();
    }
    else if (type == "stringvector")
        while (!bytes.isEmpty())
            bytes.take(static_cast<uint32_t>(bytes.number()));
    if (!fits)
        damaged("an attribute of the type \"" + std::string(type) + "\" has " +
                std::to_string(contents.size()) + " bytes");
}

void note(Claims& claims, std::string_view name, std::string_view contents)
{
    claims.isEmpty = false;
    Bytes bytes(contents);
    if (name == "dataWindow")
        claims.dataWindow.emplace(bytes);
    else if (name == "channels")
        claims.pixelBytes = bytesOfChannels(bytes);
    else if (name == "compression")
        claims.compression = bytes.byte();
    else if (name == "tiles")
    {
        claims.tileWidth = static_cast<uint32_t>(bytes.number());
        claims.tileHeight = static_cast<uint32_t>(bytes.number());
    }
}

std::string readName(ExrInputStream& stream, size_t longest)
{
    std::string name;
    for (char letter = 0; stream.read(&letter, 1), letter != '\0';)
    {
        if (name.size() == longest)
            damaged("a name is longer than " + std::to_string(longest) + " bytes");
        name += letter;
    }
    return name;
}

int32_t readNumber(ExrInputStream& stream)
{
    int32_t value = 0;
    stream.read(reinterpret_cast<char*>(&value), sizeof(value));
    return value;
}

// One header, up to the empty name at its end.
Claims readClaims(ExrInputStream& stream, size_t longestName)
{
    Claims claims;
    std::string contents;
    for (;;)
    {
        const std::string name = readName(stream, longestName);
        if (name.empty())
            return claims;
        const std::string type = readName(stream, longestName);
        const int64_t size = readNumber(stream);
        if (size < 0 || static_cast<uint64_t>(size) > stream.size() - stream.tellg())
            damaged("the attribute \"" + name + "\" claims " + std::to_string(size) + " bytes");
        contents.resize(static_cast<size_t>(size));
        stream.read(contents.data(), static_cast<int>(size));
        checkSize(type, contents);
        note(claims, name, contents);
    }
}

int64_t parts(int64_t whole, int64_t size)
{
    return (whole - 1) / size + 1;
}

// The offset of each chunk takes 8 bytes of the file, whatever is in it.
void checkChunks(int64_t count, const ExrInputStream& stream)
{
    const auto bytes = static_cast<uint64_t>(count) * 8;
    if (bytes > stream.size())
        throw FileError(ERROR_FILE_FORMAT,
                        "the file ends at byte " + std::to_string(stream.size()) +
                            ", within a table of " + std::to_string(bytes) + " bytes");
}

// Tiles, and rows that are compressed together, are held in memory as a whole, even where they
// reach far beyond the picture.
void checkBlocks(const Claims& claims, int64_t blockWidth, int64_t blockHeight,
                 const ExrInputStream& stream)
{
    static constexpr uint64_t alwaysAllowed = uint64_t{256} << 20;
    const int64_t width = claims.dataWindow->width(), height = claims.dataWindow->height();
    const auto blockPixels = static_cast<uint64_t>(blockWidth * blockHeight);
    const auto pixels = static_cast<uint64_t>(width * height);
    if (blockPixels * std::max<uint64_t>(claims.pixelBytes, 1) > alwaysAllowed &&
        blockPixels / 4 > pixels)
        throw FileError(ERROR_IMAGE_TOO_LARGE,
                        "it claims blocks of " + std::to_string(blockWidth) + " x " +
                            std::to_string(blockHeight) + " pixels of " +
                            std::to_string(claims.pixelBytes) + " bytes in a picture of " +
                            std::to_string(width) + " x " + std::to_string(height));
    checkChunks(parts(width, blockWidth) * parts(height, blockHeight), stream);
}

void checkTiles(const Claims& claims, const ExrInputStream& stream)
{
    if (*claims.tileWidth < 1 || *claims.tileHeight < 1)
        damaged("its tiles have no size");
    checkReadLimits(*claims.tileWidth, *claims.tileHeight, claims.pixelBytes);
    checkBlocks(claims, *claims.tileWidth, *claims.tileHeight, stream);
}

void check(const Claims& claims, const ExrInputStream& stream)
{
    if (!claims.dataWindow)
        damaged("it has no data window");
    const Box& box = *claims.dataWindow;
    if (box.width() < 1 || box.height() < 1)
        damaged("its data window has no pixels");
    checkReadLimits(box.width(), box.height(), claims.pixelBytes);
    if (claims.tileWidth)
        checkTiles(claims, stream);
    else
        checkBlocks(claims, box.width(), rowsOfChunk(claims.compression), stream);
}

}

int64_t rowsOfChunk(int compression)
{
    switch (compression)
    {
    case 3: // ZIP
    case 5: // PXR24
        return 16;
    case 4: // PIZ
    case 6: // B44
    case 7: // B44A
    case 8: // DWAA
        return 32;
    case 9: // DWAB
        return 256;
    default: // none, RLE, ZIPS
        return 1;
    }
}

void scanExrHeaders(ExrInputStream& stream)
{
    stream.seekg(4); // behind the magic number
    const auto version = static_cast<uint32_t>(readNumber(stream));
    if ((version & 0xff) != 2)
        throw FileError(ERROR_FILE_UNSUPPORTED,
                        "it is of version " + std::to_string(version & 0xff) + " of OpenEXR");
    const size_t longestName = version & s_flagLongNames ? 255 : 31;
    const bool manyParts = version & s_flagManyParts;
    check(readClaims(stream, longestName), stream);
    while (manyParts)
    {
        const Claims claims = readClaims(stream, longestName);
        if (claims.isEmpty)
            break;
        check(claims, stream);
    }
    stream.seekg(0);
}

}
