#pragma once

#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <EMULSION/Channels.h>
#include <EMULSION/Error.h>
#include <EMULSION/ImageFile.h>
#include <EMULSION/WriteImage.h>

#include <gtest/gtest.h>
#include <unistd.h>

#include "support/Random.h"

namespace EmulsionTest
{

/// A folder of the test's own.
class FileTest : public testing::Test
{
protected:
    FileTest()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "emulsion-XXXXXX").string();
        m_folder = ::mkdtemp(pattern.data());
    }
    ~FileTest() override { std::filesystem::remove_all(m_folder); }

    std::string path(const std::string& name) const { return (m_folder / name).string(); }
    size_t filesInFolder() const
    {
        const std::filesystem::directory_iterator files(m_folder);
        return static_cast<size_t>(std::distance(begin(files), end(files)));
    }

    std::filesystem::path m_folder;
};

inline std::string contentsOf(const std::string& path)
{
    std::ifstream stream(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(stream), {});
}

inline void setContents(const std::string& path, const std::string& bytes)
{
    // A new file: some file systems write one that replaces its contents to the disk at once.
    std::filesystem::remove(path);
    std::ofstream(path, std::ios::binary)
        .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

/// An image that owns its pixels.
struct Picture
{
    Picture(uint64_t channels, const UTIL::Rect& bounds)
    {
        image.channels = channels;
        image.bounds = bounds;
        floats.resize(static_cast<size_t>(bounds.width() * bounds.height() * count()));
        image.rowBytes = static_cast<uint64_t>(bounds.width() * count()) * sizeof(float);
        image.pixelPtr = floats.data();
    }
    Picture(Picture&&) = default; // a moved vector keeps its place
    Picture& operator=(Picture&&) = default;

    int64_t count() const { return std::popcount(image.channels); }
    float* at(int64_t x, int64_t y)
    {
        const UTIL::Rect& bounds = image.bounds;
        return floats.data() + ((y - bounds.y0) * bounds.width() + x - bounds.x0) * count();
    }

    EMULSION::Image image;
    std::vector<float> floats;
};

inline bool noError()
{
    const bool none = EMULSION::GetError() == EMULSION::ERROR_NONE;
    EXPECT_TRUE(none) << EMULSION::GetErrorMessage();
    EMULSION::ClearError();
    return none;
}

inline void write(const std::string& path, const Picture& picture,
                  const EMULSION::OutputImageOptions& options = {})
{
    EMULSION::WriteImage(path.c_str(), &picture.image, "", options);
    EXPECT_TRUE(noError());
}

inline EMULSION::ImageDescription describe(const std::string& path)
{
    EMULSION::ImageDescription description;
    EMULSION::ReadImageDescription(&description, path.c_str());
    EXPECT_TRUE(noError()) << path;
    return description;
}

/// All of the file, in the channels that it has.
inline Picture read(const std::string& path)
{
    const EMULSION::ImageDescription description = describe(path);
    Picture picture(description.channels, description.dataRegion.getBounds());
    EMULSION::ReadImage(&picture.image, path.c_str(), "", {});
    return picture;
}

/// Numbers in the byte order of x86, for files that a test puts together by hand.
class Bytes
{
public:
    template <class T>
    Bytes& add(T value)
    {
        m_bytes.append(reinterpret_cast<const char*>(&value), sizeof(value));
        return *this;
    }
    Bytes& add(const std::string& bytes)
    {
        m_bytes += bytes;
        return *this;
    }
    const std::string& text() const { return m_bytes; }

private:
    std::string m_bytes;
};

/// A TIFF file of one strip without compression.
struct Tiff
{
    uint32_t width, height;
    uint16_t samples = 3, bits = 8;
    std::string pixels;
    uint16_t orientation = 1;
    int extra = -1; ///< what the last sample is: 1 associated alpha, 2 unassociated

    std::string bytes() const
    {
        const uint16_t tags = extra < 0 ? 11 : 12;
        const uint32_t bitsPlace = 8 + 2 + 12U * tags + 4, pixelsPlace = bitsPlace + 8;
        Bytes file;
        file.add(std::string("II*\0", 4)).add(uint32_t{8}).add(tags);
        const auto tag = [&](uint16_t number, uint16_t type, uint32_t count, uint32_t value) {
            file.add(number).add(type).add(count).add(value);
        };
        tag(256, 4, 1, width);
        tag(257, 4, 1, height);
        tag(258, 3, samples, samples > 2 ? bitsPlace : bits | static_cast<uint32_t>(bits) << 16);
        tag(259, 3, 1, 1); // no compression
        tag(262, 3, 1, samples > 2 ? 2 : 1);
        tag(273, 4, 1, pixelsPlace);
        tag(274, 3, 1, orientation);
        tag(277, 3, 1, samples);
        tag(278, 4, 1, height);
        tag(279, 4, 1, static_cast<uint32_t>(pixels.size()));
        tag(284, 3, 1, 1);
        if (extra >= 0)
            tag(338, 3, 1, static_cast<uint32_t>(extra));
        file.add(uint32_t{0}).add(bits).add(bits).add(bits).add(bits);
        return file.add(pixels).text();
    }
};

}
