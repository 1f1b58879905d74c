#include <EMULSION/ColorSpace.h>
#include <EMULSION/Error.h>
#include <EMULSION/Painters.h>
#include <EMULSION/Plumbing.h>
#include <QUILT/Exceptions.h>
#include <QUILT/ProceduralTasks.h>

#include <functional>
#include <limits>
#include <sstream>

#include <gtest/gtest.h>
#include <OpenColorIO/OpenColorIO.h>

#include "support/Render.h"

using namespace QUILT;
using namespace QUILT::Test;
using Imath::Color4f;
using Imath::V2f;
using UTIL::Rect;

namespace
{

const Rect s_rect(-3, 4, 30, 25);
const Color4f s_a(0.5f, 0.25f, 2, 1), s_b(0.125f, 3, 0.75f, 0.5f), s_c(1.5f, 0, 4, 0.25f),
    s_d(5, 6, 7, 8);

// The colours as a painter gets them.
using ToLinear = std::function<Color4f(const Color4f&)>;

struct Generator
{
    const char* name;
    std::function<ref_ptr<RenderTask>(const std::string& colorspace)> make;
    const char* identity; // without a colour space
    std::function<void(const EMULSION::Image* image, const ToLinear& toLinear)> paint;
    bool isGradient = true;
};

void PrintTo(const Generator& generator, std::ostream* stream)
{
    *stream << generator.name;
}

ref_ptr<RenderTask> ramp(int type, const Color4f& from, const Color4f& to,
                         const std::string& colorspace = "")
{
    return createRampTask("t", 0, s_rect, colorspace, {type, from, to});
}

RadialGradientParams radial(bool limitToEllipse, float aspect = 0.5f)
{
    return {s_a, s_b, 10.5f, 12, 3, 9, 0.75f, aspect, limitToEllipse};
}

ref_ptr<RenderTask> radialTask(const RadialGradientParams& params,
                               const std::string& colorspace = "")
{
    return createRadialGradientTask("t", 0, s_rect, colorspace, params);
}

ref_ptr<RenderTask> hueWheel(const HueWheelParams& params, const Rect& rect = s_rect)
{
    return createHueWheelTask("t", 0, rect, params);
}

const Generator s_generators[] = {
    {"Gradient",
     [](const std::string& space) {
         const Color4f colors[] = {s_a, s_b, s_c, s_d};
         return createGradientTask("t", 0, s_rect, space, colors);
     },
     "Gradient {(-3,4,30,25),,(-3,4,30,25),0.5,0.25,2,1,0.125,3,0.75,0.5,1.5,0,4,0.25,5,6,7,8,}",
     [](auto image, const ToLinear& toLinear) {
         const Color4f a = toLinear(s_a), b = toLinear(s_b), c = toLinear(s_c), d = toLinear(s_d);
         EMULSION::Gradient(image, s_rect, &a.r, &b.r, &c.r, &d.r);
     }},
    {"HorizontalRamp", [](const std::string& space) { return ramp(0, s_a, s_b, space); },
     "Ramp {(-3,4,30,25),,0.5,0.25,2,1,0.125,3,0.75,0.5,0,}",
     [](auto image, const ToLinear& toLinear) {
         EMULSION::HorizontalRamp(image, s_rect, toLinear(s_a), toLinear(s_b));
     }},
    {"VerticalRamp", [](const std::string& space) { return ramp(1, s_a, s_b, space); },
     "Ramp {(-3,4,30,25),,0.5,0.25,2,1,0.125,3,0.75,0.5,1,}",
     [](auto image, const ToLinear& toLinear) {
         EMULSION::VerticalRamp(image, s_rect, toLinear(s_a), toLinear(s_b));
     }},
    {"DiagonalRamp", [](const std::string& space) { return ramp(2, s_a, s_b, space); },
     "Ramp {(-3,4,30,25),,0.5,0.25,2,1,0.125,3,0.75,0.5,2,}",
     [](auto image, const ToLinear& toLinear) {
         EMULSION::DirectionalGradient(image, V2f(-3, 4), toLinear(s_a), V2f(30, 25), toLinear(s_b),
                                       0, nullptr, nullptr);
     }},
    {"OtherDiagonalRamp", [](const std::string& space) { return ramp(-7, s_a, s_b, space); },
     "Ramp {(-3,4,30,25),,0.5,0.25,2,1,0.125,3,0.75,0.5,-7,}",
     [](auto image, const ToLinear& toLinear) {
         EMULSION::DirectionalGradient(image, V2f(30, 4), toLinear(s_a), V2f(-3, 25), toLinear(s_b),
                                       0, nullptr, nullptr);
     }},
    {"RadialGradient", [](const std::string& space) { return radialTask(radial(false), space); },
     "RadialGradient {(-3,4,30,25),,,0.5,0.25,2,1,0.125,3,0.75,0.5,10.5,12,3,9,0.75,0.5,0,}",
     [](auto image, const ToLinear& toLinear) {
         EMULSION::RadialGradient(image, 10.5f, 12, 3, 6, 0.75f, 0.5f, toLinear(s_a), toLinear(s_b),
                                  true);
     }},
    {"RadialGradientInAnEllipse",
     [](const std::string& space) { return radialTask(radial(true), space); },
     "RadialGradient {(-3,4,30,25),,,0.5,0.25,2,1,0.125,3,0.75,0.5,10.5,12,3,9,0.75,0.5,1,}",
     [](auto image, const ToLinear& toLinear) {
         EMULSION::RadialGradient(image, 10.5f, 12, 3, 6, 0.75f, 0.5f, toLinear(s_a), toLinear(s_b),
                                  false);
     }},
    {"DirectionalGradient",
     [](const std::string& space) {
         return createDirectionalGradientTask(
             "t", 0, s_rect, space,
             {{1, 2}, s_a, {20, 24}, s_b, {{0.75f, s_d}, {0.5f, s_c}, {0.625f, s_a}}});
     },
     "DirectionalGradient {(-3,4,30,25),,0.5,0.25,2,1,1,2,0.125,3,0.75,0.5,20,24,"
     "0.5,1.5,0,4,0.25,0.625,0.5,0.25,2,1,0.75,5,6,7,8,}",
     [](auto image, const ToLinear& toLinear) {
         const float positions[] = {0.5f, 0.625f, 0.75f};
         const Color4f colors[] = {toLinear(s_c), toLinear(s_a), toLinear(s_d)};
         EMULSION::DirectionalGradient(image, V2f(1, 2), toLinear(s_a), V2f(20, 24), toLinear(s_b),
                                       3, positions, &colors[0].r);
     }},
    {"SuperGradient",
     [](const std::string& space) {
         return createSuperGradientTask(
             "t", 0, s_rect, space,
             {true, 65, UTIL::RBF_GAUSSIAN, {{1, 5, s_a}, {20, 6, s_b}, {9, 21, s_d}}});
     },
     "SuperGradient {(-3,4,30,25),,2 [ 1 5 ]\n0.5,0.25,2,1,2 [ 20 6 ]\n0.125,3,0.75,0.5,"
     "2 [ 9 21 ]\n5,6,7,8,1,3,65,}",
     [](auto image, const ToLinear& toLinear) {
         const float positions[] = {1, 5, 20, 6, 9, 21};
         const Color4f colors[] = {toLinear(s_a), toLinear(s_b), toLinear(s_d)};
         EMULSION::SuperGradient(image, 3, positions, &colors[0].r, true, UTIL::RBF_GAUSSIAN, 65);
     }},
    {"Checkerboard",
     [](const std::string&) {
         return createCheckerboardTask("t", 0, s_rect, s_a, s_b, V2f(2.5f, 4));
     },
     "Checkerboard {(-3,4,30,25),0.5,0.25,2,1,0.125,3,0.75,0.5,2.5,4,}",
     [](auto image, const ToLinear&) {
         EMULSION::Checkerboard(image, s_a, s_b, V2f(2.5f, 4), V2f(-3, 4));
     },
     false},
    {"Bars", [](const std::string&) { return createBarsTask("t", 0, s_rect, true); },
     "Bars {(-3,4,30,25),1,}",
     [](auto image, const ToLinear&) {
         const float rect[] = {-3, 4, 30, 25};
         EMULSION::Bars(image, rect, true);
     },
     false},
    {"HueWheel",
     [](const std::string&) {
         return hueWheel({10, 11.5f, 9, 1.25f, 0.125f, 0.75f, 2, 30});
     },
     "HueWheel {(-3,4,30,25),0.125,0.75,2,30,10,11.5,9,1.25,}",
     [](auto image, const ToLinear&) {
         EMULSION::HueWheel(image, 10, 11.5f, 9, 1.25f, 0.125f, 0.75f, 2, 30);
     },
     false},
};

// Besides the linear space, one that makes each channel of the others and then changes all.
OCIO_NAMESPACE::ConstConfigRcPtr configWithPower(const std::string& power)
{
    std::istringstream stream(R"(
ocio_profile_version: 2
roles: {default: linear, scene_linear: linear}
file_rules: [!<Rule> {name: Default, colorspace: default}]
displays: {screen: [!<View> {name: plain, colorspace: linear}]}
colorspaces:
  - !<ColorSpace> {name: linear}
  - !<ColorSpace>
    name: mixed
    to_scene_reference: !<GroupTransform>
      children:
        - !<MatrixTransform> {matrix: [0.5, 0.25, 0, 0, 0.125, 0.5, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1]}
        - !<ExponentTransform> {value: [)" +
                              power + ", 1, 1, 1]}\n");
    return OCIO_NAMESPACE::Config::CreateFromStream(stream);
}

class GeneratorTest : public testing::Test
{
protected:
    GeneratorTest() : m_before(OCIO_NAMESPACE::GetCurrentConfig())
    {
        OCIO_NAMESPACE::SetCurrentConfig(configWithPower("2"));
    }
    ~GeneratorTest() override
    {
        OCIO_NAMESPACE::SetCurrentConfig(m_before);
        RenderManager::ClearRenderTaskCache();
    }

private:
    const OCIO_NAMESPACE::ConstConfigRcPtr m_before;
};

class EveryGenerator : public GeneratorTest, public testing::WithParamInterface<Generator>
{};

// What the task makes of a rectangle when that many channels are wanted.
Picture rendered(const ref_ptr<RenderTask>& task, const Rect& rect, unsigned long channels)
{
    Picture picture(rect, channels);
    const EMULSION::Image image = picture.image();
    task->renderRect(&image, std::vector<const EMULSION::Image*>());
    return picture;
}

Rect dataBox(const ref_ptr<RenderTask>& task)
{
    UTIL::Region region;
    task->getOutputDescription(nullptr, &region);
    return region.getBounds();
}

}

TEST_P(EveryGenerator, WritesItsIdentityInOrder)
{
    EXPECT_EQ(GetParam().make("")->getCacheID(), compressCacheID(GetParam().identity));
}

TEST_P(EveryGenerator, PaintsWhatItsParametersSayWhicheverChannelsAreWanted)
{
    const Rect part(-5, 5, 21, 18);
    for (const std::string space : {"", "mixed"})
    {
        Picture whole(part, 15);
        const EMULSION::Image image = whole.image();
        GetParam().paint(&image, [&](const Color4f& color) {
            return EMULSION::ConvertColorspaceToLinear(color, space);
        });
        if (GetParam().isGradient)
            EMULSION::ConvertColorspaceToLinear(&image, &image, space);

        const ref_ptr<RenderTask> task = GetParam().make(space);
        task->preRender();
        for (const unsigned long channels : {15ul, 7ul, 8ul, 2ul, 13ul})
        {
            Picture expected(part, channels);
            const EMULSION::Image view = expected.image();
            EMULSION::Copy(&view, &image);
            EXPECT_EQ(difference(expected, rendered(task, part, channels)), "")
                << "space \"" << space << "\", channels " << channels;
        }
    }
    EXPECT_EQ(EMULSION::GetError(), EMULSION::ERROR_NONE) << EMULSION::GetErrorMessage();
}

TEST_P(EveryGenerator, KeepsTheColorConfigurationInItsIdentity)
{
    const auto identities = [](const std::string& space) {
        OCIO_NAMESPACE::SetCurrentConfig(configWithPower("2"));
        const std::string first = GetParam().make(space)->getCacheID();
        OCIO_NAMESPACE::SetCurrentConfig(configWithPower("3"));
        return std::pair(first, GetParam().make(space)->getCacheID());
    };
    const auto [linear, otherLinear] = identities("");
    EXPECT_EQ(linear, otherLinear);
    const auto [mixed, otherMixed] = identities("linear");
    EXPECT_EQ(mixed != otherMixed, GetParam().isGradient);
    EXPECT_EQ(mixed != linear, GetParam().isGradient);
}

TEST_P(EveryGenerator, LeavesTheErrorOfAnUnknownColorSpace)
{
    const ref_ptr<RenderTask> task = GetParam().make("nowhere");
    const auto expected = GetParam().isGradient ? EMULSION::ERROR_COLORSPACE : EMULSION::ERROR_NONE;
    EXPECT_EQ(EMULSION::GetError(), expected);
    EMULSION::ClearError();
    task->preRender();
    rendered(task, s_rect, 15);
    EXPECT_EQ(EMULSION::GetError(), expected);
    EMULSION::ClearError();
}

INSTANTIATE_TEST_SUITE_P(All, EveryGenerator, testing::ValuesIn(s_generators),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(GeneratorTest, ARampDefinesTheChannelsThatAreNotZeroAtBothEnds)
{
    const auto channelsOf = [](const Color4f& from, const Color4f& to, const char* space = "") {
        unsigned long channels = 99;
        ramp(0, from, to, space)->getOutputDescription(&channels, nullptr);
        return channels;
    };
    EXPECT_EQ(channelsOf({0, 0, 0, 0}, {1, 1, 1, 0}), 7u);
    EXPECT_EQ(channelsOf({0, 0, 0, 1}, {1, 1, 1, 0}), 15u);
    EXPECT_EQ(channelsOf({0, -1, 0, 0}, {0, 1, 0, std::numeric_limits<float>::quiet_NaN()}), 10u);
    EXPECT_EQ(channelsOf({0, 0, 0, 0}, {0, -0.0f, 0, 0}), 0u);
    EXPECT_EQ(channelsOf({0, 0, 0, 0}, {1, 0, 0, 0}, "mixed"), 3u); // of the converted colours
}

TEST_F(GeneratorTest, DataLieInTheRectangleOrInTheBoxOfTheEllipse)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float infinity = std::numeric_limits<float>::infinity();
    const auto box = [](float x, float y, float radius, float aspect) {
        const Rect wheel = dataBox(hueWheel({x, y, radius, aspect}, Rect()));
        const RadialGradientParams params{{}, {}, x, y, 99, radius, 0, aspect, true};
        EXPECT_EQ(dataBox(radialTask(params)), wheel);
        return wheel;
    };
    EXPECT_EQ(dataBox(radialTask(radial(false))), s_rect);
    EXPECT_EQ(dataBox(s_generators[0].make("")), s_rect);
    EXPECT_EQ(dataBox(createBarsTask("t", 0, Rect(5, 0, 5, 9), false)), Rect());
    EXPECT_EQ(box(0, 0, 10, 0.5f), Rect(-10, -5, 10, 5));
    EXPECT_EQ(box(0, 0, 10, 2), Rect(-5, -10, 5, 10));
    EXPECT_EQ(box(0.5f, -0.25f, 1, 1), Rect(-1, -2, 2, 1));
    EXPECT_EQ(box(7, 7, 0, 1), Rect());
    EXPECT_EQ(box(7, 7, 10, 0), Rect()); // flat, and on an edge between pixels
    EXPECT_EQ(box(7, 7, 10, -1), Rect());
    EXPECT_EQ(box(7, 7, nan, 1), Rect());
    EXPECT_EQ(box(nan, 7, 10, 1), Rect());
    EXPECT_EQ(box(infinity, 7, infinity, 1), Rect());
    const int64_t far = int64_t(1) << 61;
    EXPECT_EQ(box(0, 0, infinity, 1), Rect(-far, -far, far, far));
}

TEST_F(GeneratorTest, TilesOfAHueWheelJoin)
{
    RenderManager::SetPollPeriod(1000);
    RenderManager::setGlobalTileSize(7, 5);
    const ref_ptr<RenderTask> wheel = hueWheel({10, 11.5f, 9, 1.25f});
    const Picture tiled = render(wheel, Rect(-4, -4, 30, 30));
    EXPECT_EQ(difference(rendered(wheel, tiled.bounds, 15), tiled), "");
}

TEST(Empty, IsABackgroundColourAndNothingElse)
{
    const ref_ptr<RenderTask> task = createEmptyTask("empty", 0, Color4f(0.5f, 2, -1, 1));
    unsigned long channels = 15;
    UTIL::Region region(s_rect);
    task->getOutputDescription(&channels, &region);
    EXPECT_EQ(channels, 0u);
    EXPECT_TRUE(region.isEmpty());
    EXPECT_EQ(task->getBackgroundColor(), Color4f(0.5f, 2, -1, 1));
    EXPECT_EQ(task->getCacheID(), compressCacheID("Empty Task {0.5,2,-1,1,}"));
    try
    {
        task->renderRect(nullptr, std::vector<const EMULSION::Image*>());
        FAIL() << "it rendered";
    }
    catch (const RenderTaskRenderingException& error)
    {
        EXPECT_STREQ(error.what(), "EmptyTask was asked to render a rectangle.");
        EXPECT_EQ(error.errorCode(), -1);
    }
    RenderManager::ClearRenderTaskCache();
}
