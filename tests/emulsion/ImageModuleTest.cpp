#include <cstdlib>

#include <dlfcn.h>
#include <fcntl.h>

#include "emulsion/PictureFiles.h"
#include "files/ImageModuleInterface.h"
#include "support/FileSizeLimit.h"

using namespace EMULSION;
using namespace EmulsionTest;
using QUILT::Test::Random;
using UTIL::Rect;

namespace
{

constexpr uint64_t s_rgba = ChannelRed | ChannelGreen | ChannelBlue | ChannelAlpha;
const char* const s_names[] = {"a.tif", "a.png", "a.jpg", "a.dpx",
                               "a.hdr", "a.tga", "a.bmp", "a.ppm"};

Picture noise(uint64_t channels, const Rect& bounds)
{
    Random random(11);
    Picture picture(channels, bounds);
    for (float& value : picture.floats)
        value = static_cast<float>(random.real(0, 1));
    return picture;
}

class ImageModule : public FileTest
{};

class DamagedFiles : public FileTest
{
protected:
    // What reading says: the pixels, or nothing and an error that names the file.
    static std::vector<float> tryToRead(const std::string& path)
    {
        ImageDescription description;
        ReadImageDescription(&description, path.c_str());
        std::unique_ptr<ReadImageFunction> function;
        if (GetError() == ERROR_NONE)
            function = createReadImageFunction(path.c_str(), {});
        std::vector<float> found;
        if (function)
        {
            const Rect bounds = description.dataRegion.getBounds();
            if (bounds.width() * bounds.height() > 1000000)
                return found;
            Picture picture(description.channels, bounds);
            (*function)(&picture.image);
            if (GetError() == ERROR_NONE)
                found = std::move(picture.floats);
        }
        const Error error = GetError();
        EXPECT_EQ(error == ERROR_NONE, !found.empty()) << path;
        if (error != ERROR_NONE)
        {
            EXPECT_TRUE((error >= ERROR_FILE_READ && error <= ERROR_IMAGE_TOO_LARGE) ||
                        error == ERROR_OUT_OF_MEMORY)
                << GetErrorMessage();
            EXPECT_NE(GetErrorMessage().find(path), std::string::npos) << GetErrorMessage();
        }
        ClearError();
        return found;
    }
};

TEST_F(DamagedFiles, GiveTheirPixelsOrAnError)
{
    for (const char* const name : s_names)
    {
        write(path(name), noise(s_rgba, Rect(0, 0, 41, 30)));
        const std::string bytes = contentsOf(path(name));
        const std::vector<float> whole = tryToRead(path(name));
        size_t silent = 0;
        for (size_t size = 0; size < bytes.size(); size += size < 400 ? 7 : 97)
        {
            setContents(path(name), bytes.substr(0, size));
            const std::vector<float> found = tryToRead(path(name));
            silent += !found.empty() && found != whole;
        }
        EXPECT_EQ(silent, 0U) << name;
    }
}

TEST_F(DamagedFiles, DoNoHarmWhateverBitIsWrong)
{
    Random random(5);
    for (const char* const name : s_names)
    {
        write(path(name), noise(s_rgba, Rect(0, 0, 41, 30)));
        const std::string bytes = contentsOf(path(name));
        for (int i = 0; i < 60; ++i)
        {
            std::string damaged = bytes;
            const int64_t end = random.oneIn(2) ? 200 : static_cast<int64_t>(bytes.size()) - 1;
            damaged[static_cast<size_t>(random.between(8, end))] ^=
                static_cast<char>(1 << random.between(0, 7));
            setContents(path(name), damaged);
            tryToRead(path(name));
        }
    }
}

// One error of ReadImageDescription, and its text.
void expectRefusal(const std::string& path, Error code, const std::string& text)
{
    ImageDescription description;
    ReadImageDescription(&description, path.c_str());
    EXPECT_EQ(GetError(), code) << path << ": " << GetErrorMessage();
    EXPECT_NE(GetErrorMessage().find(text), std::string::npos) << GetErrorMessage();
    EXPECT_NE(GetErrorMessage().find(path), std::string::npos) << GetErrorMessage();
    ClearError();
}

TEST_F(DamagedFiles, AreRefusedForWhatTheyAre)
{
    setContents(path("empty.png"), "");
    expectRefusal(path("empty.png"), ERROR_FILE_FORMAT, "empty");
    setContents(path("foreign.tga"), "What a text is doing here, nobody knows.");
    expectRefusal(path("foreign.tga"), ERROR_FILE_FORMAT, "");
    setContents(path("a.png"), "GIF89a and so on");
    expectRefusal(path("a.png"), ERROR_FILE_UNSUPPORTED, "GIF");
    setContents(path("a.dng"), Tiff{1, 1, 3, 8, "abc"}.bytes());
    expectRefusal(path("a.dng"), ERROR_FILE_UNSUPPORTED, "camera raw");
    setContents(path("a.tif"), Tiff{1 << 20, 1 << 20, 4, 8, "abc"}.bytes());
    expectRefusal(path("a.tif"), ERROR_IMAGE_TOO_LARGE, "4194304.0 MB");
    setContents(path("b.tif"), Tiff{1 << 21, 1, 1, 8, "abc"}.bytes());
    expectRefusal(path("b.tif"), ERROR_IMAGE_TOO_LARGE, "2097152");
}

TEST_F(DamagedFiles, AreNotBelievedWhereALibraryWouldBelieveThem)
{
    write(path("a.dpx"), noise(s_rgba, Rect(0, 0, 5, 5)));
    std::string dpx = contentsOf(path("a.dpx"));
    dpx.replace(32, 4, "\x70\x00\x00\x70", 4); // user data, whatever the order of bytes
    setContents(path("a.dpx"), dpx);
    expectRefusal(path("a.dpx"), ERROR_FILE_FORMAT, "user data");
    const auto psd = [](char channels, char colours) {
        return std::string("8BPS\0\1\0\0\0\0\0\0\0", 13) + channels +
               std::string("\0\0\0\1\0\0\0\1\0\x08\0\x03", 12) + colours + std::string(14, '\0');
    };
    setContents(path("a.psd"), psd(3, 0));
    EXPECT_EQ(describe(path("a.psd")).channelNames.size(), 3U);
    setContents(path("a.psd"), psd(2, 0));
    expectRefusal(path("a.psd"), ERROR_FILE_FORMAT, "channels");
    setContents(path("a.psd"), psd(3, 0x70));
    expectRefusal(path("a.psd"), ERROR_FILE_FORMAT, "1879048192 bytes");
    // None of this has taken much memory.
    rusage usage = {};
    ::getrusage(RUSAGE_SELF, &usage);
    EXPECT_LT(usage.ru_maxrss, 1 << 20) << "KiB";
}

TEST_F(ImageModule, RefusesToWriteWhatAFormatCannotHold)
{
    const auto expectWriteError = [&](const char* name, const Picture& picture,
                                      const OutputImageOptions& options, Error code) {
        WriteImage(path(name).c_str(), &picture.image, "", options);
        EXPECT_EQ(GetError(), code) << name << ": " << GetErrorMessage();
        EXPECT_NE(GetErrorMessage().find(path(name)), std::string::npos);
        ClearError();
    };
    const Picture wide(ChannelRed, Rect(0, 0, 70000, 1));
    expectWriteError("a.jpg", wide, {}, ERROR_IMAGE_TOO_LARGE);
    expectWriteError("a.tga", wide, {}, ERROR_IMAGE_TOO_LARGE);
    const Picture small(ChannelRed, Rect(0, 0, 1, 1));
    OutputImageOptions options;
    options.displayWindow = Rect(0, 0, 60000, 60000);
    expectWriteError("a.dpx", small, options, ERROR_IMAGE_TOO_LARGE);
    options = {};
    options.type0Option = options.type5OptionA = options.type4Option = options.type2Option = 101;
    for (const char* const name : {"a.jpg", "a.png", "a.dpx", "a.tif"})
        expectWriteError(name, small, options, ERROR_INVALID_ARGUMENT);
    EXPECT_EQ(filesInFolder(), 0U);
}

TEST_F(ImageModule, LeavesTheOlderFileWhenTheDiskIsFull)
{
    const Picture picture = noise(s_rgba, Rect(0, 0, 300, 200));
    for (const char* const name : s_names)
        for (const uint64_t size : {100, 30000})
        {
            setContents(path(name), "older");
            {
                const QUILT::Test::FileSizeLimit limit(size);
                WriteImage(path(name).c_str(), &picture.image, "", {});
            }
            EXPECT_EQ(GetError(), ERROR_FILE_WRITE) << name << ": " << GetErrorMessage();
            ClearError();
            EXPECT_EQ(contentsOf(path(name)), "older");
        }
    EXPECT_EQ(filesInFolder(), std::size(s_names));
}

// Next to libEMULSION.so, which has ReadImage.
const Module::ImageModule& theModule()
{
    Dl_info info = {};
    ::dladdr(reinterpret_cast<const void*>(&ReadImage), &info);
    const auto file =
        std::filesystem::canonical(info.dli_fname).parent_path() / "emulsion/emulsion-io-images.so";
    void* const module = ::dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    EXPECT_TRUE(module) << ::dlerror();
    return *reinterpret_cast<Module::ImageModuleEntry>(
        ::dlsym(module, Module::imageModuleEntryName))();
}

TEST_F(ImageModule, DecodesTheRowsOfAPngOnceForManyBands)
{
    write(path("a.png"), noise(s_rgba, Rect(0, 0, 30, 500)));
    const int descriptor = ::open(path("a.png").c_str(), O_RDONLY | O_CLOEXEC);
    const Module::File file = {descriptor, "a.png", "png", 1};
    const Module::ImageModule& module = theModule();
    Module::PictureInfo info = {};
    Module::Fault fault = {};
    Module::Reader* const reader = module.open(&file, &info, &fault);
    ASSERT_TRUE(reader) << fault.text;
    EXPECT_EQ(module.rowsDecoded(reader), 0U);
    std::vector<float> floats(30 * 10 * 4);
    // From the bottom up, as tiles are rendered.
    for (int64_t y = 490; y >= 0; y -= 10)
    {
        const Module::PictureRequest request = {0, y,  30, y + 10, 4, {0, 1, 2, 3}, floats.data(),
                                                4, 120};
        ASSERT_TRUE(module.read(reader, &request, &fault)) << fault.text;
    }
    EXPECT_EQ(module.rowsDecoded(reader), 500U);
    module.close(reader);
    ::close(descriptor);
}

bool isLoaded(const std::string& library)
{
    return contentsOf("/proc/self/maps").find(library) != std::string::npos;
}

// Each of these runs in a process of its own, because modules stay. They end it themselves: to
// clean up is the parent's, whose folder has another name.
class StartOfAProcess : public FileTest
{
protected:
    StartOfAProcess() { testing::FLAGS_gtest_death_test_style = "threadsafe"; }

    [[noreturn]] static void endWith(bool good, const std::string& text)
    {
        std::fputs((text + "\n").c_str(), stderr);
        std::_Exit(good ? 0 : 1);
    }

    [[noreturn]] void readOpenExr() const
    {
        const std::string exr = path("a.exr"), png = path("a.png");
        const Picture picture = noise(s_rgba, Rect(0, 0, 20, 10));
        WriteImage(exr.c_str(), &picture.image, "", {});
        read(exr);
        const bool before = isLoaded("emulsion-io-") || isLoaded("libOpenImageIO");
        WriteImage(png.c_str(), &picture.image, "", {});
        const bool after = isLoaded("emulsion-io-images.so") && isLoaded("libOpenImageIO");
        std::filesystem::remove_all(m_folder);
        endWith(!before && after, GetErrorMessage());
    }

    [[noreturn]] void describeWithoutModule() const
    {
        setContents(path("a.tif"), Tiff{1, 1, 3, 8, "abc"}.bytes());
        ::setenv("EMULSION_MODULE_PATH", m_folder.c_str(), 1);
        ImageDescription description;
        ReadImageDescription(&description, path("a.tif").c_str());
        const Error first = GetError();
        const std::string text = GetErrorMessage();
        ClearError();
        ::unsetenv("EMULSION_MODULE_PATH");
        ReadImageDescription(&description, path("a.tif").c_str());
        std::filesystem::remove_all(m_folder);
        endWith(first == ERROR_FILE_UNSUPPORTED && GetError() == ERROR_NONE, text);
    }
};

TEST_F(StartOfAProcess, LoadsNoModuleForOpenExr)
{
    EXPECT_EXIT(readOpenExr(), testing::ExitedWithCode(0), "");
}

TEST_F(StartOfAProcess, WithoutTheModuleSaysWhatBringsItAndFindsItLater)
{
    EXPECT_EXIT(describeWithoutModule(), testing::ExitedWithCode(0),
                "a.tif.*emulsion-io-images.so.*missing.*QUILT_WITH_IMAGES.*libopenimageio");
}

}
