#include <EMULSION/ImageFile.h>
#include <EMULSION/Plumbing.h>

#include <sstream>

#include <ImfRgbaFile.h>
#include <ImfThreading.h>

#include "emulsion/ExrPictures.h"
#include "files/exr/SliceBase.h"

using namespace EMULSION;
using namespace EmulsionTest;
using QUILT::Test::forEachRandomCase;

namespace
{

class ExrRead : public FilesTest
{};

// What each channel of an image is to hold: a channel of the file, or a constant.
struct Expectation
{
    std::string name; // empty for the constant
    float constant = 0;
};
using Expectations = std::array<Expectation, 4>;

// What a spec's plain reading gives, by the names that anySpec uses.
Expectations plainExpectations(const ExrSpec& spec, uint64_t& mask)
{
    const auto has = [&](const std::string& name) {
        return std::any_of(spec.channels.begin(), spec.channels.end(),
                           [&](const ExrSpec::Channel& channel) { return channel.name == name; });
    };
    Expectations result;
    if (has("Z"))
        result = {{{"Z"}, {"id"}, {}, {}}};
    else if (has("Y"))
        result = {{{"Y"}, {"Y"}, {"Y"}, {has("A") ? "A" : "", 1}}};
    else
        for (size_t i = 0; i < 3; ++i)
            for (const std::string prefix : {"", "diffuse."})
                if (const std::string name = prefix + "RGB"[i]; has(name))
                    result[i] = {name};
    if (has("A"))
        result[3] = {"A"};
    else if (!has("Z"))
        result[3] = {"", 1};
    mask = 0;
    for (size_t i = 0; i < 4; ++i)
        if (!result[i].name.empty() || result[i].constant != 0)
            mask |= uint64_t{1} << i;
    return result;
}

// Compares bits, zero outside of the data window, and that nothing around the image was touched.
void expectPixels(const TestImage& image, const std::vector<float>& before, const ExrSpec& spec,
                  const Planes& planes, const Expectations& expectations)
{
    std::vector<float> expected = before;
    forEachFloat(image, [&](int64_t x, int64_t y, int channel, size_t place) {
        const Expectation& wanted = expectations[static_cast<size_t>(channel)];
        const std::vector<float>& any = planes.begin()->second;
        const float* const value =
            planeAt(spec, wanted.name.empty() ? any : planes.at(wanted.name), x, y);
        expected[place] = !value ? 0 : wanted.name.empty() ? wanted.constant : *value;
    });
    for (size_t i = 0; i < expected.size(); ++i)
        if (std::bit_cast<uint32_t>(expected[i]) != std::bit_cast<uint32_t>(image.floats()[i]))
        {
            ADD_FAILURE() << "float " << i << " of " << testing::PrintToString(image.image)
                          << " is " << image.floats()[i] << " instead of " << expected[i];
            return;
        }
}

// A rectangle that meets the data window, often only in part.
Rect anyRect(Random& random, const Rect& data)
{
    const int64_t x0 = random.between(data.x0 - 9, data.x1 - 1);
    const int64_t y0 = random.between(data.y0 - 9, data.y1 - 1);
    return Rect(x0, y0, random.oneIn(3) ? data.x1 : random.between(x0 + 1, data.x1 + 9),
                random.between(y0 + 1, data.y1 + 9));
}

std::unique_ptr<ReadImageFunction> opened(const std::string& path,
                                          const InputImageOptions& options = {})
{
    auto function = createReadImageFunction(path.c_str(), options);
    EXPECT_TRUE(function) << GetErrorMessage();
    return function;
}

ImageDescription described(const std::string& path)
{
    ImageDescription description;
    ReadImageDescription(&description, path.c_str());
    EXPECT_EQ(GetError(), ERROR_NONE) << GetErrorMessage();
    return description;
}

}

TEST_F(ExrRead, GivesAnyRectangleOfAnyPictureAsOpenExrDoes)
{
    const std::string file = path("any.exr");
    forEachRandomCase(250, [&](Random& random) {
        const ExrSpec spec = anySpec(random);
        writeExr(file, {spec});
        SCOPED_TRACE("compression " + std::to_string(spec.compression) +
                     (spec.tiled ? ", tiled" : ", scanlines"));
        SetFileThreads(static_cast<int>(random.between(0, 3)));
        const Planes planes = readExr(file);
        uint64_t mask = 0;
        const Expectations expectations = plainExpectations(spec, mask);

        const ImageDescription description = described(file);
        EXPECT_EQ(description.channels, mask);
        EXPECT_EQ(description.dataRegion.getBounds(), dataRect(spec));
        EXPECT_EQ(description.displayRect, displayRect(spec));
        EXPECT_EQ(description.isTiled, spec.tiled);
        EXPECT_EQ(description.isScanlineReadable, !spec.tiled);
        EXPECT_EQ(description.channelNames.size(), spec.channels.size());

        const auto function = opened(file);
        ASSERT_TRUE(function);
        EXPECT_EQ(function->stamp(), description.stamp);
        for (int i = 0; i < 6; ++i)
        {
            const TestImage image(random, random.oneIn(2) ? mask : random.between(1, 15),
                                  anyRect(random, dataRect(spec)));
            const std::vector<float> before = image.floats();
            (*function)(&image.image);
            EXPECT_EQ(GetError(), ERROR_NONE) << GetErrorMessage();
            expectPixels(image, before, spec, planes, expectations);
        }
    });
}

TEST_F(ExrRead, MakesTheColoursOfLuminanceAndChromaThatOpenExrMakes)
{
    const std::string file = path("chroma.exr");
    forEachRandomCase(40, [&](Random& random) {
        const int width = 2 * static_cast<int>(random.between(1, 40));
        const int height = 2 * static_cast<int>(random.between(1, 60));
        const Imath::V2i low(2 * static_cast<int>(random.between(-9, 9)),
                             2 * static_cast<int>(random.between(-9, 9)));
        ExrSpec spec;
        spec.dataWindow = {low, low + Imath::V2i(width - 1, height - 1)};
        spec.displayWindow = {{0, 0}, {static_cast<int>(random.between(0, 30)), 41}};
        const auto count = static_cast<size_t>(width) * static_cast<size_t>(height);
        std::vector<Imf::Rgba> pixels(count);
        for (Imf::Rgba& pixel : pixels)
            pixel = Imf::Rgba(static_cast<float>(random.real(0, 2)),
                              static_cast<float>(random.real(0, 1)), random.oneIn(9) ? 5.0f : 0.1f,
                              static_cast<float>(random.real(0, 1)));
        auto* const base = reinterpret_cast<Imf::Rgba*>(
            Private::sliceBase(pixels.data(), low.x, sizeof(Imf::Rgba), low.y,
                               sizeof(Imf::Rgba) * static_cast<size_t>(width)));
        const bool alpha = random.oneIn(2);
        {
            Imf::Header header(spec.displayWindow, spec.dataWindow);
            header.compression() = random.oneIn(2) ? Imf::ZIP_COMPRESSION : Imf::PIZ_COMPRESSION;
            Imf::RgbaOutputFile output(file.c_str(), header,
                                       alpha ? Imf::WRITE_YCA : Imf::WRITE_YC);
            output.setFrameBuffer(base, 1, static_cast<size_t>(width));
            output.writePixels(height);
        }
        Imf::RgbaInputFile input(file.c_str());
        input.setFrameBuffer(base, 1, static_cast<size_t>(width));
        input.readPixels(spec.dataWindow.min.y, spec.dataWindow.max.y);
        Planes planes;
        for (size_t i = 0; i < count; ++i)
            for (const auto& [name, value] : {std::pair("R", pixels[i].r),
                                              {"G", pixels[i].g},
                                              {"B", pixels[i].b},
                                              {"A", pixels[i].a}})
                planes[name].push_back(value);

        EXPECT_EQ(described(file).channels, 15u);
        const auto function = opened(file);
        ASSERT_TRUE(function);
        for (int i = 0; i < 4; ++i)
        {
            const TestImage image(random, random.oneIn(2) ? 15 : random.between(1, 15),
                                  anyRect(random, dataRect(spec)));
            const std::vector<float> before = image.floats();
            (*function)(&image.image);
            EXPECT_EQ(GetError(), ERROR_NONE) << GetErrorMessage();
            expectPixels(image, before, spec, planes, {{{"R"}, {"G"}, {"B"}, {"A"}}});
        }
    });
}

TEST_F(ExrRead, MakesColoursOfWholeChroma)
{
    ExrSpec spec;
    spec.dataWindow = spec.displayWindow = {{0, 0}, {6, 4}};
    spec.channels = {{"Y", Imf::FLOAT}, {"RY", Imf::FLOAT}, {"BY", Imf::FLOAT}};
    for (const bool tiled : {false, true})
    {
        spec.tiled = tiled;
        spec.tiles = Imf::TileDescription(3, 2);
        writeExr(path("whole.exr"), {spec});
        const Planes planes = readExr(path("whole.exr"));
        const TestImage image(m_random, 7, Rect(1, 1, 7, 5));
        const auto function = opened(path("whole.exr"));
        (*function)(&image.image);
        EXPECT_EQ(GetError(), ERROR_NONE) << GetErrorMessage();
        forEachFloat(image, [&](int64_t x, int64_t y, int channel, size_t place) {
            const auto at = [&](const char* name) -> double {
                return *planeAt(spec, planes.at(name), x, y);
            };
            const double red = (at("RY") + 1) * at("Y"), blue = (at("BY") + 1) * at("Y");
            const double green = (at("Y") - 0.2126 * red - 0.0722 * blue) / 0.7152;
            const double wanted = channel == 0 ? red : channel == 1 ? green : blue;
            EXPECT_NEAR(image.floats()[place], wanted, 2e-4);
        });
    }
}

TEST_F(ExrRead, FindsChannelsByName)
{
    ExrSpec spec;
    spec.dataWindow = spec.displayWindow = {{0, 0}, {19, 13}};
    spec.channels = {{"red", Imf::FLOAT},     {"G", Imf::HALF},         {"blue", Imf::FLOAT},
                     {"depth.Z", Imf::FLOAT}, {"id", Imf::UINT},        {"half", Imf::HALF, 2},
                     {"1", Imf::HALF},        {"diffuse.R", Imf::FLOAT}};
    spec.compression = Imf::ZIP_COMPRESSION;
    const std::string file = path("named.exr");
    writeExr(file, {spec});
    const Planes planes = readExr(file);
    EXPECT_EQ(described(file).channels, 15u);

    const auto expect = [&](const std::array<std::string, 4>& names, const Expectations& wanted) {
        InputImageOptions options;
        options.useFileChannels = false;
        std::copy(names.begin(), names.end(), options.channelNames);
        const auto function = opened(file, options);
        ASSERT_TRUE(function);
        for (const Rect& rect : {Rect(0, 0, 20, 14), Rect(3, 5, 11, 6)})
        {
            const TestImage image(m_random, 15, rect);
            const std::vector<float> before = image.floats();
            (*function)(&image.image);
            expectPixels(image, before, spec, planes, wanted);
        }
    };
    expect({"depth.Z", "ID", "diffuse.r", "G"}, {{{"depth.Z"}, {"id"}, {"diffuse.R"}, {"G"}}});
    expect({"R", "b", "half", "G"}, {{{"red"}, {"blue"}, {"half"}, {"G"}}}); // short names
    expect({"0", "1", "", "A"}, {{{"", 0}, {"1"}, {"", 0}, {"", 1}}});       // a channel named "1"

    InputImageOptions options;
    options.useFileChannels = false;
    options.channelNames[1] = "normal.X";
    EXPECT_FALSE(createReadImageFunction(file.c_str(), options));
    expectError(ERROR_FILE_FORMAT,
                "\"" + file +
                    "\" failed: it has no channel \"normal.X\"; its "
                    "channels are 1, G, blue, depth.Z, diffuse.R, half, id, red");
}

TEST_F(ExrRead, TakesTheLayerThatComesFirstWhenNoPlainNameIsThere)
{
    struct Case
    {
        std::vector<std::string> names;
        uint64_t channels;
        std::array<std::string, 4> sources; // "1" for opaque
    };
    const std::string file = path("layers.exr");
    for (const Case& test :
         std::vector<Case>{{{"beauty.R", "beauty.B", "aux.x", "diffuse.G"},
                            13,
                            {"beauty.R", "", "beauty.B", "1"}},
                           {{"a.b.ALPHA", "z.R"}, 8, {"", "", "", "a.b.ALPHA"}},
                           {{"u", "v", "w", "x", "y2"}, 15, {"u", "v", "w", "x"}},
                           {{"spec.Y", "spec.A"}, 15, {"spec.Y", "spec.Y", "spec.Y", "spec.A"}}})
    {
        ExrSpec spec;
        spec.dataWindow = spec.displayWindow = {{0, 0}, {4, 2}};
        for (const std::string& name : test.names)
            spec.channels.push_back({name});
        writeExr(file, {spec});
        EXPECT_EQ(described(file).channels, test.channels) << test.names[0];
        Expectations wanted;
        for (size_t i = 0; i < 4; ++i)
            wanted[i] = test.sources[i] == "1" ? Expectation{"", 1} : Expectation{test.sources[i]};
        const TestImage image(m_random, 15, Rect(0, 0, 5, 3));
        const std::vector<float> before = image.floats();
        (*opened(file))(&image.image);
        expectPixels(image, before, spec, readExr(file), wanted);
    }
}

TEST_F(ExrRead, ReadsThePartThatIsNamedOrElseTheFirst)
{
    ExrSpec first, second;
    first.dataWindow = first.displayWindow = second.displayWindow = {{0, 0}, {29, 19}};
    second.dataWindow = {{-4, 3}, {40, 17}};
    first.channels = {{"R"}, {"G"}, {"B"}};
    second.channels = {{"A", Imf::FLOAT}};
    first.part = "plate";
    second.part = "matte";
    second.tiled = true;
    const std::string file = path("parts.exr");
    writeExr(file, {first, second});
    EXPECT_EQ(described(file).channels, 15u);
    EXPECT_EQ(described(file + "?part=plate").dataRegion.getBounds(), dataRect(first));
    EXPECT_EQ(described(file + "?part=matte").dataRegion.getBounds(), dataRect(second));
    const TestImage image(m_random, 8, Rect(-6, 0, 50, 30));
    const std::vector<float> before = image.floats();
    (*opened(file + "?part=matte"))(&image.image);
    expectPixels(image, before, second, readExr(file, 1), {{{}, {}, {}, {"A"}}});

    ImageDescription description;
    ReadImageDescription(&description, (file + "?part=third").c_str());
    expectError(ERROR_FILE_FORMAT, "it has no part \"third\"; its parts are \"plate\", \"matte\"");
    std::filesystem::rename(file, path("a?part=b"));
    EXPECT_EQ(described(path("a?part=b")).channels, 15u);
}

TEST_F(ExrRead, PlacesThePictureWhereTheOptionsSay)
{
    ExrSpec spec;
    spec.dataWindow = {{-5, 2}, {14, 11}};
    spec.displayWindow = {{0, 0}, {30, 20}};
    spec.channels = {{"R", Imf::FLOAT}};
    const std::string file = path("moved.exr");
    writeExr(file, {spec});
    const Planes planes = readExr(file);
    forEachRandomCase(30, [&](Random& random) {
        const int64_t x = random.between(-99, 99), y = random.between(-99, 99);
        InputImageOptions options;
        options.overrideWindows = true;
        options.displayRect = Rect(0, 0, 7, 7);
        const Rect data(x, y, x + random.between(1, 30), y + random.between(1, 20));
        options.dataRegion = UTIL::Region(data);
        const TestImage image(random, 1, anyRect(random, data));
        std::vector<float> expected = image.floats();
        forEachFloat(image, [&](int64_t px, int64_t py, int, size_t place) {
            const bool inside = data.contains(Rect(px, py, px + 1, py + 1));
            const Rect old = dataRect(spec);
            const float* const value =
                planeAt(spec, planes.at("R"), px - data.x0 + old.x0, py - data.y1 + old.y1);
            expected[place] = inside && value ? *value : 0;
        });
        (*opened(file, options))(&image.image);
        EXPECT_EQ(GetError(), ERROR_NONE) << GetErrorMessage();
        EXPECT_TRUE(sameBits(image.floats(), expected));
    });
    InputImageOptions far;
    far.overrideWindows = true;
    far.dataRegion = UTIL::Region(Rect(INT64_MAX - 3, 0, INT64_MAX, 9));
    EXPECT_FALSE(createReadImageFunction(file.c_str(), far));
    expectError(ERROR_INVALID_ARGUMENT, "too far out");
}

TEST_F(ExrRead, NamesTheTilesOfAFile)
{
    forEachRandomCase(100, [&](Random& random) {
        ExrSpec spec = anySpec(random);
        spec.tiled = true;
        const std::string file = path("tiles.exr");
        writeExr(file, {spec});
        long width = 0, height = 0;
        const auto function = createTiledReadExrFunction(file.c_str(), {}, width, height);
        ASSERT_TRUE(function) << GetErrorMessage();
        EXPECT_EQ(width, spec.tiles.xSize);
        EXPECT_EQ(height, spec.tiles.ySize);

        const Rect data = dataRect(spec), rect = anyRect(random, data);
        std::vector<std::pair<Imath::Vec2<int>, Rect>> tiles, whole;
        convertRectToEXRTileIDs(rect, data, displayRect(spec), width, height, tiles);
        convertRectToEXRTileIDs(data, data, displayRect(spec), width, height, whole);
        // Those of the whole that the rectangle touches, in their order, which is the file's.
        std::erase_if(whole,
                      [&](const auto& tile) { return tile.second.intersect(rect).isNull(); });
        EXPECT_EQ(tiles, whole);
        UTIL::Region region;
        for (const auto& [id, tile] : tiles)
        {
            EXPECT_EQ(tile.x0, data.x0 + id.x * width);
            EXPECT_EQ(tile.y1, data.y1 - id.y * height);
            EXPECT_FALSE(region.intersects(tile));
            region.add(tile);
        }
        EXPECT_TRUE(region.contains(rect.intersect(data)));
    });
}

TEST_F(ExrRead, DescribesDeepPicturesAndScanlinesThatAreNoTiles)
{
    ExrSpec spec;
    spec.dataWindow = spec.displayWindow = {{0, 0}, {3, 3}};
    spec.channels = {{"R"}};
    writeExr(path("flat.exr"), {spec});
    long width = 0, height = 0;
    EXPECT_FALSE(createTiledReadExrFunction(path("flat.exr").c_str(), {}, width, height));
    expectError(ERROR_FILE_UNSUPPORTED, "not stored in tiles");

    for (const bool volume : {false, true})
    {
        const std::string file = path("deep.exr");
        writeDeepExr(file, volume);
        const ImageDescription description = described(file);
        EXPECT_TRUE(description.isDeepShadow);
        EXPECT_EQ(description.isVolumeShadow, volume);
        EXPECT_FALSE(description.isScanlineReadable || description.isTiled);
        EXPECT_EQ(description.channels, 8u);
        EXPECT_FALSE(createReadImageFunction(file.c_str(), {}));
        expectError(ERROR_FILE_UNSUPPORTED, "its pixels are deep");
    }
}

TEST_F(ExrRead, DescribesTheLevelsOfATiledPicture)
{
    ExrSpec spec;
    spec.dataWindow = {{10, 20}, {49, 40}};
    spec.displayWindow = {{0, 0}, {99, 59}};
    spec.channels = {{"R"}};
    spec.tiled = true;
    spec.tiles = Imf::TileDescription(16, 16, Imf::MIPMAP_LEVELS);
    writeExr(path("levels.exr"), {spec});
    const ImageDescription description = described(path("levels.exr"));
    ASSERT_EQ(description.levels.size(), 6u);
    EXPECT_EQ(description.levels[0].dataRegion.getBounds(), description.dataRegion.getBounds());
    EXPECT_EQ(description.levels[0].displayRect, description.displayRect);
    for (size_t i = 0; i < 6; ++i)
    {
        EXPECT_EQ(description.levels[i].dataRegion.getBounds().width(), 40 >> i);
        EXPECT_EQ(description.levels[i].displayRect.height(), 60 >> i);
    }
}

TEST_F(ExrRead, ThrowsFromReadImageAloneAndLeavesNoErrorThere)
{
    ExrSpec spec;
    spec.dataWindow = spec.displayWindow = {{0, 0}, {9, 9}};
    spec.channels = {{"R"}};
    writeExr(path("whole.exr"), {spec});
    const TestImage image(m_random, 9, Rect(-1, 0, 11, 5));
    const std::vector<float> before = image.floats();
    ReadImage(&image.image, path("whole.exr").c_str(), "", {});
    expectPixels(image, before, spec, readExr(path("whole.exr")), {{{"R"}, {}, {}, {"", 1}}});
    for (const char* const name : {"missing.exr", "whole.exr|12x"})
        try
        {
            ReadImage(&image.image, path(name).c_str(), "", {});
            ADD_FAILURE() << "nothing was thrown";
        }
        catch (const std::runtime_error& error)
        {
            EXPECT_EQ(error.what(),
                      "Reading \"" + path(name) + "\" failed: No such file or directory.");
        }
    EXPECT_THROW(ReadImage(nullptr, path("whole.exr").c_str(), "", {}), std::runtime_error);
    EXPECT_EQ(GetError(), ERROR_NONE);
}

TEST_F(ExrRead, TellsOptionsApart)
{
    std::vector<InputImageOptions> all(9);
    all[1].useFileChannels = false;
    all[2].channelNames[0] = "a,";
    all[3].channelNames[0] = "a";
    all[3].channelNames[1] = "0:";
    all[4].channelNames[1] = "a,";
    all[5].overrideWindows = true;
    all[6].dataRegion = UTIL::Region(Rect(0, 0, 1234, 1));
    all[7].displayRect = Rect(0, 0, 1234, 1);
    all[8].channelNames[3] = "a";
    std::vector<std::string> texts;
    for (const InputImageOptions& options : all)
    {
        std::ostringstream stream;
        stream << options;
        texts.push_back(stream.str());
    }
    std::sort(texts.begin(), texts.end());
    EXPECT_EQ(std::adjacent_find(texts.begin(), texts.end()), texts.end());
    EXPECT_NE(std::find(texts.begin(), texts.end(), "1,0:,0:,0:,0:,0,[(0,0,1234,1)],(0,0,0,0),"),
              texts.end());
}

TEST_F(ExrRead, KnowsAFileThatHasChanged)
{
    ExrSpec spec;
    spec.dataWindow = spec.displayWindow = {{0, 0}, {9, 9}};
    spec.channels = {{"R"}};
    const std::string file = path("changing.exr");
    writeExr(file, {spec});
    const FileStamp stamp = described(file).stamp;
    EXPECT_EQ(stamp.size, std::filesystem::file_size(file));
    EXPECT_EQ(opened(file)->stamp(), stamp);
    std::filesystem::last_write_time(file, std::filesystem::last_write_time(file) +
                                               std::chrono::nanoseconds(1));
    EXPECT_NE(opened(file)->stamp(), stamp);
}
