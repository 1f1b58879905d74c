#include <EMULSION/ImageFile.h>

#include <sys/stat.h>

#include "emulsion/ExrPictures.h"

using namespace EMULSION;
using namespace EmulsionTest;

namespace
{

// Small limits, so that a file that gets by them does not take long.
class ExrDamage : public FilesTest
{
protected:
    ExrDamage() { SetReadLimits(s_side, s_bytes); }
    ~ExrDamage() override { SetReadLimits(int64_t{1} << 20, int64_t{1} << 36); }

    static constexpr int64_t s_side = 4096, s_bytes = int64_t{64} << 20;

    // Reads what can be read of the file: there is a picture, all of whose pixels were written, or
    // there is an error that names the file. True when there was no error.
    bool survives(const std::string& file)
    {
        ImageDescription description;
        ReadImageDescription(&description, file.c_str());
        if (GetError() == ERROR_NONE)
            readAll(file, description);
        const bool sound = GetError() == ERROR_NONE;
        EXPECT_TRUE(sound || GetErrorMessage().find(file) != std::string::npos)
            << GetErrorMessage();
        ClearError();
        return sound;
    }

private:
    void readAll(const std::string& file, const ImageDescription& description)
    {
        const auto function = createReadImageFunction(file.c_str(), {});
        EXPECT_NE(GetError() == ERROR_NONE, function == nullptr);
        if (!function)
            return;
        const Rect data = description.dataRegion.getBounds();
        ASSERT_LE(data.width() * data.height() * 16, s_bytes);
        // One column beyond the picture, so that the reader needs memory of its own as well.
        for (const Rect& rect : {data, Rect(data.x0 + 1, data.y0, data.x1 + 1, data.y1)})
        {
            static constexpr float untouched = -1.25e33f;
            std::vector<float> floats(static_cast<size_t>(rect.width() * rect.height() * 4),
                                      untouched);
            Image image;
            image.channels = 15;
            image.bounds = rect;
            image.rowBytes = static_cast<uint64_t>(rect.width()) * 16;
            image.pixelPtr = floats.data();
            (*function)(&image);
            EXPECT_EQ(std::find(floats.begin(), floats.end(), untouched), floats.end());
        }
    }
};

ExrSpec plainSpec(bool tiled, Imf::Compression compression)
{
    ExrSpec spec;
    spec.dataWindow = {{-3, 4}, {28, 40}};
    spec.displayWindow = {{0, 0}, {31, 47}};
    spec.channels = {{"R"}, {"G", Imf::FLOAT}, {"A"}};
    spec.compression = compression;
    spec.tiled = tiled;
    spec.tiles = Imf::TileDescription(16, 8, Imf::MIPMAP_LEVELS);
    return spec;
}

// Has the second entry of a table of three chunks, behind which the first chunk stands, point
// behind the end of the file.
std::string withoutSecondOfThreeChunks(std::string bytes)
{
    for (size_t at = 0; at + 24 <= bytes.size(); ++at)
    {
        uint64_t entry = 0;
        std::memcpy(&entry, bytes.data() + at, sizeof(entry));
        if (entry != at + 24)
            continue;
        std::memcpy(&entry, bytes.data() + at + 8, sizeof(entry));
        bytes.at(entry) ^= '\x55';
        return bytes;
    }
    ADD_FAILURE() << "there is no table";
    return bytes;
}

// The header of a file, with the bytes of one attribute replaced.
std::string withAttribute(std::string bytes, const std::string& name, const std::string& type,
                          const std::vector<int32_t>& values)
{
    const std::string start = name + '\0' + type + '\0';
    const size_t at = bytes.find(start);
    EXPECT_NE(at, std::string::npos) << name;
    std::memcpy(bytes.data() + at + start.size() + 4, values.data(), 4 * values.size());
    return bytes;
}

}

TEST_F(ExrDamage, IsFoundWhereverAFileEnds)
{
    const std::string file = path("short.exr");
    for (const bool tiled : {false, true})
        for (const Imf::Compression compression : {Imf::NO_COMPRESSION, Imf::ZIP_COMPRESSION})
        {
            writeExr(file, {plainSpec(tiled, compression)});
            const std::string whole = bytesOf(file);
            EXPECT_TRUE(survives(file));
            // The last byte that is needed may be followed by levels that are not.
            for (size_t size = 0; size < whole.size(); size += 97)
            {
                setBytes(file, whole.substr(0, size));
                EXPECT_TRUE(!survives(file) || (tiled && size > whole.size() / 2)) << size;
            }
        }
}

TEST_F(ExrDamage, HarmsNothingWhereverABitFlips)
{
    const std::string file = path("flipped.exr");
    for (const bool tiled : {false, true})
        for (int compression = 0; compression < Imf::NUM_COMPRESSION_METHODS; ++compression)
        {
            writeExr(file, {plainSpec(tiled, static_cast<Imf::Compression>(compression))});
            const std::string whole = bytesOf(file);
            for (int i = 0; i < 150; ++i)
            {
                std::string damaged = whole;
                // Half of them in the header and the table of chunks.
                const auto last = static_cast<int64_t>(i % 2 ? 600 : whole.size() - 1);
                damaged[static_cast<size_t>(m_random.between(0, last))] ^=
                    static_cast<char>(1 << m_random.between(0, 7));
                setBytes(file, damaged);
                survives(file);
            }
        }
}

TEST_F(ExrDamage, ZeroesTheRowsThatCannotBeReadAndGivesTheOthers)
{
    ExrSpec spec = plainSpec(false, Imf::ZIP_COMPRESSION); // 16 rows a chunk
    spec.channels = {{"A", Imf::FLOAT}};
    for (const bool tiled : {false, true})
    {
        spec.tiled = tiled;
        spec.tiles = Imf::TileDescription(40, 16);
        const std::string file = path("damaged.exr");
        writeExr(file, {spec});
        const Planes planes = readExr(file);
        setBytes(file, withoutSecondOfThreeChunks(bytesOf(file)));
        const auto function = createReadImageFunction(file.c_str(), {});
        ASSERT_TRUE(function) << GetErrorMessage();
        const Rect data = dataRect(spec);
        for (const int64_t right : {data.x1, data.x1 - 3})
        {
            const TestImage image(m_random, 8, Rect(data.x0, data.y0, right, data.y1));
            (*function)(&image.image);
            expectError(ERROR_FILE_FORMAT, file);
            forEachFloat(image, [&](int64_t x, int64_t y, int, size_t place) {
                const int64_t row = data.y1 - 1 - y;
                const float wanted =
                    row >= 16 && row < 32 ? 0 : *planeAt(spec, planes.at("A"), x, y);
                EXPECT_EQ(image.floats()[place], wanted) << x << "," << y;
            });
        }
    }
}

TEST_F(ExrDamage, IsRefusedBeforeMemoryIsAskedFor)
{
    const std::string file = path("claims.exr");
    const auto expectRefused = [&](const std::string& bytes, Error code, const std::string& text) {
        setBytes(file, bytes);
        ImageDescription description;
        description.channels = 77;
        ReadImageDescription(&description, file.c_str());
        expectError(code, text);
        EXPECT_EQ(description.channels, 77u);
        EXPECT_FALSE(createReadImageFunction(file.c_str(), {}));
        expectError(code, text);
    };
    writeExr(file, {plainSpec(false, Imf::DWAB_COMPRESSION)});
    const std::string lines = bytesOf(file);
    const auto window = [&](const std::string& bytes, int32_t width, int32_t height) {
        return withAttribute(bytes, "dataWindow", "box2i", {0, 0, width - 1, height - 1});
    };
    expectRefused(window(lines, 4097, 1), ERROR_IMAGE_TOO_LARGE, "it claims 4097 x 1 pixels");
    expectRefused(window(lines, 4096, 4096), ERROR_IMAGE_TOO_LARGE,
                  "it claims 4096 x 4096 pixels of 16 bytes; the limits are 4096 pixels a side and "
                  "67108864 bytes");
    expectRefused(window(lines, INT32_MAX, INT32_MAX), ERROR_IMAGE_TOO_LARGE, "2147483647 x");
    expectRefused(window(lines, 0, 5), ERROR_FILE_FORMAT, "no pixels");
    expectRefused(window(lines, 4, -5), ERROR_FILE_FORMAT, "no pixels");

    writeExr(file, {plainSpec(false, Imf::NO_COMPRESSION)});
    expectRefused(window(bytesOf(file), 1, 4000), ERROR_FILE_FORMAT, "within a table of 32000");

    writeExr(file, {plainSpec(true, Imf::ZIP_COMPRESSION)});
    const std::string tiles = bytesOf(file);
    const auto tile = [&](int32_t width, int32_t height) {
        return withAttribute(tiles, "tiles", "tiledesc", {width, height});
    };
    expectRefused(tile(0, 8), ERROR_FILE_FORMAT, "tiles have no size");
    expectRefused(tile(-1, 8), ERROR_IMAGE_TOO_LARGE, "4294967295 x 8");
    expectRefused(tile(4096, 2048), ERROR_IMAGE_TOO_LARGE, "4096 x 2048");
    expectRefused(window(tiles, 4000, 1000), ERROR_FILE_FORMAT, "within a table");
    SetReadLimits(int64_t{1} << 20, int64_t{1} << 36);
    expectRefused(tile(1 << 14, 1 << 14), ERROR_IMAGE_TOO_LARGE,
                  "blocks of 16384 x 16384 pixels of 8 bytes in a picture of 32 x 37");
    SetReadLimits(0, 5);
    expectError(ERROR_INVALID_ARGUMENT, "SetReadLimits");
}

TEST_F(ExrDamage, IsToldFromFilesOfOthers)
{
    ImageDescription description;
    const auto expectRefused = [&](const std::string& name, Error code, const std::string& text) {
        ReadImageDescription(&description, path(name).c_str());
        expectError(code, "Reading the header of \"" + path(name) + "\" failed: " + text);
    };
    setBytes(path("empty.exr"), "");
    expectRefused("empty.exr", ERROR_FILE_FORMAT, "the file is empty.");
    setBytes(path("text.exr"), "Not a picture at all.");
    expectRefused("text.exr", ERROR_FILE_FORMAT, "this is no image file");
    setBytes(path("old.exr"), std::string("\x76\x2f\x31\x01\x09\0\0\0", 8));
    expectRefused("old.exr", ERROR_FILE_UNSUPPORTED, "it is of version 9 of OpenEXR.");
    expectRefused("missing.exr", ERROR_FILE_NOT_FOUND, "No such file or directory.");
    expectRefused("", ERROR_FILE_OPEN, "Is a directory.");
    ASSERT_EQ(::mkfifo(path("pipe.exr").c_str(), 0600), 0);
    expectRefused("pipe.exr", ERROR_FILE_OPEN, "this is no regular file.");
    expectRefused("text.exr/x", ERROR_FILE_OPEN, "Not a directory.");
}

TEST_F(ExrDamage, FoundByFuzzingStaysHarmless)
{
    int files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(QUILT_EXR_CORPUS))
    {
        SCOPED_TRACE(entry.path());
        survives(entry.path().string());
        ++files;
    }
    EXPECT_GT(files, 0);
}
