#include <EMULSION/ImageFile.h>
#include <EMULSION/Plumbing.h>
#include <EMULSION/WriteImage.h>

#include <cmath>

#include <sys/stat.h>

#include <half.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfInputFile.h>
#include <ImfStringAttribute.h>
#include <ImfStringVectorAttribute.h>
#include <ImfTiledInputFile.h>

#include "emulsion/ExrPictures.h"
#include "files/exr/SliceBase.h"
#include "files/HalfRows.h"
#include "support/FileSizeLimit.h"

using namespace EMULSION;
using namespace EmulsionTest;
using QUILT::Test::forEachRandomCase;

namespace fs = std::filesystem;

namespace
{

class WriteImageFile : public FilesTest
{
protected:
    // Paths that only the system's refusal stops do not stop root.
    static bool isRoot() { return ::geteuid() == 0; }

    void expectRefused(const std::string& file, Error code, const std::string& text,
                       const OutputImageOptions& options = {}, const std::string& format = "exr")
    {
        const std::vector<std::string> before = contents();
        const TestImage image(m_random, 15, Rect(0, 0, 40, 30));
        WriteImage(file.c_str(), &image.image, format.c_str(), options);
        expectError(code, "Writing \"" + file + "\" failed: " + text);
        EXPECT_EQ(contents(), before);
    }
};

// Pictures that every compression keeps: few values, all of them halves of small whole numbers, but
// for the ones that lose.
void paint(const TestImage& image, Random& random)
{
    const Rect& bounds = image.image.bounds;
    for (int64_t y = bounds.y0; y < bounds.y1; ++y)
        for (int64_t x = bounds.x0; x < bounds.x1; ++x)
        {
            const auto value = [&] { return static_cast<float>(random.between(-8, 8)) * 0.5f; };
            const float rgba[4] = {value(), value(), value(), value()};
            SetPixel(&image.image, x, y, rgba);
        }
}

OutputImageOptions anyOptions(Random& random)
{
    static constexpr int lossless[] = {0, 1, 2, 3, 4, 5};
    OutputImageOptions options;
    options.type3OptionA = random.pick(lossless);
    options.type3OptionB = static_cast<int32_t>(random.between(0, 1));
    options.tiled = random.oneIn(2);
    options.tileFlag = random.oneIn(2);
    options.tileWidth = random.between(1, 50);
    options.tileHeight = random.between(1, 50);
    options.channels = random.oneIn(2) ? 0 : static_cast<uint64_t>(random.between(1, 15));
    if (random.oneIn(2))
        options.displayWindow = Rect(-7, 3, random.between(-6, 99), random.between(4, 99));
    return options;
}

}

TEST_F(WriteImageFile, BringsBackWhatWasWritten)
{
    const std::string file = path("any.exr");
    forEachRandomCase(200, [&](Random& random) {
        SetFileThreads(static_cast<int>(random.between(0, 3)));
        const int64_t x = random.between(-60, 60), y = random.between(-60, 60);
        const TestImage written(random, static_cast<uint64_t>(random.between(1, 15)),
                                Rect(x, y, x + random.between(1, 70), y + random.between(1, 70)));
        paint(written, random);
        const OutputImageOptions options = anyOptions(random);
        WriteImage(file.c_str(), &written.image, "", options);
        ASSERT_EQ(GetError(), ERROR_NONE) << GetErrorMessage();
        EXPECT_EQ(contents(), std::vector<std::string>{"any.exr"});

        ImageDescription description;
        ReadImageDescription(&description, file.c_str());
        const Rect& bounds = written.image.bounds;
        const Rect& display = options.displayWindow;
        EXPECT_EQ(description.dataRegion.getBounds(), bounds);
        EXPECT_EQ(description.displayRect, display.isNull() ? bounds : display);
        EXPECT_EQ(description.isTiled, options.tiled);
        const uint64_t channels = options.channels ? options.channels : written.image.channels;
        EXPECT_EQ(description.channels, channels & 7 ? channels | 8 : channels);

        const TestImage read(random, channels, bounds), expected(random, channels, bounds);
        Copy(&expected.image, &written.image);
        (*createReadImageFunction(file.c_str(), {}))(&read.image);
        EXPECT_EQ(GetError(), ERROR_NONE) << GetErrorMessage();
        forEachFloat(read, [&](int64_t px, int64_t py, int channel, size_t place) {
            const auto at = static_cast<size_t>(expected.find(px, py, uint64_t{1} << channel));
            EXPECT_EQ(read.floats()[place], expected.floats()[at]) << px << "," << py;
        });
    });
}

TEST_F(WriteImageFile, LosesLittleInTheCompressionsThatLose)
{
    const TestImage written(m_random, 15, Rect(0, 0, 200, 100));
    for (int64_t y = 0; y < 100; ++y)
        for (int64_t x = 0; x < 200; ++x)
        {
            const float value = 0.5f + 0.4f * std::sin(static_cast<float>(x + 2 * y) * 0.05f);
            const float rgba[4] = {value, value * 0.5f, 1 - value, 1};
            SetPixel(&written.image, x, y, rgba);
        }
    for (const int32_t compression : {5, 6, 7, 8, 9})
    {
        OutputImageOptions options;
        options.type3OptionA = compression;
        WriteImage(path("lossy.exr").c_str(), &written.image, "exr", options);
        const TestImage read(m_random, 15, Rect(0, 0, 200, 100));
        (*createReadImageFunction(path("lossy.exr").c_str(), {}))(&read.image);
        EXPECT_EQ(GetError(), ERROR_NONE) << GetErrorMessage();
        EXPECT_EQ(
            static_cast<int>(Imf::InputFile(path("lossy.exr").c_str()).header().compression()),
            compression);
        forEachFloat(read, [&](int64_t x, int64_t y, int channel, size_t place) {
            const auto at = static_cast<size_t>(written.find(x, y, uint64_t{1} << channel));
            EXPECT_NEAR(read.floats()[place], written.floats()[at], 0.02);
        });
    }
}

TEST_F(WriteImageFile, MakesTheSameFileOfAnyBands)
{
    forEachRandomCase(60, [&](Random& random) {
        const TestImage image(random, 15, Rect(-3, 10, 40, 90));
        paint(image, random);
        OutputImageOptions options = anyOptions(random);
        options.channels = static_cast<uint64_t>(random.between(1, 15));
        WriteImage(path("whole.exr").c_str(), &image.image, "exr", options);
        const Rect bounds(-3 + random.between(0, 5), 10, 40 - random.between(0, 5), 90);
        Image cut;
        GetSubImage(&cut, &image.image, bounds.x0, bounds.y0, bounds.x1, bounds.y1);
        WriteImage(path("whole.exr").c_str(), &cut, "exr", options);
        const auto writer =
            createWriteImageFunction(path("bands.exr").c_str(), "exr", options, bounds);
        ASSERT_TRUE(writer) << GetErrorMessage();
        for (int64_t top = bounds.y1; top > bounds.y0;)
        {
            const int64_t y0 = std::max(top - random.between(1, 40), bounds.y0);
            Image band; // wider than the picture
            GetSubImage(&band, &image.image, -3, y0, 40, top);
            (*writer)(&band);
            top = y0;
        }
        EXPECT_FALSE(fs::exists(path("bands.exr")));
        writer->finish();
        ASSERT_EQ(GetError(), ERROR_NONE) << GetErrorMessage();
        EXPECT_EQ(bytesOf(path("bands.exr")), bytesOf(path("whole.exr")));
        fs::remove(path("bands.exr"));
    });
}

TEST_F(WriteImageFile, RefusesBandsThatDoNotMakeThePicture)
{
    const TestImage band(m_random, 15, Rect(0, 5, 20, 10));
    OutputImageOptions options;
    options.channels = 15;
    const std::string file = path("bands.exr");
    const auto begin = [&](const Rect& bounds) {
        return createWriteImageFunction(file.c_str(), "exr", options, bounds);
    };
    for (const Rect& bounds : {Rect(0, 0, 20, 11), Rect(0, 6, 20, 10), Rect(-1, 0, 20, 10)})
    {
        (*begin(bounds))(&band.image);
        expectError(ERROR_INVALID_ARGUMENT, "the band (0,5,20,10) does not continue");
    }
    const auto writer = begin(Rect(0, 0, 20, 10));
    (*writer)(&band.image);
    EXPECT_EQ(contents().size(), 1u); // the temporary file
    writer->finish();
    expectError(ERROR_INVALID_ARGUMENT, "rows below 5 of (0,0,20,10) have not come");
    writer->finish(); // says nothing more
    EXPECT_EQ(GetError(), ERROR_NONE);
    {
        const auto dropped = begin(Rect(0, 5, 20, 10));
        (*dropped)(&band.image);
    }
    EXPECT_TRUE(contents().empty());
    options.channels = 0;
    EXPECT_FALSE(begin(Rect(0, 0, 20, 10)));
    expectError(ERROR_INVALID_CHANNELS, "channel mask 0");
    EXPECT_FALSE(begin(Rect(0, 0, 0, 10)));
    ClearError();
}

TEST_F(WriteImageFile, MakesLevelsThatAreMeansOfTheLevelsBefore)
{
    const std::string file = path("levels.exr");
    const TestImage image(m_random, 5, Rect(-2, 3, 35, 24)); // 37 x 21
    paint(image, m_random);
    OutputImageOptions options;
    options.tiled = options.tileFlag = true;
    options.tileWidth = options.tileHeight = 8;
    options.type3OptionB = 1;
    WriteImage(file.c_str(), &image.image, "exr", options);
    ASSERT_EQ(GetError(), ERROR_NONE) << GetErrorMessage();

    Imf::TiledInputFile input(file.c_str());
    ASSERT_EQ(input.numLevels(), 6);
    const auto levelOf = [&](int level) {
        const Imath::Box2i box = input.dataWindowForLevel(level);
        const int width = input.levelWidth(level);
        std::vector<float> red(static_cast<size_t>(width * input.levelHeight(level)));
        Imf::FrameBuffer buffer;
        const size_t row = 4 * static_cast<size_t>(width);
        char* const base = Private::sliceBase(red.data(), box.min.x, 4, box.min.y, row);
        buffer.insert("R", Imf::Slice(Imf::FLOAT, base, 4, row));
        input.setFrameBuffer(buffer);
        input.readTiles(0, input.numXTiles(level) - 1, 0, input.numYTiles(level) - 1, level);
        return red;
    };
    std::vector<float> before = levelOf(0);
    for (int level = 1; level < 6; ++level)
    {
        const double width = input.levelWidth(level), height = input.levelHeight(level);
        const double oldWidth = input.levelWidth(level - 1);
        const double oldHeight = input.levelHeight(level - 1);
        std::vector<float> red = levelOf(level);
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
            {
                double sum = 0, area = 0;
                for (int v = 0; v < oldHeight; ++v)
                    for (int u = 0; u < oldWidth; ++u)
                    {
                        const auto shared = [](double a, double size, double b, double old) {
                            return std::max(0.0, std::min((a + 1) / size, (b + 1) / old) -
                                                     std::max(a / size, b / old));
                        };
                        const double part =
                            shared(x, width, u, oldWidth) * shared(y, height, v, oldHeight);
                        area += part;
                        sum += part *
                               static_cast<double>(before[static_cast<size_t>(v * oldWidth + u)]);
                    }
                EXPECT_NEAR(red[static_cast<size_t>(y * width + x)], sum / area, 1e-5);
            }
        before = std::move(red);
    }
}

TEST_F(WriteImageFile, SaysWhatItHolds)
{
    const std::string file = path("said.exr");
    const TestImage image(m_random, 3, Rect(0, 0, 5, 5));
    paint(image, m_random);
    OutputImageOptions options;
    options.metadata = {{"ozk:package", "Lantern 1"}, {"shot", "ab\ncd"}};
    options.comment = "by hand";
    options.keywords = {"one", "two"};
    options.channelNames = {"depth.Z", "depth.front"};
    WriteImage(file.c_str(), &image.image, "exr", options);
    ASSERT_EQ(GetError(), ERROR_NONE) << GetErrorMessage();
    const Imf::InputFile input(file.c_str());
    const auto text = [&](const char* name) {
        return input.header().typedAttribute<Imf::StringAttribute>(name).value();
    };
    EXPECT_EQ(text("ozk:package"), "Lantern 1");
    EXPECT_EQ(text("shot"), "ab\ncd");
    EXPECT_EQ(text("comments"), "by hand");
    EXPECT_EQ(input.header().typedAttribute<Imf::StringVectorAttribute>("keywords").value(),
              options.keywords);
    ImageDescription description;
    ReadImageDescription(&description, file.c_str());
    EXPECT_EQ(description.channelNames, options.channelNames);

    options.channelNames = {"Z"};
    expectRefused(file, ERROR_INVALID_ARGUMENT, "the names do not name the 4 channels", options);
    options.channelNames.clear();
    options.metadata = {{"compression", "best"}};
    expectRefused(file, ERROR_INVALID_ARGUMENT, "the metadata \"compression\" would", options);
    options.metadata = {{"", "best"}};
    expectRefused(file, ERROR_INVALID_ARGUMENT, "metadata cannot have the name", options);
}

TEST_F(WriteImageFile, RoundsToTheNearestHalf)
{
    // Every half, what lies halfway to the next, and its neighbours; and what is beyond.
    std::vector<float> floats;
    for (uint32_t bits = 0; bits < 0x10000; ++bits)
    {
        const auto at = std::bit_cast<uint32_t>(float(half(half::FromBits, uint16_t(bits))));
        for (const uint32_t step : {0u, 0xfffu, 0x1000u, 0x1001u})
            floats.push_back(std::bit_cast<float>(at + step));
    }
    floats.insert(floats.end(), {65519.99f, 65520.0f, -1e9f, 1e-8f, 2.98e-8f, 3e-8f});
    std::vector<uint16_t> halves(floats.size()), one(1);
    Private::floatsToHalves(halves.data(), floats.data(), floats.size());
    for (size_t i = 0; i < floats.size(); ++i)
    {
        Private::floatsToHalves(one.data(), &floats[i], 1); // the plain code
        ASSERT_EQ(halves[i], one[0]) << std::bit_cast<uint32_t>(floats[i]);
        if (!std::isnan(floats[i]))
            ASSERT_EQ(halves[i], half(floats[i]).bits()) << floats[i];
        else
            ASSERT_TRUE(half(half::FromBits, halves[i]).isNan());
    }
}

TEST_F(WriteImageFile, LeavesNothingBehindAFailure)
{
    const TestImage image(m_random, 15, Rect(0, 0, 40, 30));
    const std::string file = path("old.exr");
    setBytes(file, "older");
    for (const bool tiled : {false, true})
    {
        const QUILT::Test::FileSizeLimit limit(4096);
        OutputImageOptions options;
        options.tiled = tiled;
        options.tileWidth = options.tileHeight = 16;
        expectRefused(file, ERROR_FILE_WRITE, "File too large.", options);
    }
    EXPECT_EQ(bytesOf(file), "older");
    expectRefused(path("no/where.exr"), ERROR_FILE_OPEN, "No such file or directory.");
    expectRefused(m_folder.string(), ERROR_FILE_OPEN, "Is a directory.");
    expectRefused(file + "/x.exr", ERROR_FILE_OPEN, "Not a directory.");
    expectRefused("/dev/full", ERROR_FILE_OPEN, "Invalid argument.");
    expectRefused(path(std::string(256, 'x')), ERROR_FILE_OPEN, "File name too long.");
    if (!isRoot())
    {
        fs::permissions(m_folder, fs::perms::owner_read | fs::perms::owner_exec);
        expectRefused(path("new.exr"), ERROR_FILE_OPEN, "Permission denied.");
        fs::permissions(m_folder, fs::perms::owner_all);
    }
    OutputImageOptions wrong;
    wrong.type3OptionA = 10;
    expectRefused(file, ERROR_INVALID_ARGUMENT, "OpenEXR has no compression 10.", wrong);
    wrong.type3OptionA = 0;
    wrong.type3OptionB = 2;
    expectRefused(file, ERROR_INVALID_ARGUMENT, "the pixel type is 0", wrong);
    wrong.type3OptionB = 0;
    wrong.tiled = true;
    expectRefused(file, ERROR_INVALID_ARGUMENT, "a tile cannot be 0 x 0 pixels.", wrong);
    wrong.tiled = false;
    wrong.displayWindow = Rect(0, 0, int64_t{1} << 31, 1);
    expectRefused(file, ERROR_IMAGE_TOO_LARGE, "OpenEXR cannot hold the window", wrong);
    expectRefused(path("a.xyz"), ERROR_FILE_UNSUPPORTED, "there is no format \"xyz\"", {}, "");
    expectRefused(path("none"), ERROR_FILE_UNSUPPORTED, "its name has no extension", {}, "");
    EXPECT_EQ(bytesOf(file), "older");

    const TestImage empty(m_random, 15, Rect());
    WriteImage(file.c_str(), &empty.image, "exr", {});
    expectError(ERROR_INVALID_ARGUMENT, "no pixels");
}

TEST_F(WriteImageFile, TakesThePlaceOfAnOlderFile)
{
    const TestImage image(m_random, 15, Rect(0, 0, 4, 4));
    const auto modeOf = [](const std::string& file) {
        struct stat status = {};
        EXPECT_EQ(::lstat(file.c_str(), &status), 0);
        return status.st_mode;
    };
    const std::string file = path("old.exr"), link = path("link.exr");
    setBytes(file, "older");
    ASSERT_EQ(::chmod(file.c_str(), 0640), 0);
    fs::create_symlink("old.exr", link);
    fs::create_symlink("link.exr", path("second.exr"));
    WriteImage(path("second.exr").c_str(), &image.image, "exr", {});
    EXPECT_EQ(GetError(), ERROR_NONE) << GetErrorMessage();
    EXPECT_TRUE(S_ISLNK(modeOf(link)));
    EXPECT_EQ(modeOf(file), S_IFREG | 0640u);
    EXPECT_EQ(bytesOf(file).substr(0, 4), "\x76\x2f\x31\x01");

    fs::remove(file); // the link leads nowhere now
    WriteImage(link.c_str(), &image.image, "exr", {});
    EXPECT_EQ(GetError(), ERROR_NONE) << GetErrorMessage();
    EXPECT_TRUE(S_ISLNK(modeOf(link)));
    const mode_t mask = ::umask(0);
    ::umask(mask);
    EXPECT_EQ(modeOf(file), S_IFREG | (0666u & ~mask));
    const std::string longest(251, 'x');
    WriteImage(path(longest + ".exr").c_str(), &image.image, "exr", {});
    EXPECT_EQ(GetError(), ERROR_NONE) << GetErrorMessage();
    EXPECT_EQ(contents().size(), 4u);
}

TEST_F(WriteImageFile, KnowsBeforehandWhatCannotBeWritten)
{
    setBytes(path("file"), "x");
    fs::create_symlink("nowhere/x", path("dangling"));
    fs::create_symlink("loop", path("loop"));
    EXPECT_EQ(IsWriteableFile(path("new.exr").c_str()), 0);
    EXPECT_EQ(IsWriteableFile(path("file").c_str()), 0);
    EXPECT_EQ(IsWriteableFile(m_folder.c_str()), EISDIR);
    EXPECT_EQ(IsWriteableFile(path("new/").c_str()), EISDIR);
    EXPECT_EQ(IsWriteableFile(path("no/new.exr").c_str()), ENOENT);
    EXPECT_EQ(IsWriteableFile(path("file/new.exr").c_str()), ENOTDIR);
    EXPECT_EQ(IsWriteableFile(path("dangling").c_str()), ENOENT);
    EXPECT_EQ(IsWriteableFile(path("loop").c_str()), ELOOP);
    EXPECT_EQ(IsWriteableFile(""), ENOENT);
    if (!isRoot())
    {
        ASSERT_EQ(::chmod(path("file").c_str(), 0400), 0);
        EXPECT_EQ(IsWriteableFile(path("file").c_str()), EACCES);
    }
    EXPECT_EQ(contents(), (std::vector<std::string>{"dangling", "file", "loop"}));
}
