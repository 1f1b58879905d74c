#include <QUILT/ColorTasks.h>
#include <QUILT/Exceptions.h>
#include <QUILT/ProceduralTasks.h>

#include <gtest/gtest.h>

#include "private/CacheItems.h"

using namespace QUILT;
using Color = Imath::Color4f;
using UTIL::Rect;

namespace
{

const Color s_one(1, 1, 1, 1), s_two(2, 2, 2, 2), s_half(0.5f, 0.5f, 0.5f, 0.5f);

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

}

TEST(ValueTasks, WhatChangesNothingIsTheInput)
{
    const auto in = input();
    EXPECT_EQ(createClampTask("t", 0, s_one, s_two, false, false, in), in);
    EXPECT_EQ(createContrastTask("t", 0, s_one, s_half, in), in);
    EXPECT_EQ(createClampTask("t", 0, s_one, s_two, false, false, nullptr), nullptr);
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

TEST(ValueTasks, TheIdentityHoldsTheParametersThatCount)
{
    const auto in = input();
    EXPECT_EQ(createClampTask("t", 0, s_half, s_one, true, false, in)->getCacheID(),
              identity("Clamp", "1,0," + text(s_half)));
    EXPECT_EQ(createClampTask("t", 0, s_half, s_one, false, true, in)->getCacheID(),
              identity("Clamp", "0,1," + text(s_one)));
    EXPECT_EQ(createThresholdTask("t", 0, s_half, true, s_one, false, s_two, in)->getCacheID(),
              identity("Threshold", text(s_half) + "1,0," + text(s_one)));
    EXPECT_EQ(createContrastTask("t", 0, s_two, s_half, in)->getCacheID(),
              identity("Contrast", text(s_two) + text(s_half)));
    EXPECT_EQ(createCleanupClampTask("t", 0, true, in)->getCacheID(),
              identity("CleanUpClamp", "1,"));
    EXPECT_EQ(createMultInverseTask("t", 0, in)->getCacheID(), identity("MultInverseOp", ""));
}
