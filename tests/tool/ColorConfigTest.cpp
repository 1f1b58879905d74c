// The tool's own colour spaces.

#include <cmath>

#include <gtest/gtest.h>

#include <OpenColorIO/OpenColorIO.h>

#include "tool/Process.h"

namespace OCIO = OCIO_NAMESPACE;
using namespace ToolTest;

namespace
{

OCIO::ConstConfigRcPtr ownConfig()
{
    return OCIO::Config::CreateFromFile(QUILT_SOURCE_DIR "/tools/quilt/quilt.ocio");
}

float converted(const char* from, const char* to, float value)
{
    float pixel[3] = {value, value, value};
    ownConfig()->getProcessor(from, to)->getDefaultCPUProcessor()->applyRGB(pixel);
    return pixel[1];
}

}

TEST(OwnColorConfig, IsValidAndHasTheRoles)
{
    const OCIO::ConstConfigRcPtr config = ownConfig();
    EXPECT_NO_THROW(config->validate());
    EXPECT_TRUE(config->isStrictParsingEnabled());
    for (const char* role :
         {OCIO::ROLE_SCENE_LINEAR, OCIO::ROLE_COMPOSITING_LOG, OCIO::ROLE_DEFAULT, OCIO::ROLE_DATA})
        EXPECT_TRUE(config->hasRole(role)) << role;
    for (const char* space : {"lin_rec709", "ACEScg", "sRGB", "Rec.709", "camera_log", "raw"})
        EXPECT_NE(config->getColorSpace(space), nullptr) << space;
}

TEST(OwnColorConfig, ConvertsThereAndBack)
{
    const OCIO::ConstConfigRcPtr config = ownConfig();
    for (int i = 0; i < config->getNumColorSpaces(); ++i)
    {
        const char* const space = config->getColorSpaceNameByIndex(i);
        const auto there = config->getProcessor(OCIO::ROLE_SCENE_LINEAR, space);
        const auto back = config->getProcessor(space, OCIO::ROLE_SCENE_LINEAR);
        for (const float value :
             {-0.25f, -0.001f, 0.0f, 1e-4f, 0.003f, 0.0101f, 0.18f, 1.0f, 4.0f, 48.0f})
        {
            float pixel[3] = {value, value * 0.5f, value * 0.25f};
            there->getDefaultCPUProcessor()->applyRGB(pixel);
            back->getDefaultCPUProcessor()->applyRGB(pixel);
            const float tolerance = 1e-6f + std::abs(value) * 1e-4f;
            EXPECT_NEAR(pixel[0], value, tolerance) << space;
            EXPECT_NEAR(pixel[1], value * 0.5f, tolerance) << space;
            EXPECT_NEAR(pixel[2], value * 0.25f, tolerance) << space;
        }
    }
}

// Values that the standards give.
TEST(OwnColorConfig, FollowsTheStandards)
{
    EXPECT_NEAR(converted("lin_rec709", "sRGB", 0.2158605f), 0.5019608f, 1e-5);
    EXPECT_NEAR(converted("lin_rec709", "sRGB", 0.0031308f), 0.04045f, 1e-4);
    EXPECT_NEAR(converted("lin_rec709", "Rec.709", 0.018f), 0.081f, 5e-4);
    EXPECT_NEAR(converted("lin_rec709", "Rec.709", 0.18f), 0.4090f, 1e-3);
    EXPECT_NEAR(converted("lin_rec709", "camera_log", 0.18f), 0.3893f, 1e-3);
    EXPECT_NEAR(converted("lin_rec709", "ACEScg", 0.7f), 0.7f, 1e-5); // white stays white
}

TEST(OwnColorConfig, IsUsedUnlessAnotherIsNamed)
{
    const TestFolder folder;
    const std::string other = folder.write(
        "other.ocio", std::string("ocio_profile_version: 1\nroles: {scene_linear: mine, default: "
                                  "mine}\ndisplays:\n  d:\n    - !<View> {name: v, colorspace: "
                                  "mine}\ncolorspaces:\n  - !<ColorSpace> {name: mine}\n"));
    const Json nodes = {{"c", {{"task", "Color"}}},
                        {"s",
                         {{"task", "OCIOColorSpace"},
                          {"params", {{"dst", "sRGB"}}},
                          {"inputs", {{"input", "c"}}}}}};
    Json graph = graphOf(nodes);
    const std::string file = folder.write("g.json", graph);
    graph["settings"]["ocio"] = "other.ocio";
    const std::string withOther = folder.write("h.json", graph);
    const auto status = [&](const std::vector<std::string>& arguments,
                            const Environment& environment = {}) {
        const ProcessResult result = runTool(folder, arguments, environment);
        EXPECT_EQ(result.err.find("Color management disabled"), std::string::npos);
        return result.status;
    };
    EXPECT_EQ(status({"check", file}), 0);
    EXPECT_EQ(status({"check", file}, {{"OCIO", other}}), 1);
    EXPECT_EQ(status({"check", file, "--ocio", other}), 1);
    EXPECT_EQ(status({"check", withOther}), 1);
    EXPECT_EQ(status({"check", withOther, "--ocio", QUILT_SOURCE_DIR "/tools/quilt/quilt.ocio"}),
              0);
    EXPECT_EQ(status({"check", file, "--ocio", file}), 2);
}

TEST(ColorErrors, NameTheNodeAndTheRole)
{
    const TestFolder folder;
    const std::string other = folder.write(
        "other.ocio",
        std::string("ocio_profile_version: 1\nroles: {default: mine}\ndisplays:\n  d:\n"
                    "    - !<View> {name: v, colorspace: mine}\ncolorspaces:\n  - "
                    "!<ColorSpace> {name: mine}\n"));
    const Json nodes = {
        {"c", {{"task", "Color"}}},
        {"key",
         {{"task", "RangeKey"}, {"params", {{"useLog", false}}}, {"inputs", {{"input", "c"}}}}},
        {"tolog", {{"task", "LogConvert"}, {"inputs", {{"input", "c"}}}}},
        {"g", {{"task", "Ramp"}, {"params", {{"colorspace", "nowhere"}}}}}};
    const ProcessResult result =
        runTool(folder, {"check", folder.write("g.json", graphOf(nodes)), "--ocio", other});
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("tolog: an OpenColorIO error: "), std::string::npos) << result.err;
    EXPECT_NE(result.err.find("key: an OpenColorIO error: "), std::string::npos) << result.err;
    EXPECT_NE(result.err.find("has no role scene_linear"), std::string::npos) << result.err;
    EXPECT_NE(result.err.find("has no role compositing_log"), std::string::npos) << result.err;
    EXPECT_NE(result.err.find("g: an EMULSION error: "), std::string::npos) << result.err;
}
