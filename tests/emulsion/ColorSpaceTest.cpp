#include <EMULSION/ColorSpace.h>

#include <cmath>
#include <limits>
#include <sstream>

#include <OpenColorIO/OpenColorIO.h>

#include "emulsion/TestImage.h"

using namespace EMULSION;
using namespace EmulsionTest;
using Imath::Color4f;
using QUILT::Test::forEachRandomCase;

namespace
{

// Two spaces besides the linear one: swapped channels and a power.
const char* const s_config = R"(
ocio_profile_version: 2
roles: {default: linear, scene_linear: linear}
file_rules:
  - !<Rule> {name: Default, colorspace: default}
displays:
  screen:
    - !<View> {name: plain, colorspace: linear}
colorspaces:
  - !<ColorSpace>
    name: linear
  - !<ColorSpace>
    name: swapped
    to_scene_reference: !<MatrixTransform> {matrix: [0, 2, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1]}
  - !<ColorSpace>
    name: squared
    to_scene_reference: !<ExponentTransform> {value: [2, 2, 2, 1]}
)";

class ColorSpace : public testing::Test
{
protected:
    ColorSpace() : m_before(OCIO_NAMESPACE::GetCurrentConfig())
    {
        std::istringstream stream(s_config);
        OCIO_NAMESPACE::SetCurrentConfig(OCIO_NAMESPACE::Config::CreateFromStream(stream));
    }
    ~ColorSpace() override { OCIO_NAMESPACE::SetCurrentConfig(m_before); }

private:
    const OCIO_NAMESPACE::ConstConfigRcPtr m_before;
};

float channelOf(const TestImage& image, int64_t x, int64_t y, int channel)
{
    const int64_t place = image.find(x, y, uint64_t(1) << channel);
    return place < 0 ? 0.0f : image.floats()[static_cast<size_t>(place)];
}

}

TEST_F(ColorSpace, ConvertsColoursAndKeepsAlpha)
{
    EXPECT_EQ(ConvertColorspaceToLinear(Color4f(1, 2, 3, 4), "swapped"), Color4f(4, 1, 3, 4));
    EXPECT_EQ(ConvertColorspaceToColorspace(Color4f(4, 1, 3, 4), "scene_linear", "swapped"),
              Color4f(1, 2, 3, 4));
    const Color4f squared = ConvertColorspaceToLinear(Color4f(3, 0.5f, 1, -7), "squared");
    EXPECT_NEAR(squared.r, 9, 1e-5);
    EXPECT_NEAR(squared.g, 0.25, 1e-6);
    EXPECT_EQ(squared.a, -7);
    EXPECT_EQ(GetError(), ERROR_NONE);
}

TEST_F(ColorSpace, GivesTheSameBitsForAPixelWhereverItStands)
{
    forEachRandomCase(200, [](Random& random) {
        const std::string space = random.oneIn(3) ? "" : random.oneIn(2) ? "swapped" : "squared";
        const Rect bounds(-2, 5, random.between(-1, 40), 7);
        TestImage input(random, static_cast<uint64_t>(random.between(0, 15)), bounds);
        TestImage output(random, static_cast<uint64_t>(random.between(0, 15)), bounds);
        std::vector<float> expected = output.floats();
        for (int64_t y = bounds.y0; y < bounds.y1; ++y)
            for (int64_t x = bounds.x0; x < bounds.x1; ++x)
            {
                const Color4f color(channelOf(input, x, y, 0), channelOf(input, x, y, 1),
                                    channelOf(input, x, y, 2), channelOf(input, x, y, 3));
                const Color4f result =
                    space.empty() ? color : ConvertColorspaceToLinear(color, space);
                for (int channel = 0; channel < 4; ++channel)
                    if (const int64_t i = output.find(x, y, uint64_t(1) << channel); i >= 0)
                        expected[static_cast<size_t>(i)] = result[channel];
            }
        ConvertColorspaceToLinear(&output.image, &input.image, space);
        ASSERT_TRUE(sameBits(output.floats(), expected)) << '"' << space << '"';
    });
}

TEST_F(ColorSpace, LeavesWhatItCannotConvert)
{
    Random random(1);
    TestImage picture(random, 7, Rect(0, 0, 5, 5));
    const std::vector<float> before = picture.floats();
    ConvertColorspaceToLinear(&picture.image, &picture.image, "camera of tomorrow");
    expectError(ERROR_COLORSPACE, "camera of tomorrow");
    EXPECT_TRUE(sameBits(picture.floats(), before));
    EXPECT_EQ(ConvertColorspaceToColorspace(Color4f(1, 2, 3, 4), "linear", "paper"),
              Color4f(1, 2, 3, 4));
    expectError(ERROR_COLORSPACE, "paper");
}
