#include <EMULSION/Composite.h>
#include <QUILT/CompositeTasks.h>
#include <UTIL/Exceptions.h>

#include <functional>

#include <gtest/gtest.h>

#include "comp/Combined.h"

using namespace QUILT;
using namespace QUILT::Test;
using Imath::Color4f;
using UTIL::Rect;

namespace
{

class ZCompositeTest : public testing::Test
{
protected:
    ZCompositeTest()
    {
        RenderManager::SetPollPeriod(1000);
        RenderManager::setGlobalTileSize(16, 16);
    }
    ~ZCompositeTest() override { RenderManager::ClearRenderTaskCache(); }
};

ref_ptr<RenderTask> pattern(const PatternParams& params)
{
    return new PatternTask("pattern", params);
}

ref_ptr<RenderTask> zComposite(const std::vector<PatternParams>& colors,
                               const std::vector<PatternParams>& depths, unsigned long channel)
{
    RenderManager::ClearRenderTaskCache();
    std::vector<ref_ptr<RenderTask>> colorTasks, depthTasks;
    for (const PatternParams& color : colors)
        colorTasks.push_back(pattern(color));
    for (const PatternParams& depth : depths)
        depthTasks.push_back(pattern(depth));
    return createZCompositeTask("z", 0, colorTasks, depthTasks, channel);
}

const Rect s_everywhere(-20, -20, 60, 60);

}

TEST_F(ZCompositeTest, MergesItsLayersPixelByPixel)
{
    const Color4f zero(0, 0, 0, 0);
    const std::vector<PatternParams> colors = {{Rect(-5, -5, 40, 40), 15, zero, 1},
                                               {Rect(10, 12, 50, 50), 7, zero, 2},
                                               {Rect(-9, 20, 30, 35), 12, zero, 3}};
    // Wider, smaller and elsewhere: what has no depth is at 0, between the others.
    const std::vector<PatternParams> depths = {{Rect(-20, -20, 60, 60), 15, zero, 4},
                                               {Rect(10, 12, 25, 25), 6, zero, 5},
                                               {Rect(50, 50, 59, 59), 15, zero, 6}};
    for (const unsigned long channel : {0ul, 1ul, 6ul, 12ul})
    {
        const Picture found = render(zComposite(colors, depths, channel), s_everywhere);
        EXPECT_EQ(found.channels, 15u);
        Picture expected(found.bounds, found.channels);
        const EMULSION::Image image = expected.image();
        for (int64_t y = found.bounds.y0; y < found.bounds.y1; ++y)
            for (int64_t x = found.bounds.x0; x < found.bounds.x1; ++x)
            {
                std::vector<Color4f> pixels;
                std::vector<float> pixelDepths;
                for (size_t i = 0; i < colors.size(); ++i)
                {
                    const Color4f depth = colorAt(depths[i], x, y);
                    pixels.push_back(colorAt(colors[i], x, y));
                    pixelDepths.push_back(channel == 0    ? 0.0f
                                          : channel == 1  ? depth.r
                                          : channel == 6  ? depth.g
                                          : channel == 12 ? depth.b
                                                          : depth.a);
                }
                const Color4f color = EMULSION::ZComposite(pixels, pixelDepths);
                EMULSION::SetPixel(&image, x, y, color.getValue());
            }
        EXPECT_EQ(difference(expected, found), "") << channel;
    }
}

TEST_F(ZCompositeTest, DescribesItselfByItsColorsAlone)
{
    const auto background = [](const std::vector<Color4f>& colors,
                               const std::vector<Color4f>& depths, unsigned long channel) {
        std::vector<PatternParams> colorParams, depthParams;
        for (const Color4f& color : colors)
            colorParams.push_back({Rect(0, 0, 4, 4), 15, color});
        for (const Color4f& depth : depths)
            depthParams.push_back({Rect(-9, -9, 40, 40), 15, depth});
        const ref_ptr<RenderTask> task = zComposite(colorParams, depthParams, channel);
        UTIL::Region data;
        task->getOutputDescription(nullptr, &data);
        EXPECT_EQ(data.getBounds(), colors.empty() ? Rect() : Rect(0, 0, 4, 4));
        return task->getBackgroundColor();
    };
    const Color4f zero(0, 0, 0, 0), a(1, 0, 0, 0.5f), b(0, 1, 0, 0.5f);
    const Color4f aOverB(1, 0.5f, 0, 0.75f), bOverA(0.5f, 1, 0, 0.75f);
    EXPECT_EQ(background({a, zero, b}, {{1, 0, 0, 0}, zero, {2, 0, 0, 0}}, 1), aOverB);
    EXPECT_EQ(background({a, b}, {{2, 0, 0, 0}, {1, 0, 0, 0}}, 1), bOverA);
    EXPECT_EQ(background({a, b}, {{0, 0, 2, 1}, {0, 0, 1, 2}}, 12), bOverA); // the lowest, blue
    EXPECT_EQ(background({a, b}, {{2, 2, 2, 2}, {1, 1, 1, 1}}, 0), aOverB);
    EXPECT_EQ(background({}, {}, 1), zero);
    const ref_ptr<RenderTask> none = zComposite({}, {}, 1);
    unsigned long channels = 15;
    none->getOutputDescription(&channels, nullptr);
    EXPECT_EQ(channels, 0u);
}

TEST_F(ZCompositeTest, RefusesLayersWithoutTheirDepth)
{
    try
    {
        createZCompositeTask("z", 0, {pattern({Rect(0, 0, 4, 4)})}, {}, 1);
        FAIL() << "one colour without a depth was accepted";
    }
    catch (const UTIL::AssertException& error)
    {
        EXPECT_STREQ(error.m_text, "colorTasks.size() == depthTasks.size()");
        EXPECT_STREQ(error.m_file, "src/comp/ZComposite");
    }
    const ref_ptr<RenderTask> task = pattern({Rect(0, 0, 4, 4)});
    EXPECT_THROW(createZCompositeTask("z", 0, {task}, {nullptr}, 1), UTIL::AssertException);
}
