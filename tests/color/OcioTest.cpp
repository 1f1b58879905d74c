#include <EMULSION/ApplyOCIO.h>
#include <EMULSION/ColorSpace.h>
#include <QUILT/ColorTasks.h>
#include <QUILT/Exceptions.h>
#include <QUILT/ProceduralTasks.h>

#include <stdexcept>

#include <gtest/gtest.h>

#include "support/ColorConfig.h"
#include "support/Render.h"
#include "support/Tasks.h"

using namespace QUILT;
using namespace QUILT::Test;
namespace OCIO = OCIO_NAMESPACE;
using UTIL::Rect;

namespace
{

class OcioTest : public testing::Test
{
protected:
    OcioTest()
    {
        OCIO::SetCurrentConfig(colorConfig());
        RenderManager::SetPollPeriod(1000);
    }
    ~OcioTest() override { RenderManager::ClearRenderTaskCache(); }

    const ref_ptr<RenderTask> m_pattern{
        new PatternTask("pattern", {Rect(-3, 0, 40, 20), 15, {0.25f, -0.5f, 1, 0.5f}, 3})};
};

}

TEST_F(OcioTest, ConvertsPixelsAndTheBackgroundAlike)
{
    const auto task = createOCIOColorSpaceTask("t", 0, "half", "log", m_pattern);
    const auto processor = OCIO::GetCurrentConfig()->getProcessor("half", "log");
    const Picture picture = render(task, Rect(-10, 0, 50, 20));
    for (int64_t y = 0; y < 20; ++y)
    {
        for (int64_t x = -10; x < 50; ++x)
        {
            Imath::Color4f pixel(0.25f, -0.5f, 1, 0.5f);
            if (x >= -3 && x < 40)
                pixel = {patternAt(x, y, 0, 3), patternAt(x, y, 1, 3), patternAt(x, y, 2, 3),
                         patternAt(x, y, 3, 3)};
            const Imath::Color4f expected = EMULSION::ApplyOCIO(pixel, processor);
            const float* const found = picture.at(x, y);
            ASSERT_EQ(Imath::Color4f(found[0], found[1], found[2], found[3]), expected);
        }
    }
}

TEST_F(OcioTest, ReadsColoursAndDefinesAlphaWhateverIsAsked)
{
    const ref_ptr<RenderTask> red(new PatternTask("red", {Rect(0, 0, 8, 8), 1}));
    unsigned long channels = 0;
    createOCIOColorSpaceTask("t", 0, "half", "log", red)->getOutputDescription(&channels, nullptr);
    EXPECT_EQ(channels, 9u);
}

TEST_F(OcioTest, TheIdentityIsThatOfTheOperations)
{
    const auto idOf = [&](const std::string& src, const std::string& dst) {
        return createOCIOColorSpaceTask("t", 0, src, dst, m_pattern)->getCacheID();
    };
    EXPECT_EQ(idOf("half", "linear"), idOf("half", OCIO::ROLE_SCENE_LINEAR));
    EXPECT_NE(idOf("half", "linear"), idOf("linear", "half"));
    EXPECT_EQ(createOCIOColorSpaceTask("t", 0, "half", "half", m_pattern), m_pattern);
    EXPECT_EQ(createLogConvertTask("t", 0, true, m_pattern)->getCacheID(), idOf("linear", "log"));
    const auto config = OCIO::GetCurrentConfig();
    EXPECT_EQ(createOCIOColorSpaceTask("t", 0, config, config->getCurrentContext(), "half", "log",
                                       m_pattern)
                  ->getCacheID(),
              idOf("half", "log"));
    const auto byProcessor =
        createOCIOProcessorTask("t", 0, config->getProcessor("half", "log"), m_pattern);
    EXPECT_EQ(byProcessor->getType(), "OCIOProcessor");
    EXPECT_NE(byProcessor->getCacheID(), idOf("half", "log"));
}

TEST_F(OcioTest, AnUnknownSpaceComesToLightWithTheDescription)
{
    const auto task = createOCIOColorSpaceTask("t", 0, "nowhere", "linear", m_pattern);
    EXPECT_THROW(task->getCacheID(), OCIO::Exception);
    EXPECT_THROW(createOCIOProcessorTask("t", 0, nullptr, m_pattern), RenderTaskRenderingException);
    EXPECT_THROW(createOCIOTransformTask("t", 0, nullptr, OCIO::TRANSFORM_DIR_FORWARD, m_pattern),
                 RenderTaskRenderingException);
}

TEST_F(OcioTest, ProcessSpacesGoThereAndBack)
{
    const Imath::Color4f color(0.18f, 0.5f, 1.0f, 0.25f);
    const Imath::Color4f back = logConvert(logConvert(color, true), false);
    for (int c = 0; c < 4; ++c)
        EXPECT_NEAR(back[c], color[c], 1e-6f);
    EXPECT_EQ(processSpaceConvert(color, ProcessSpaceLog, ProcessSpaceLog), color);
    EXPECT_EQ(createProcessSpaceConvertTask("t", 0, ProcessSpaceLog, ProcessSpaceLog, m_pattern),
              m_pattern);
    EXPECT_THROW(processSpaceConvert(color, ProcessSpaceLinear, static_cast<ProcessSpace>(2)),
                 std::runtime_error);
    EXPECT_EQ(GetProcessColorspaceFromString("RGB"), 0);
    EXPECT_EQ(GetProcessColorspaceFromString("hsv"), 1);
    EXPECT_THROW(GetProcessColorspaceFromString("lab"), std::runtime_error);
}

TEST_F(OcioTest, FindsASpacesNameInAText)
{
    EXPECT_EQ(EMULSION::ParseColorspaceFromString("/shots/a/plate_half.0001.exr"), "half");
    EXPECT_EQ(EMULSION::ParseColorspaceFromString("/shots/a/plate.0001.exr"), "");
}

TEST_F(OcioTest, TheBackgroundTaskChangesTheBackgroundAlone)
{
    const auto task = createBackgroundColorTask("t", 0, {9, 8, 7, 6}, m_pattern);
    EXPECT_FALSE(task->getCaching());
    const Picture picture = render(task, Rect(-4, 0, 2, 1));
    EXPECT_EQ(*picture.at(-4, 0), 9);
    EXPECT_EQ(*picture.at(0, 0), patternAt(0, 0, 0, 3));
    EXPECT_THROW(createBackgroundColorTask("t", 0, {0, 0, 0, 0}, nullptr), std::exception);
}
