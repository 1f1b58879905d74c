#include <EMULSION/ImageFile.h>
#include <EMULSION/Plumbing.h>

#include <sstream>

#include <ImfRgbaFile.h>
#include <ImfThreading.h>

#include "emulsion/ExrPictures.h"

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
        if (std::memcmp(&expected[i], &image.floats()[i], sizeof(float)) != 0)
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
