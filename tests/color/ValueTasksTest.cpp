#include <EMULSION/Color.h>
#include <EMULSION/Premultiply.h>
#include <EMULSION/Tone.h>
#include <QUILT/ColorTasks.h>
#include <QUILT/CompositeTasks.h>
#include <QUILT/Exceptions.h>
#include <QUILT/ProceduralTasks.h>

#include <cmath>

#include <gtest/gtest.h>

#include "private/CacheItems.h"
#include "private/InPlaceTask.h"

using namespace QUILT;
using Color = Imath::Color4f;
using UTIL::Rect;

namespace
{

const Color s_one(1, 1, 1, 1), s_two(2, 2, 2, 2), s_half(0.5f, 0.5f, 0.5f, 0.5f);
const Color s_color(0.25f, -0.5f, 2, 0.75f);

Color withAlpha(float alpha)
{
    return {s_color.r, s_color.g, s_color.b, alpha};
}

ref_ptr<RenderTask> input()
{
    return createColorTask("in", 0, Rect(0, 0, 4, 4), {0.25f, 0.5f, 1, 0.5f});
}

// The identity of one operation on the input above, from the text of its parameters.
std::string identity(const std::string& name, const std::string& parameters)
{
    return compressCacheID(name + " {" +
                           compressCacheID(name + " {" + name + ",{," + parameters + "},") + "," +
                           input()->getCacheID() + ",}");
}

unsigned long channelsOf(const ref_ptr<RenderTask>& task)
{
    unsigned long channels = 0;
    UTIL::Region region;
    task->getOutputDescription(&channels, &region);
    return channels;
}

std::string text(const Color& c)
{
    CacheIDStream stream;
    Private::writeItems(stream, c);
    return stream.str();
}

// What a task must say of itself. Channels do not mix unless said so.
struct Described
{
    ref_ptr<RenderTask> task;
    std::string name, parameters;
    Color ofColor; // what it makes of s_color
    unsigned long outputOfRed = 1, inputForAlpha = 8, inputForRed = 1;
};

}

TEST(ValueTasks, WhatChangesNothingIsTheInput)
{
    const auto in = input();
    EXPECT_EQ(createClampTask("t", 0, s_one, s_two, false, false, in), in);
    EXPECT_EQ(createContrastTask("t", 0, s_one, s_half, in), in);
    EXPECT_EQ(createExponentialTask("t", 0, s_one, s_half, in), in);
    EXPECT_EQ(createGammaTask("t", 0, s_one, s_half, in), in);
    EXPECT_EQ(createClampTask("t", 0, s_one, s_two, false, false, nullptr), nullptr);
    EXPECT_EQ(createBloomTask("t", 0, {true, 1, 0, false}, in), in);
    EXPECT_EQ(createBloomTask("t", 0, {false, 1, 1, false}, in), in);
    EXPECT_EQ(createBloomTask("t", 0, {false, 1, 1, false}, nullptr), nullptr);
    EXPECT_NE(createBloomTask("t", 0, {true, 1, std::nanf(""), false}, in), in);
    EXPECT_THROW(createMultInverseTask("t", 0, nullptr), RenderTaskRenderingException);
}

TEST(ColorTransform, DefinesAndReadsWhatItsRowsName)
{
    const auto in = input();
    EXPECT_EQ(createGainTask("t", 0, s_one, in), in);
    EXPECT_EQ(createColorTransformTask("t", 0, Imath::Matrix44<float>(), Color(0, 0, 0, 0), in),
              in);
    const float matrix[20] = {0, 0, 0, 0, 0, /**/ 0, 0, 2, 0, 0, /**/ 0, 0, 0, 0, 0.5f};
    const auto task = createColorTransformTask("t", 0, matrix, in);
    EXPECT_EQ(task->getCacheID(),
              identity("ColorTransform", "0,0,0,0,0,0,0,2,0,0,0,0,0,0,0.5,0,0,0,0,0,"));
    EXPECT_EQ(channelsOf(task), 6u);
    EXPECT_EQ(task->getBackgroundColor(), Color(0, 0, 0.5f, 0));
    EXPECT_EQ(channelsOf(createLuminanceTask("t", 0, in)), 15u);
}

TEST(ColorTasks, PassTheirParametersOnAndAskForTheChannelsTheyMix)
{
    const auto in = input();
    const Color c = s_color, roots = EMULSION::Exponential(c, s_half, s_one);
    const Described tasks[] = {
        {createClampTask("t", 0, s_half, s_one, true, false, in), "Clamp", "1,0," + text(s_half),
         Color(0.5f, 0.5f, 2, 0.75f)},
        {createClampTask("t", 0, s_one, s_half, false, true, in), "Clamp", "0,1," + text(s_half),
         Color(0.25f, -0.5f, 0.5f, 0.5f)},
        {createThresholdTask("t", 0, s_half, true, s_one, false, s_two, in), "Threshold",
         text(s_half) + "1,0," + text(s_one), Color(1, 1, 2, 0.75f)},
        {createThresholdTask("t", 0, s_half, false, s_one, true, s_two, in), "Threshold",
         text(s_half) + "0,1," + text(s_two), Color(0.25f, -0.5f, 2, 2)},
        {createContrastTask("t", 0, s_two, s_half, in), "Contrast", text(s_two) + text(s_half),
         Color(0, -1.5f, 3.5f, 1)},
        {createCleanupClampTask("t", 0, true, in), "CleanUpClamp", "1,", c},
        {createMultInverseTask("t", 0, in), "MultInverseOp", "", Color(4, -2, 0.5f, 1 / 0.75f)},
        {createNContrastBoostTask("t", 0, 2, true, in), "NContrastBoost", "2,1,",
         EMULSION::NContrastBoost(c, 2, true)},
        {createFringeTask("t", 0, in), "Fringe", "", Color(0.5f, 0, 0, 0.5f)},
        {createPosterizeTask("t", 0, 3, 4, 2, true, false, in), "Posterize", "3,4,2,1,0,",
         Color(0, 0, 1, 0.75f)},
        {createInPlaceCopyTask("t", 0, in), "Copy", "", c},
        {createExponentialTask("t", 0, s_half, s_one, in), "Gamma", text(s_half) + text(s_one),
         roots},
        {createGammaTask("t", 0, s_two, s_one, in), "Gamma", text(s_half) + text(s_one), roots},
        {createAnalyticalLogConvertTask("t", 0, s_half, s_one, s_two, true, false, in),
         "LogConvert", text(s_half) + text(s_one) + text(s_two) + "1,0,",
         EMULSION::LogConvert(c, s_half, s_one, s_two, true, false)},
        {createBloomTask("t", 0, {true, 0.5f, 50, false}, in), "Bloom", "0.5,10,0,",
         Color(0.25f, -0.5f, 15.5f, 0.75f)},
        {createBloomTask("t", 0, {true, 0.5f, -50, true}, in), "Bloom", "0.5,0.1,1,", c, 1, 8, 7},
        {createStandardCompressRangeTask("t", 0, in), "CompressRange", "0.18,16,1,0,",
         EMULSION::CompressColor(c, 0.18f, 16, 1), 1, 8, 7},
        {createStandardExpandRangeTask("t", 0, in), "ExpandRange", "0.18,16,1,1,",
         EMULSION::ExpandColor(c, 0.18f, 16, 1), 1, 8, 7},
        {createLabTask("t", 0, true, in), "LabConvert", "1,", EMULSION::LabConvert(c, true), 1, 8,
         7},
        {createHSVConvertTask("t", 0, true, in), "HSVConvert", "1,", EMULSION::HSVConvert(c, true),
         7, 15, 7},
        {createHSVComponentToAlphaTask("t", 0, HSVComponentValue, in), "HSVComponentToAlpha", "2,",
         withAlpha(2), 9, 15, 7},
        {createMinRGBToAlphaTask("t", 0, in), "MinRGBToAlpha", "", withAlpha(-0.5f), 9, 15, 7},
        {createMaxRGBToAlphaTask("t", 0, in), "MaxRGBToAlpha", "", withAlpha(2), 9, 15, 7},
        {createScreenRGBToAlphaTask("t", 0, 2, in), "ScreenRGBToAlpha", "2,", withAlpha(1), 9, 15,
         7},
        {createPremultiplyTask("t", 0, in, nullptr), "Premultiply", "1,", EMULSION::Premultiply(c),
         7, 8, 9},
        {createUnpremultiplyTask("t", 0, in, in), "Unpremultiply", "0,", EMULSION::Unpremultiply(c),
         7, 8, 9},
    };
    for (const Described& expected : tasks)
    {
        EXPECT_EQ(expected.task->getCacheID(), identity(expected.name, expected.parameters));
        const auto op = dynamic_cast<Private::InPlaceTask&>(*expected.task).getOp();
        EXPECT_EQ(op->computeBackgroundColor(c), expected.ofColor) << expected.name;
        EXPECT_EQ(op->computeOutputChannels(1), expected.outputOfRed) << expected.name;
        EXPECT_EQ(op->computeInputChannels(8), expected.inputForAlpha) << expected.name;
        EXPECT_EQ(op->computeInputChannels(1), expected.inputForRed) << expected.name;
    }
}

TEST(ColorTasks, LeaveWhatTheyDoNotName)
{
    const auto in = createBackgroundColorTask("background", 0, s_color, input());
    const auto opaque = createNContrastBoostTask("t", 0, 0, false, in);
    EXPECT_EQ(opaque->getBackgroundColor(), withAlpha(1));
    const auto none = createHSVComponentToAlphaTask("t", 0, HSVComponent(3), in);
    EXPECT_EQ(none->getBackgroundColor(), s_color);
}
