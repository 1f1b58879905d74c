#include <EMULSION/ImageFile.h>

#include <cstdlib>
#include <vector>

#include "emulsion/TestImage.h"

using namespace EMULSION;
using namespace EmulsionTest;

// Pictures that other programs have made, in the folder that QUILT_TEST_DATA names.
namespace
{

class FileData : public testing::Test
{
protected:
    void SetUp() override
    {
        const char* const folder = std::getenv("QUILT_TEST_DATA");
        if (!folder)
            GTEST_SKIP() << "QUILT_TEST_DATA names no folder of pictures";
        m_folder = folder;
    }

    std::string path(const std::string& name) const { return m_folder + "/" + name; }

    // All channels of the picture over its data region.
    std::vector<float> pixels(const std::string& name) const
    {
        ImageDescription description;
        ReadImageDescription(&description, path(name).c_str());
        std::vector<float> floats;
        const Rect bounds = description.dataRegion.getBounds();
        Image image;
        image.channels = description.channels;
        image.bounds = bounds;
        image.rowBytes = static_cast<uint64_t>(std::popcount(image.channels) * bounds.width()) * 4;
        floats.resize(image.rowBytes / 4 * static_cast<size_t>(bounds.height()));
        image.pixelPtr = floats.data();
        if (const auto function = createReadImageFunction(path(name).c_str(), {}))
            (*function)(&image);
        EXPECT_EQ(GetError(), ERROR_NONE) << GetErrorMessage();
        ClearError();
        return floats;
    }

    void expectFailure(const std::string& name, Error code, const std::string& text) const
    {
        ImageDescription description;
        ReadImageDescription(&description, path(name).c_str());
        expectError(code, "\"" + path(name) + "\" failed: " + text);
    }

    std::string m_folder;
};

}

TEST_F(FileData, IsDescribedAsItIs)
{
    struct Case
    {
        const char* name;
        uint64_t channels;
        Rect data, display;
        bool isTiled = false;
        size_t levels = 0;
    };
    const Rect whole(0, 0, 320, 180), small(0, 0, 160, 90);
    for (const Case& test :
         std::vector<Case>{{"plate-half-zip.exr", 15, whole, whole},
                           {"plate-float-windows.exr", 15, Rect(-20, 60, 140, 150), whole},
                           {"overscan-half-piz.exr", 15, Rect(-20, -12, 340, 192), whole},
                           {"tiled-half.exr", 15, whole, whole, true, 1},
                           {"mipmap.exr", 15, whole, whole, true, 9},
                           {"layers.exr", 15, whole, whole},
                           {"parts.exr", 15, whole, whole},
                           {"parts.exr?part=second", 15, whole, whole},
                           {"rgb-noalpha.exr", 15, whole, whole},
                           {"matte.exr", 8, whole, whole},
                           {"depth.exr", 1, whole, whole},
                           {"luminance-chroma.exr", 15, small, small},
                           {"truncated.exr", 15, whole, whole}})
    {
        SCOPED_TRACE(test.name);
        ImageDescription description;
        ReadImageDescription(&description, path(test.name).c_str());
        EXPECT_EQ(GetError(), ERROR_NONE) << GetErrorMessage();
        ClearError();
        EXPECT_EQ(description.channels, test.channels);
        EXPECT_EQ(description.dataRegion.getBounds(), test.data);
        EXPECT_EQ(description.displayRect, test.display);
        EXPECT_EQ(description.isTiled, test.isTiled);
        EXPECT_EQ(description.isScanlineReadable, !test.isTiled);
        EXPECT_EQ(description.levels.size(), test.levels);
    }
    ImageDescription deep;
    ReadImageDescription(&deep, path("deep.exr").c_str());
    EXPECT_TRUE(deep.isDeepShadow && !deep.isVolumeShadow && !deep.isScanlineReadable);
    expectFailure("empty.exr", ERROR_FILE_FORMAT, "the file is empty.");
    expectFailure("foreign.exr", ERROR_FILE_FORMAT, "this is no image file");
    expectFailure("claims-a-million.exr", ERROR_IMAGE_TOO_LARGE, "it claims 1048576 x 1048576");
}

TEST_F(FileData, HoldsTheSamePictureInEveryForm)
{
    const std::vector<float> plate = pixels("plate-half-zip.exr");
    EXPECT_TRUE(sameBits(pixels("tiled-half.exr"), plate));
    EXPECT_TRUE(sameBits(pixels("mipmap.exr"), plate));
    EXPECT_TRUE(sameBits(pixels("parts.exr"), plate));
    EXPECT_FALSE(sameBits(pixels("parts.exr?part=second"), plate));
    const std::vector<float> opaque = pixels("rgb-noalpha.exr"), depth = pixels("depth.exr");
    for (size_t i = 3; i < opaque.size(); i += 4)
        ASSERT_EQ(opaque[i], 1);
    EXPECT_EQ(depth[size_t{179} * 320], 1); // the upper left
    EXPECT_EQ(depth[319], 100);             // the lower right
}

TEST_F(FileData, IsMissingWhereAFileWasCutShort)
{
    std::vector<float> floats(size_t{320} * 180 * 4, -7);
    Image image;
    image.channels = 15;
    image.bounds = Rect(0, 0, 320, 180);
    image.rowBytes = uint64_t{320} * 16;
    image.pixelPtr = floats.data();
    const auto function = createReadImageFunction(path("truncated.exr").c_str(), {});
    ASSERT_TRUE(function) << GetErrorMessage();
    (*function)(&image);
    expectError(ERROR_FILE_FORMAT, path("truncated.exr") + "\" failed: the file ends at byte");
    EXPECT_EQ(floats[0], 0);
    EXPECT_NE(floats[(size_t{179} * 320 + 160) * 4], 0);
}
