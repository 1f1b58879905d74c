#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <unistd.h>

#include <ImathBox.h>
#include <ImfCompression.h>
#include <ImfLineOrder.h>
#include <ImfPixelType.h>
#include <ImfTileDescription.h>

#include "emulsion/TestImage.h"

// OpenEXR files made and read by OpenEXR itself, to hold ours against.
namespace EmulsionTest
{

/// A folder of its own for every test, removed at its end.
class FilesTest : public testing::Test
{
protected:
    FilesTest()
    {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "emulsion-files-XXXXXX").string();
        m_folder = ::mkdtemp(pattern.data());
    }
    ~FilesTest() override { std::filesystem::remove_all(m_folder); }

    std::string path(const std::string& name) const { return (m_folder / name).string(); }

    /// Names in the folder, hidden ones too.
    std::vector<std::string> contents() const
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(m_folder))
            names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

    std::filesystem::path m_folder;
    Random m_random{1};
};

std::string bytesOf(const std::string& path);
void setBytes(const std::string& path, const std::string& bytes);

/// What a file is to be like.
struct ExrSpec
{
    struct Channel
    {
        std::string name;
        Imf::PixelType type = Imf::HALF;
        int sampling = 1; // in both directions
    };
    Imath::Box2i dataWindow, displayWindow;
    std::vector<Channel> channels;
    Imf::Compression compression = Imf::NO_COMPRESSION;
    Imf::LineOrder lineOrder = Imf::INCREASING_Y;
    bool tiled = false;
    Imf::TileDescription tiles;
    std::string part; // its name, when it is one of several
};

/// A picture of any kind.
ExrSpec anySpec(Random& random, int longestSide = 90);

/// The value of a channel, by its place in the spec, at a pixel of the file: a smooth picture with
/// noise and, for integers, no fraction.
double exrValue(const ExrSpec& spec, size_t channel, int x, int y);

/// Writes the parts, one or several; level 0 of a tiled part holds the values, others zeros.
void writeExr(const std::string& path, const std::vector<ExrSpec>& parts);

/// A deep picture of 4 x 3 pixels with Z and A, one sample each, and with the attribute
/// "volumeShadow" when it is a volume.
void writeDeepExr(const std::string& path, bool isVolume);

/// Level 0 of one part as OpenEXR reads it by itself: the channels by name, a float for each
/// pixel, rows from the top; a subsampled channel has the sample at or before each pixel.
using Planes = std::map<std::string, std::vector<float>>;
Planes readExr(const std::string& path, int part = 0);

/// Where a spec's windows lie in images.
UTIL::Rect dataRect(const ExrSpec& spec);
UTIL::Rect displayRect(const ExrSpec& spec);

/// The value of a plane at a pixel of an image, or nothing outside of the data window.
const float* planeAt(const ExrSpec& spec, const std::vector<float>& plane, int64_t x, int64_t y);

}
