#include <bit>
#include <functional>
#include <future>

#include <half.h>

#include "emulsion/PictureFiles.h"

using namespace EMULSION;
using namespace EmulsionTest;
using QUILT::Test::Random;
using UTIL::Rect;

namespace
{

class PictureFiles : public FileTest
{};

constexpr uint64_t s_rgb = ChannelRed | ChannelGreen | ChannelBlue;
constexpr uint64_t s_rgba = s_rgb | ChannelAlpha;

struct Format
{
    const char* extension;
    std::function<void(OutputImageOptions&)> set = [](OutputImageOptions&) {};
    int most = 255; // of an integer sample; 0 for others
    bool hasAlpha = false;
    bool keepsAlphaIn = false; // the colours stand in the file with alpha in them
};

const Format s_lossless[] = {
    {"png", {}, 65535, true},
    {"png",
     [](auto& o) {
         o.type5OptionA = 8;
         o.type5OptionB = 9;
     },
     255, true},
    {"tif", {}, 255, true, true},
    {"tiff", [](auto& o) { o.type2Option = 1; }, 65535, true, true},
    {"tif", [](auto& o) { o.type2Option = 2; }, 0, true, true},
    {"tif", [](auto& o) { o.type2Option = 3; }, 0, true, true},
    {"dpx", [](auto& o) { o.type4Option = 8; }, 255},
    {"dpx", {}, 1023},
    {"dpx", [](auto& o) { o.type4Option = 12; }, 4095},
    {"dpx", [](auto& o) { o.type4Option = 16; }, 65535},
    {"tga", {}, 255, true},
    {"bmp", {}, 255},
    {"ppm", {}, 255},
};

OutputImageOptions optionsOf(const Format& format)
{
    OutputImageOptions options;
    if (format.set)
        format.set(options);
    return options;
}

float quantised(float value, int most)
{
    const double clamped = value > 0.0f ? std::min(static_cast<double>(value), 1.0) : 0.0;
    return static_cast<float>(std::nearbyint(clamped * most)) / static_cast<float>(most);
}

bool sameFloat(float a, float b)
{
    return std::bit_cast<uint32_t>(a) == std::bit_cast<uint32_t>(b) ||
           (std::isnan(a) && std::isnan(b));
}

// What a file without alpha, or with an alpha of 1, must give back for a value.
float expectedOf(float value, const Format& format, const OutputImageOptions& options)
{
    if (format.most > 0)
        return quantised(value, format.most);
    return options.type2Option == 3 ? static_cast<float>(Imath::half(value)) : value;
}

// Every value that the format can hold, ties between two of them, and values that no picture needs.
Picture valuesOf(const Format& format, uint64_t channels)
{
    const int most = format.most > 0 ? format.most : 1000;
    std::vector<float> values = {-0.0f,  -1.0f,    2.0f,      1e30f, 65519.0f,
                                 1e-40f, INFINITY, -INFINITY, NAN};
    for (int i = 0; i <= most; ++i)
    {
        values.push_back(static_cast<float>(i) / static_cast<float>(most));
        values.push_back(static_cast<float>((i + 0.5) / most));
        values.push_back(std::nextafter(values.back(), 1.0f));
    }
    Picture picture(channels, Rect(0, 0, 271, 251));
    for (size_t i = 0; i < picture.floats.size(); ++i)
        picture.floats[i] = values[i % values.size()];
    return picture;
}

TEST_F(PictureFiles, GiveBackTheNearestValueThatTheyCanHold)
{
    for (const Format& format : s_lossless)
    {
        const OutputImageOptions options = optionsOf(format);
        const std::string name = path(std::string("a.") + format.extension);
        const Picture written = valuesOf(format, s_rgb);
        write(name, written, options);
        const Picture found = read(name);
        ASSERT_EQ(found.image.channels, s_rgba) << format.extension; // opaque
        ASSERT_EQ(found.floats.size() / 4, written.floats.size() / 3);
        size_t wrong = 0;
        for (size_t i = 0; i < found.floats.size(); ++i)
        {
            const float source = i % 4 == 3 ? 1.0f : written.floats[i / 4 * 3 + i % 4];
            const float expected = i % 4 == 3 ? 1.0f : expectedOf(source, format, options);
            if (!sameFloat(found.floats[i], expected) && ++wrong < 4)
                ADD_FAILURE() << format.extension << " " << format.most << ": " << source
                              << " became " << found.floats[i] << ", not " << expected;
        }
        EXPECT_EQ(wrong, 0U) << format.extension << " " << format.most;
    }
}

TEST_F(PictureFiles, KeepAlphaWithinItsQuantum)
{
    Random random(1);
    for (const Format& format : s_lossless)
    {
        if (!format.hasAlpha || format.most == 0)
            continue;
        const std::string name = path(std::string("a.") + format.extension);
        Picture written(s_rgba, Rect(0, 0, 64, 50));
        for (size_t i = 0; i < written.floats.size(); i += 4)
        {
            const auto alpha =
                static_cast<float>(random.oneIn(8) ? random.between(0, 1) : random.real(0, 1));
            for (size_t c = 0; c < 3; ++c)
                written.floats[i + c] = alpha * static_cast<float>(random.real(0, 1));
            written.floats[i + 3] = alpha;
        }
        write(name, written, optionsOf(format));
        const Picture found = read(name);
        ASSERT_EQ(found.floats.size(), written.floats.size());
        for (size_t i = 0; i < found.floats.size(); ++i)
        {
            const float alpha = quantised(written.floats[i - i % 4 + 3], format.most);
            const double step = 1.0 / format.most;
            // Half a step of the colour, and half a step of the alpha that it is multiplied by.
            EXPECT_NEAR(found.floats[i], written.floats[i], step * 1.01);
            if (i % 4 == 3)
            {
                EXPECT_EQ(found.floats[i], alpha);
            }
        }
    }
}

TEST_F(PictureFiles, HoldColoursWithSharedExponentsAndJpegsNearly)
{
    Picture written(s_rgb, Rect(0, 0, 100, 60));
    for (int64_t y = 0; y < 60; ++y)
        for (int64_t x = 0; x < 100; ++x)
        {
            float* const pixel = written.at(x, y);
            pixel[0] = static_cast<float>(x) / 100.0f;
            pixel[1] = static_cast<float>(y) / 60.0f;
            pixel[2] = static_cast<float>(x + y) / 160.0f;
        }
    write(path("a.jpg"), written);
    const Picture jpeg = read(path("a.jpg"));
    for (size_t i = 0; i < jpeg.floats.size() / 4; ++i)
        for (size_t c = 0; c < 3; ++c)
            ASSERT_NEAR(jpeg.floats[4 * i + c], written.floats[3 * i + c], 0.03);

    for (float& value : written.floats)
        value = value * 1000.0f - 10.0f;
    written.floats[0] = NAN;
    written.floats[4] = INFINITY;
    write(path("a.hdr"), written);
    const Picture radiance = read(path("a.hdr"));
    for (size_t i = 0; i < radiance.floats.size() / 4; ++i)
    {
        const float* const pixel = &written.floats[3 * i];
        const float largest = std::fmax(0.0f, std::fmax(pixel[0], std::fmax(pixel[1], pixel[2])));
        for (size_t c = 0; c < 3; ++c)
            ASSERT_NEAR(radiance.floats[4 * i + c], std::fmin(std::fmax(pixel[c], 0.0f), 1.7e38f),
                        std::isinf(largest) ? 1e36 : largest / 256.0);
    }
}

TEST_F(PictureFiles, WriteOneChannelAsGreyAndWhatIsMissingAsZero)
{
    Picture matte(ChannelAlpha, Rect(0, 0, 3, 2));
    matte.floats = {0.0f, 0.2f, 0.4f, 0.6f, 0.8f, 1.0f};
    write(path("matte.png"), matte);
    const ImageDescription description = describe(path("matte.png"));
    EXPECT_EQ(description.channelNames, std::vector<std::string>{"Y"});
    Picture found = read(path("matte.png"));
    ASSERT_EQ(found.image.channels, s_rgba);
    for (int c = 0; c < 3; ++c)
        EXPECT_EQ(found.at(2, 1)[c], 1.0f);
    EXPECT_NEAR(found.at(0, 1)[1], 0.6f, 1e-5);
    EXPECT_NEAR(found.at(1, 0)[1], 0.2f, 1e-5);

    Picture colour(s_rgb, Rect(0, 0, 1, 1));
    colour.floats = {0.2f, 0.4f, 0.6f};
    OutputImageOptions options;
    options.channels = ChannelRed | ChannelBlue;
    write(path("some.bmp"), colour, options);
    EXPECT_EQ(read(path("some.bmp")).floats, (std::vector<float>{0.2f, 0.0f, 0.6f, 1.0f}));
    options.channels = ChannelGreen;
    write(path("green.bmp"), colour, options);
    EXPECT_EQ(read(path("green.bmp")).floats, (std::vector<float>{0.4f, 0.4f, 0.4f, 1.0f}));

    Picture redAlpha(ChannelRed | ChannelAlpha, Rect(0, 0, 1, 1));
    redAlpha.floats = {0.5f, 1.0f};
    write(path("red.bmp"), redAlpha);
    found = read(path("red.bmp"));
    EXPECT_EQ(found.floats, (std::vector<float>{quantised(0.5f, 255), 0.0f, 0.0f, 1.0f}));
}

TEST_F(PictureFiles, DitherByAFixedPatternThatKeepsTheMean)
{
    OutputImageOptions options;
    options.type5OptionC = 1;
    Picture written(s_rgb, Rect(0, 0, 16, 16));
    for (size_t i = 0; i < written.floats.size(); i += 3)
    {
        written.floats[i] = 100.25f / 255.0f;
        written.floats[i + 1] = 77.0f / 255.0f;
        written.floats[i + 2] = i % 2 ? 3.0f : -1.0f;
    }
    write(path("a.png"), written, options);
    Picture found = read(path("a.png"));
    int above = 0;
    for (int64_t y = 0; y < 8; ++y)
        for (int64_t x = 0; x < 8; ++x)
        {
            above += found.at(x, y)[0] == 101.0f / 255.0f;
            EXPECT_TRUE(found.at(x, y)[0] == 101.0f / 255.0f ||
                        found.at(x, y)[0] == 100.0f / 255.0f);
            EXPECT_EQ(found.at(x, y)[1], 77.0f / 255.0f);
            EXPECT_EQ(found.at(x, y)[2], quantised(written.at(x, y)[2], 255));
            EXPECT_EQ(found.at(x, y)[0], found.at(x + 8, y + 8)[0]);
        }
    EXPECT_EQ(above, 16);
}

TEST_F(PictureFiles, TurnAsTheirOrientationSays)
{
    // 3 x 2 pixels, as they are to be seen for each value of the tag, top row first.
    const char* const seen[] = {"",         "abc/def",  "cba/fed",  "fed/cba", "def/abc",
                                "ad/be/cf", "da/eb/fc", "fc/eb/da", "cf/be/ad"};
    for (uint16_t orientation = 1; orientation <= 8; ++orientation)
    {
        const std::string name = path("turned.tif");
        setContents(name, Tiff{3, 2, 1, 8, "abcdef", orientation}.bytes());
        Picture picture = read(name);
        const Rect bounds = picture.image.bounds;
        std::string found;
        for (int64_t y = bounds.y1 - 1; y >= bounds.y0; --y)
        {
            for (int64_t x = bounds.x0; x < bounds.x1; ++x)
                found += static_cast<char>(std::lround(picture.at(x, y)[1] * 255.0f));
            found += y > bounds.y0 ? "/" : "";
        }
        EXPECT_EQ(found, seen[orientation]);
        EXPECT_EQ(describe(name).isScanlineReadable, orientation <= 4);
        // One pixel at a time it is the same picture.
        const auto function = createReadImageFunction(name.c_str(), {});
        for (int64_t y = bounds.y0; y < bounds.y1; ++y)
            for (int64_t x = bounds.x0; x < bounds.x1; ++x)
            {
                Picture pixel(s_rgba, Rect(x, y, x + 1, y + 1));
                (*function)(&pixel.image);
                EXPECT_EQ(pixel.floats[2], picture.at(x, y)[2]) << orientation;
            }
    }
    EXPECT_TRUE(noError());
}

// One pixel, expected as red, green, blue, alpha.
void expectPixel(const std::string& path, const std::vector<float>& expected)
{
    const Picture found = read(path);
    ASSERT_GE(found.floats.size(), 4U);
    for (size_t c = 0; c < 4; ++c)
        EXPECT_EQ(found.floats[c], expected[c]) << path << " channel " << c;
}

TEST_F(PictureFiles, AssociateAlphaWhereTheFormatHasItApart)
{
    const auto of = [](int value) { return static_cast<float>(value) / 255.0f; };
    const std::vector<float> kept = {of(200), of(100), of(50), of(128)};
    const std::vector<float> multiplied = {of(200) * of(128), of(100) * of(128), of(50) * of(128),
                                           of(128)};
    const std::vector<float> opaque = {of(200), of(100), of(50), 1.0f};
    const std::string pixel = "\xc8\x64\x32\x80", blueFirst = "\x32\x64\xc8\x80";

    setContents(path("associated.tif"), Tiff{1, 1, 4, 8, pixel, 1, 1}.bytes());
    expectPixel(path("associated.tif"), kept);
    setContents(path("apart.tif"), Tiff{1, 1, 4, 8, pixel, 1, 2}.bytes());
    expectPixel(path("apart.tif"), multiplied);

    const auto tga = [&](char alphaBits) {
        return Bytes()
            .add(std::string("\0\0\2\0\0\0\0\0\0\0\0\0\1\0\1\0\x20", 17))
            .add(alphaBits)
            .add(blueFirst)
            .text();
    };
    setContents(path("alpha.tga"), tga(8));
    expectPixel(path("alpha.tga"), multiplied);
    setContents(path("padding.tga"), tga(0));
    expectPixel(path("padding.tga"), opaque);

    Bytes bmp;
    bmp.add(std::string("BM")).add(uint32_t{58}).add(uint32_t{0}).add(uint32_t{54});
    bmp.add(uint32_t{40}).add(int32_t{1}).add(int32_t{1}).add(uint16_t{1}).add(uint16_t{32});
    for (const uint32_t value : {0, 4, 0, 0, 0, 0})
        bmp.add(value);
    setContents(path("padding.bmp"), bmp.add(blueFirst).text());
    expectPixel(path("padding.bmp"), opaque);
}

TEST_F(PictureFiles, HoldSamplesOfAnyWidthExactly)
{
    struct Case
    {
        uint16_t bits;
        std::string samples;
        std::vector<int64_t> values;
    };
    const Case cases[] = {
        {1, "\xb0", {1, 0, 1, 1}},
        {4, std::string("\x07\x8f", 2), {0, 7, 8, 15}},
        {12, std::string("\x00\x00\x01\x80\x0f\xff", 6), {0, 1, 2048, 4095}},
        {32,
         Bytes().add(0U).add(1U).add(0x80000081U).add(0xffffffffU).text(),
         {0, 1, 0x80000081, 0xffffffff}},
    };
    for (const Case& one : cases)
    {
        setContents(path("a.tif"), Tiff{4, 1, 1, one.bits, one.samples}.bytes());
        Picture found = read(path("a.tif"));
        const auto most = static_cast<long double>((int64_t{1} << one.bits) - 1);
        for (int64_t x = 0; x < 4; ++x)
            EXPECT_EQ(found.at(x, 0)[0],
                      static_cast<float>(
                          static_cast<long double>(one.values[static_cast<size_t>(x)]) / most))
                << one.bits;
    }
    setContents(path("a.pgm"), Bytes()
                                   .add(std::string("P5\n# so many\n4 1\n100\n"))
                                   .add(std::string("\0\1\x32\x64", 4))
                                   .text());
    Picture grey = read(path("a.pgm"));
    for (const auto& [x, value] :
         std::map<int64_t, float>{{0, 0.0f}, {1, 0.01f}, {2, 0.5f}, {3, 1.0f}})
        EXPECT_EQ(grey.at(x, 0)[2], value);
    std::string wide = "P5 256 256 65535\n";
    for (int value = 0; value < 65536; ++value)
        wide.append({static_cast<char>(value >> 8), static_cast<char>(value)});
    setContents(path("b.pgm"), wide);
    grey = read(path("b.pgm"));
    for (int value = 0; value < 65536; ++value)
        ASSERT_EQ(grey.at(value % 256, 255 - value / 256)[1], static_cast<float>(value) / 65535.0f);

    // Ten bits of each colour in a word, the first of them uppermost.
    std::string header(2048, '\0');
    const auto put = [&](size_t place, uint32_t value) {
        for (int byte = 0; byte < 4; ++byte)
            header[place + static_cast<size_t>(byte)] = static_cast<char>(value >> (24 - 8 * byte));
    };
    put(0, 0x802A5FD7);
    put(4, 2048);
    put(20, 2048 + 4);
    header[193] = 3;
    for (size_t channel = 0; channel < 3; ++channel)
    {
        const size_t place = 196 + 28 * channel;
        header[place + 1] = static_cast<char>(channel + 1);
        header[place + 2] = 10;
        put(place + 4, 1);
        put(place + 8, 1);
    }
    header[681] = 5;
    put(2044, 0);
    std::string pixel(4, '\0');
    const uint32_t word = 95U << 22 | 470U << 12 | 1023U << 2;
    for (size_t byte = 0; byte < 4; ++byte)
        pixel[byte] = static_cast<char>(word >> (24 - 8 * byte));
    setContents(path("a.cin"), header + pixel);
    expectPixel(path("a.cin"), {95.0f / 1023.0f, 470.0f / 1023.0f, 1.0f, 1.0f});
    std::string strange = header;
    strange[198] = 7; // bits, which the library behind it ends the process for
    setContents(path("strange.cin"), strange + pixel);
    EXPECT_THROW(ReadImage(&grey.image, path("strange.cin").c_str(), "", {}), std::runtime_error);
    setContents(path("cut.cin"), header + pixel.substr(0, 3));
    EXPECT_THROW(ReadImage(&grey.image, path("cut.cin").c_str(), "", {}), std::runtime_error);
}

TEST_F(PictureFiles, ReadAnyPartAsTheWholeHasIt)
{
    Random random(7);
    Picture written(s_rgba, Rect(0, 0, 70, 90));
    for (float& value : written.floats)
        value = static_cast<float>(random.real(0, 1));
    for (const Format& format : s_lossless)
    {
        const std::string name = path(std::string("a.") + format.extension);
        write(name, written, optionsOf(format));
        Picture whole = read(name);
        const auto function = createReadImageFunction(name.c_str(), {});
        ASSERT_TRUE(function);
        for (int i = 0; i < 30; ++i)
        {
            const int64_t x = random.between(0, 69), y = random.between(0, 89);
            Picture part(static_cast<uint64_t>(random.between(1, 15)),
                         Rect(x, y, random.between(x + 1, 70), random.between(y + 1, 90)));
            (*function)(&part.image);
            ASSERT_TRUE(noError());
            const float* found = part.floats.data();
            for (int64_t row = part.image.bounds.y0; row < part.image.bounds.y1; ++row)
                for (int64_t column = part.image.bounds.x0; column < part.image.bounds.x1; ++column)
                    for (int c = 0; c < 4; ++c)
                        if (part.image.channels & (uint64_t{1} << c))
                        {
                            ASSERT_TRUE(sameFloat(*found++, whole.at(column, row)[c]))
                                << format.extension;
                        }
        }
    }
}

TEST_F(PictureFiles, AreTheSameToManyThreads)
{
    const auto work = [&](int number) {
        Random random(9);
        Picture written(s_rgba, Rect(0, 0, 60, 40));
        for (float& value : written.floats)
            value = static_cast<float>(random.real(0, 1));
        std::vector<std::vector<float>> found;
        for (const Format& format : s_lossless)
        {
            const std::string name = path(std::to_string(number) + "." + format.extension);
            write(name, written, optionsOf(format));
            found.push_back(read(name).floats);
        }
        return found;
    };
    std::vector<std::future<std::vector<std::vector<float>>>> others;
    for (int number = 1; number <= 4; ++number)
        others.push_back(std::async(std::launch::async, work, number));
    const auto mine = work(0);
    for (auto& other : others)
        EXPECT_EQ(other.get(), mine);
}

TEST_F(PictureFiles, SayWhetherTheirRowsCanBeHadInAnyOrder)
{
    const Picture picture(s_rgb, Rect(0, 0, 9, 100));
    for (const auto& [name, any] : std::map<std::string, bool>{{"a.dpx", true},
                                                               {"a.tif", true},
                                                               {"a.bmp", true},
                                                               {"a.png", false},
                                                               {"a.jpg", false},
                                                               {"a.hdr", false}})
    {
        write(path(name), picture);
        EXPECT_EQ(describe(path(name)).isScanlineReadable, any) << name;
        EXPECT_EQ(describe(path(name)).displayRect, Rect(0, 0, 9, 100));
    }
}

TEST_F(PictureFiles, HoldTheDisplayWindowOrTheirBoundsAlone)
{
    Picture part(s_rgb, Rect(2, 1, 4, 3));
    part.floats.assign(12, 1.0f);
    OutputImageOptions options;
    options.displayWindow = Rect(0, 0, 5, 3);
    options.comment = "from the left";
    options.metadata["ozk:renderer"] = "Lantern 7";
    write(path("a.png"), part, options);
    Picture found = read(path("a.png"));
    ASSERT_EQ(found.image.bounds, Rect(0, 0, 5, 3));
    for (int64_t y = 0; y < 3; ++y)
        for (int64_t x = 0; x < 5; ++x)
            EXPECT_EQ(found.at(x, y)[0], x >= 2 && x < 4 && y >= 1 ? 1.0f : 0.0f);
    const std::string bytes = contentsOf(path("a.png"));
    EXPECT_NE(bytes.find(std::string("Comment\0from the left", 21)), std::string::npos);
    EXPECT_NE(bytes.find(std::string("ozk:renderer\0Lantern 7", 22)), std::string::npos);

    options.cropped = true;
    write(path("a.tif"), part, options);
    EXPECT_EQ(describe(path("a.tif")).displayRect, Rect(0, 0, 2, 2));
    EXPECT_NE(contentsOf(path("a.tif")).find("from the left"), std::string::npos);
}

TEST_F(PictureFiles, AreTheSameWrittenInBands)
{
    Random random(3);
    Picture whole(s_rgba, Rect(0, 0, 50, 301));
    for (float& value : whole.floats)
        value = static_cast<float>(random.real(0, 1));
    for (const Format& format : s_lossless)
    {
        const std::string name = path(std::string("a.") + format.extension);
        const std::string banded = path(std::string("b.") + format.extension);
        OutputImageOptions options = optionsOf(format);
        options.channels = s_rgba;
        options.metadata["DateTime"] = "2001:02:03 04:05:06";
        write(name, whole, options);
        const auto function =
            createWriteImageFunction(banded.c_str(), "", options, whole.image.bounds);
        ASSERT_TRUE(function);
        for (int64_t top = 301; top > 0;)
        {
            const int64_t bottom = std::max<int64_t>(0, top - random.between(1, 90));
            Image band = whole.image;
            band.bounds = Rect(0, bottom, 50, top);
            band.pixelPtr = whole.at(0, bottom);
            (*function)(&band);
            top = bottom;
        }
        function->finish();
        ASSERT_TRUE(noError());
        EXPECT_EQ(read(name).floats, read(banded).floats) << format.extension;
    }
}

TEST_F(PictureFiles, OfTheKindsThatWereMadeElsewhere)
{
    const char* const folder = std::getenv("QUILT_TEST_DATA");
    if (!folder)
        GTEST_SKIP() << "QUILT_TEST_DATA names no folder of pictures";
    const auto in = [&](const char* name) { return std::string(folder) + "/" + name; };
    EXPECT_EQ(describe(in("rotated.jpg")).displayRect, Rect(0, 0, 180, 320));
    EXPECT_EQ(describe(in("photo.jpg")).displayRect, Rect(0, 0, 320, 180));
    Picture grey = read(in("grey.png"));
    EXPECT_EQ(grey.at(50, 20)[0], grey.at(50, 20)[2]);
    EXPECT_EQ(grey.at(50, 20)[3], 1.0f);
    // One picture in sixteen bits and in ten.
    Picture wide = read(in("display16.png")), scan = read(in("scan10.dpx"));
    for (int64_t y = 0; y < 180; y += 7)
        for (int64_t x = 0; x < 320; x += 5)
            for (int c = 0; c < 3; ++c)
                ASSERT_NEAR(wide.at(x, y)[c], scan.at(x, y)[c], 1.0 / 1023);
    for (const char* name : {"float.tif", "light.hdr", "game.tga", "display8.png"})
        EXPECT_FALSE(read(in(name)).floats.empty()) << name;
}

}
