#include <EMULSION/ColorSpace.h>
#include <EMULSION/Error.h>
#include <QUILT/ColorTasks.h>
#include <QUILT/CurveTasks.h>
#include <QUILT/Exceptions.h>
#include <QUILT/ProceduralTasks.h>

#include <algorithm>
#include <functional>
#include <stdexcept>

#include <gtest/gtest.h>

#include "private/InPlaceTask.h"
#include "private/RenderTask_Imp.h"
#include "support/ColorConfig.h"
#include "support/Render.h"

using namespace QUILT;
using namespace QUILT::Test;
using Color = Imath::Color4f;
using UTIL::Rect;

namespace
{

using Curve = std::vector<float>;

const Imath::C3f s_weights(0.25f, 0.5f, 0.125f), s_cyan(0, 1, 0.5f);

ref_ptr<RenderTask> input()
{
    return createColorTask("in", 0, Rect(0, 0, 4, 4), {0.25f, 0.5f, 1, 0.5f});
}

Private::InPlaceOp& operationOf(const ref_ptr<RenderTask>& task)
{
    return *dynamic_cast<Private::InPlaceTask&>(*task).getOp();
}

std::string identity(const ref_ptr<RenderTask>& task)
{
    CacheIDStream stream;
    operationOf(task).computeCacheID(stream);
    return stream.str();
}

void expectError(const std::string& text, const std::function<void()>& call)
{
    try
    {
        call();
        ADD_FAILURE() << "did not throw \"" << text << '"';
    }
    catch (const std::runtime_error& error)
    {
        EXPECT_EQ(error.what(), text);
    }
}

ref_ptr<RenderTask> hueCurves(bool stops, float luminance, float red, size_t size = 3,
                              const ref_ptr<RenderTask>& in = input())
{
    const Curve ones(size, 1), zeros(size, 0);
    return createHueCurvesTask("t", 0, stops, s_weights, s_cyan, ones, zeros,
                               Curve(size, luminance), Curve(size, red), zeros, zeros, in);
}

class CurveTasks : public testing::Test
{
protected:
    CurveTasks()
    {
        OCIO_NAMESPACE::SetCurrentConfig(colorConfig());
        RenderManager::SetPollPeriod(1000);
    }
    ~CurveTasks() override { RenderManager::ClearRenderTaskCache(); }
};

}

TEST_F(CurveTasks, TheIdentityHoldsTheParametersThatCount)
{
    const auto in = input();
    EXPECT_EQ(createRGBACurvesTask("t", 0, {}, {}, {}, {}, in), in);
    EXPECT_EQ(identity(createRGBACurvesTask("t", 0, {}, {0, 1}, {}, {}, in)), "g,2 [ 0 1 ]\n");
    EXPECT_EQ(identity(createRGBACurvesTask("t", 0, {0, 1}, {}, {1, 2}, {3}, in)),
              "r,2 [ 0 1 ]\nb,2 [ 1 2 ]\na,1 [ 3 ]\n");
    for (const Imath::C3f& weights : {s_weights, s_cyan})
    {
        EXPECT_EQ(identity(createLumaCurvesTask("t", 0, weights, {0, 1}, in)), "l,2 [ 0 1 ]\n");
        EXPECT_EQ(identity(createLumaCurvesTask("t", 0, weights, {}, in)), "");
    }
    EXPECT_EQ(identity(createHueSuppressTask("t", 0, s_cyan, 2, 3, in)), "3,2,0,1,0.5,");
    EXPECT_EQ(identity(hueCurves(true, 4, 5, 1)),
              "1,0.25,0.5,0.125,0,1,0.5,1 [ 1 ]\n1 [ 0 ]\n1 [ 4 ]\n1 [ 5 ]\n1 [ 0 ]\n1 [ 0 ]\n" +
                  EMULSION::GetColorConfigID() + ",");
}

TEST_F(CurveTasks, ChannelsThatMixGoTogether)
{
    struct Case
    {
        ref_ptr<RenderTask> task;
        unsigned long outputOfRed, inputForRed;
    };
    for (const Case& expected :
         {Case{createRGBACurvesTask("t", 0, {0, 1}, {}, {}, {}, input()), 1, 1},
          {createLumaCurvesTask("t", 0, s_weights, {}, input()), 1, 7},
          {createHueSuppressTask("t", 0, s_cyan, 1, 1, input()), 7, 7},
          {hueCurves(true, 0, 0), 7, 7}})
    {
        Private::InPlaceOp& op = operationOf(expected.task);
        EXPECT_EQ(op.computeOutputChannels(1), expected.outputOfRed) << op.getName();
        EXPECT_EQ(op.computeInputChannels(1), expected.inputForRed) << op.getName();
        EXPECT_EQ(op.computeOutputChannels(8), 8) << op.getName();
        EXPECT_EQ(op.computeInputChannels(8), 8) << op.getName();
    }
}

TEST_F(CurveTasks, HueCurvesArePreparedOnce)
{
    const Color color(1, 0, 0, 0.5f); // saturated, so that all of a table counts
    const auto stops = hueCurves(true, 1, -3), added = hueCurves(false, 1, -3);
    EXPECT_EQ(operationOf(stops).computeBackgroundColor(color), Color(0.25f, 0, 0, 0.5f));
    EXPECT_EQ(operationOf(added).computeBackgroundColor(color), Color(-1, 1, 1, 0.5f));
    expectError("HueCurves::computeBackgroundColor called more than once.",
                [&] { operationOf(added).computeBackgroundColor(color); });
    EXPECT_EQ(identity(stops), identity(hueCurves(true, 1, -3))) << "holds the tables as given";
    expectError("All HueCurves LUTS must be the same size.", [&] {
        createHueCurvesTask("t", 0, true, s_weights, s_cyan, {1}, {1}, {1}, {1}, {1}, {}, input());
    });
}

// Nobody describes the head of the chain before it is merged.
TEST_F(CurveTasks, HueCurvesRenderInsideOfAChain)
{
    const auto below = createContrastTask(
        "below", 0, {2, 2, 2, 2}, {0, 0, 0, 0},
        createBackgroundColorTask("bg", 0, {0.125f, 0.25f, 0.5f, 0.25f}, input()));
    const auto chain =
        createContrastTask("c", 0, {2, 2, 2, 2}, {0, 0, 0, 0}, hueCurves(true, 1, 0, 3, below));
    const ref_ptr<Collector> collector(new Collector);
    RenderManager::Render({{chain, Rect(0, 0, 4, 4), 7}}, collector, nullptr, false,
                          RenderManager::RenderTypePrimary);
    EXPECT_EQ(collector->m_errors, std::vector<Collector::Error>());
    EXPECT_EQ(chain->getType(), "ConcatenatedInPlaceOp");
    // A saturation of 0.75 makes the factor 1.75.
    EXPECT_EQ(chain->getBackgroundColor(), Color(0.875f, 1.75f, 3.5f, 1));
}

TEST_F(CurveTasks, HueShiftIsAMatrixOrThreeTasks)
{
    const auto in = input();
    HueShiftParams params;
    for (const int32_t mode : {0, 1, 2})
    {
        params.mode = mode;
        EXPECT_EQ(createHueShiftTask("t", 0, params, in), in);
    }
    params.mode = 2;
    params.hue = 180;
    EXPECT_EQ(createHueShiftTask("t", 0, params, in), in);
    params.mode = 0;
    const auto byMatrix = createHueShiftTask("t", 0, params, in);
    EXPECT_EQ(byMatrix->getName(), "t.satmtx");
    params.mode = 1;
    params.saturation = 0.5f;
    const auto inHSV = createHueShiftTask("t", 0, params, in);
    EXPECT_EQ(inHSV->getName(), "t.fromhsv");
    EXPECT_FALSE(Private::RenderTask_Imp::of(*inHSV).inputTasks()[0]->getCaching());
    const Picture picture = render(inHSV, Rect(0, 0, 1, 1));
    // From hue 11 / 18 and saturation 0.75 to hue 1 / 9 and saturation 0.375.
    const float expected[] = {1, 0.875f, 0.625f, 0.5f};
    for (int channel = 0; channel < 4; ++channel)
        EXPECT_NEAR(picture.at(0, 0)[channel], expected[channel], 1e-6) << channel;
    RenderManager::ClearRenderTaskCache();
    params = {0, 0, 0, {0.2126f, 0.7152f, 0.0722f}};
    const Picture grey = render(createHueShiftTask("t", 0, params, in), Rect(0, 0, 1, 1));
    for (int channel = 0; channel < 3; ++channel)
        EXPECT_NEAR(grey.at(0, 0)[channel], 0.48295f, 1e-6) << channel;
}

namespace
{

Color keyOf(float luminance, const RangeKeyParams& params, RangeKeyType type)
{
    RenderManager::ClearRenderTaskCache(); // of tasks that have been rendered
    const auto in =
        createColorTask("in", 0, Rect(0, 0, 4, 4), {luminance, luminance, luminance, 0.75f});
    const Picture picture = render(createRangeKeyTask("k", 0, params, type, in), Rect(0, 0, 1, 1));
    const float* const p = picture.at(0, 0);
    return {p[0], p[1], p[2], p[3]};
}

}

TEST_F(CurveTasks, RangeKeysShareOutOneAmongThemselves)
{
    RangeKeyParams params{0.02f, 4, -1, 0.5f, true};
    const float low = logConvert(Color(0.02f), true).r, high = logConvert(Color(4.0f), true).r;
    for (const float luminance : {0.001f, 0.02f, 0.1f, 0.5f, 2.0f, 4.0f, 9.0f})
    {
        const double x = logConvert(Color(luminance), true).r;
        const double t = std::clamp((x - low) / (high - low), 0.0, 1.0);
        const double s = t * t * t - t * t - t + 1, h = -1.5 * t * t * t + 2.5 * t * t;
        for (int order = 0; order < 2; ++order)
        {
            const Color all = keyOf(luminance, params, RangeKeySMHInRGB);
            EXPECT_NEAR(all.r, s, 2e-6);
            EXPECT_NEAR(all.g, 1 - s - h, 2e-6);
            EXPECT_NEAR(all.b, h, 2e-6);
            EXPECT_EQ(all.a, 0.75f);
            for (const auto type : {RangeKeyShadows, RangeKeyMidtones, RangeKeyHighlights})
                EXPECT_EQ(keyOf(luminance, params, type),
                          Color(luminance, luminance, luminance, all[static_cast<int>(type)]));
            std::swap(params.low, params.high);
        }
    }
    params = {0.5f, 0.5f, 0, 0, false}; // a step, at a logarithmic value of linear luminance
    const float step = logConvert(Color(0.5f), true).r;
    EXPECT_EQ(keyOf(step - 1e-6f, params, RangeKeySMHInRGB), Color(1, 0, 0, 0.75f));
    EXPECT_EQ(keyOf(step + 1e-6f, params, RangeKeySMHInRGB), Color(0, 0, 1, 0.75f));
}

TEST_F(CurveTasks, RangeKeysTellWhatIsWrong)
{
    EXPECT_EQ(rangeKeyTypeFromString("ShadOWS"), RangeKeyShadows);
    EXPECT_EQ(rangeKeyTypeFromString("smhInRGB"), RangeKeySMHInRGB);
    expectError("The requested rangeKeyType 'Mids' is not valid.",
                [] { rangeKeyTypeFromString("Mids"); });
    RangeKeyParams params;
    EXPECT_THROW(createRangeKeyTask("k", 0, params, RangeKeyType(4), input()),
                 RenderTaskRenderingException);
    const auto key = createRangeKeyPreviewTask("k", 0, params, RangeKeyMidtones, input());
    EXPECT_EQ(key->getName(), "k.rangeKey");
    const EMULSION::Image none;
    expectError("RangeKey::renderRect called before luts were initialized.",
                [&] { key->renderRect(&none, {&none}); });
    const std::string id = key->getCacheID();
    expectError("RangeKey::createLUT called more than once.",
                [&] { key->computeBackgroundColor(); });

    // Another config, another meaning of the same numbers.
    const auto other = colorConfig();
    other->setDescription("another");
    OCIO_NAMESPACE::SetCurrentConfig(other);
    EXPECT_NE(createRangeKeyPreviewTask("k", 0, params, RangeKeyMidtones, input())->getCacheID(),
              id);
    OCIO_NAMESPACE::SetCurrentConfig(OCIO_NAMESPACE::Config::CreateRaw());
    for (const bool useLog : {false, true})
    {
        params.useLog = useLog;
        EXPECT_THROW(createRangeKeyTask("k", 0, params, RangeKeyShadows, input()),
                     OCIO_NAMESPACE::Exception);
        EXPECT_EQ(EMULSION::GetError(), EMULSION::ERROR_NONE);
    }
}
