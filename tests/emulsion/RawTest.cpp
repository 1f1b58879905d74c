#include <EMULSION/Plumbing.h>
#include <EMULSION/Raw.h>

#include <filesystem>
#include <fstream>

#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "emulsion/TestImage.h"
#include "support/FileSizeLimit.h"

using namespace EMULSION;
using namespace EmulsionTest;
using QUILT::Test::forEachRandomCase;

namespace fs = std::filesystem;

namespace
{

class Raw : public testing::Test
{
protected:
    Raw()
    {
        std::string pattern = (fs::temp_directory_path() / "emulsion-raw-XXXXXX").string();
        m_folder = ::mkdtemp(pattern.data());
        m_path = m_folder / "swap";
    }
    ~Raw() override
    {
        ::umount(m_folder.c_str()); // in case a test has left something there
        fs::remove_all(m_folder);
    }

    const char* path() const { return m_path.c_str(); }

    std::vector<char> contents() const
    {
        std::ifstream stream(m_path, std::ios::binary);
        return std::vector<char>(std::istreambuf_iterator<char>(stream), {});
    }
    void setContents(const std::vector<char>& bytes) const
    {
        std::ofstream(m_path, std::ios::binary)
            .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }

    fs::path m_folder, m_path;
    Random m_random{1};
};

// Writing to a full place fails with the reason in the text, and leaves no file.
void expectNoRoom(const fs::path& path, const Image& image, const std::string& reason)
{
    WriteRAW(path.c_str(), &image);
    expectError(ERROR_FILE_WRITE, reason);
    EXPECT_FALSE(fs::exists(path));
}

}

TEST_F(Raw, BringsThePixelsBackAndNothingElse)
{
    forEachRandomCase(300, [&](Random& random) {
        const int64_t x = random.between(-9, 9), y = random.between(0, 1) << 40;
        // Some exceed a piece of what is written at once, in one run or in many rows.
        const int64_t width = random.between(0, random.oneIn(20) ? 40000 : 30);
        const int64_t height = random.between(0, random.oneIn(20) ? 700 : 9) * (width < 100) + 2;
        const auto channels = static_cast<uint64_t>(random.between(0, 15));
        const TestImage written(random, channels, Rect(x, y, x + width, y + height));
        const TestImage read(random, channels, written.image.bounds);
        SCOPED_TRACE(testing::PrintToString(written.image));
        std::vector<float> expected = read.floats();
        for (int64_t row = y; row < y + height; ++row)
            for (int64_t column = x; column < x + width; ++column)
                for (uint64_t channel = 1; channel <= 8; channel *= 2)
                    if (const int64_t at = read.find(column, row, channel); at >= 0)
                        expected[static_cast<size_t>(at)] =
                            written
                                .floats()[static_cast<size_t>(written.find(column, row, channel))];
        WriteRAW(path(), &written.image);
        ReadRAW(&read.image, path());
        EXPECT_EQ(GetError(), ERROR_NONE) << GetErrorMessage();
        EXPECT_TRUE(sameBits(read.floats(), expected));
        fs::remove(m_path);
    });
}

TEST_F(Raw, FindsEveryDamage)
{
    const TestImage image(m_random, 7, Rect(0, 0, 21, 9));
    const TestImage read(m_random, 7, image.image.bounds);
    WriteRAW(path(), &image.image);
    const std::vector<char> sound = contents();
    ASSERT_EQ(sound.size(), 4096u + 21 * 9 * 12);

    const auto expectRefused = [&](const std::vector<char>& bytes) {
        setContents(bytes);
        ReadRAW(&read.image, path());
        expectError(ERROR_FILE_FORMAT, m_path.string());
    };
    for (size_t size = 0; size < sound.size(); size += 97)
        expectRefused(std::vector<char>(sound.begin(), sound.begin() + static_cast<long>(size)));
    for (size_t at = 0; at < sound.size(); at += at < 100 ? 1 : 13)
    {
        std::vector<char> damaged = sound;
        damaged[at] = static_cast<char>(damaged[at] ^ (1 << m_random.between(0, 7)));
        expectRefused(damaged);
    }
    std::vector<char> longer = sound;
    longer.push_back(0);
    expectRefused(longer);
    expectRefused(std::vector<char>(sound.size(), 'x'));
    setContents(sound);
    ReadRAW(&read.image, path());
    EXPECT_EQ(GetError(), ERROR_NONE) << GetErrorMessage();
}

TEST_F(Raw, RefusesAnImageOfAnotherFormOrPlace)
{
    const TestImage image(m_random, 7, Rect(0, 0, 20, 10));
    WriteRAW(path(), &image.image);
    for (const auto& [channels, bounds] : std::vector<std::pair<uint64_t, Rect>>{
             {11, Rect(0, 0, 20, 10)}, {7, Rect(0, 0, 10, 20)}, {7, Rect(1, 0, 21, 10)}})
    {
        const TestImage other(m_random, channels, bounds);
        const std::vector<float> before = other.floats();
        ReadRAW(&other.image, path());
        expectError(ERROR_FILE_FORMAT, "it holds the bounds (0,0,20,10) with the channel mask 7");
        EXPECT_TRUE(sameBits(other.floats(), before));
    }
}

TEST_F(Raw, TouchesNoFileOfSomebodyElse)
{
    const TestImage image(m_random, 15, Rect(0, 0, 4, 4));
    setContents({'m', 'i', 'n', 'e'});
    WriteRAW(path(), &image.image);
    expectError(ERROR_FILE_OPEN, "\"" + m_path.string() + "\": creating it failed: File exists");
    EXPECT_EQ(contents(), (std::vector<char>{'m', 'i', 'n', 'e'}));

    const fs::path link = m_folder / "link";
    fs::create_symlink(m_folder / "elsewhere", link);
    WriteRAW(link.c_str(), &image.image);
    expectError(ERROR_FILE_OPEN, "File exists");

    fs::remove(m_path);
    WriteRAW(path(), &image.image);
    struct stat status = {};
    ASSERT_EQ(::stat(path(), &status), 0);
    const mode_t mask = ::umask(0);
    ::umask(mask);
    EXPECT_EQ(status.st_mode & 0777, 0600u & ~mask);
}

TEST_F(Raw, SaysWhyAPathDoesNotServe)
{
    const TestImage image(m_random, 15, Rect(0, 0, 4, 4));
    WriteRAW((m_path / "swap").c_str(), &image.image);
    expectError(ERROR_FILE_OPEN, "No such file or directory");
    ReadRAW(&image.image, path());
    expectError(ERROR_FILE_NOT_FOUND, m_path.string());
    ReadRAW(&image.image, m_folder.c_str());
    expectError(ERROR_FILE_FORMAT, "no regular file");
    setContents({'x'});
    ReadRAW(&image.image, (m_path / "swap").c_str());
    expectError(ERROR_FILE_OPEN, "Not a directory");
    WriteRAW(nullptr, &image.image);
    expectError(ERROR_INVALID_ARGUMENT, "WriteRAW: the path is null");
}

TEST_F(Raw, LeavesNoFileWhereThereIsNoRoom)
{
    const TestImage image(m_random, 15, Rect(0, 0, 300, 300));
    {
        const QUILT::Test::FileSizeLimit limit(256 << 10);
        expectNoRoom(m_path, image.image, "File too large");
    }
    WriteRAW(path(), &image.image);
    EXPECT_EQ(GetError(), ERROR_NONE) << GetErrorMessage();
}

TEST_F(Raw, LeavesNoFileOnAFullDisk)
{
    if (::geteuid() != 0 || ::mount("tmpfs", m_folder.c_str(), "tmpfs", 0, "size=1m") != 0)
        GTEST_SKIP() << "no permission to mount a small file system";
    const TestImage large(m_random, 15, Rect(0, 0, 300, 300));
    const TestImage fitting(m_random, 15, Rect(0, 0, 100, 100));
    expectNoRoom(m_path, large.image, "reserving 1444096 bytes failed: No space left on device");
    WriteRAW(path(), &fitting.image);
    ReadRAW(&fitting.image, path());
    EXPECT_EQ(GetError(), ERROR_NONE) << GetErrorMessage();
    ::umount(m_folder.c_str());

    // This one cannot reserve: it takes the pixels up to the limit, and the last of them in part.
    ASSERT_EQ(::mount("ramfs", m_folder.c_str(), "ramfs", 0, nullptr), 0);
    {
        const QUILT::Test::FileSizeLimit limit(256 << 10);
        expectNoRoom(m_path, large.image, "writing at byte 262144 failed: File too large");
    }
    WriteRAW(path(), &large.image);
    ReadRAW(&large.image, path());
    EXPECT_EQ(GetError(), ERROR_NONE) << GetErrorMessage();
}
