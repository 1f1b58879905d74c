#include <EMULSION/ColorSpace.h>
#include <QUILT/ColorTasks.h>
#include <QUILT/CurveTasks.h>
#include <QUILT/ProceduralTasks.h>

#include <functional>
#include <stdexcept>

#include <gtest/gtest.h>

#include "private/InPlaceTask.h"
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

ref_ptr<RenderTask> hueCurves(bool stops, float luminance, float red, size_t size = 3)
{
    const Curve ones(size, 1), zeros(size, 0);
    return createHueCurvesTask("t", 0, stops, s_weights, s_cyan, ones, zeros,
                               Curve(size, luminance), Curve(size, red), zeros, zeros, input());
}

class CurveTasks : public testing::Test
{
protected:
    CurveTasks() { OCIO_NAMESPACE::SetCurrentConfig(colorConfig()); }
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

TEST_F(CurveTasks, HueCurvesArePreparedOnce)
{
    const Color color(1, 0, 0, 0.5f); // saturated, so that all of a table counts
    const auto stops = hueCurves(true, 1, -3), added = hueCurves(false, 1, -3);
    EXPECT_EQ(operationOf(stops).computeBackgroundColor(color), Color(0.25f, 0, 0, 0.5f));
    EXPECT_EQ(operationOf(added).computeBackgroundColor(color), Color(-1, 1, 1, 0.5f));
    expectError("HueCurves::computeBackgroundColor called more than once.",
                [&] { operationOf(added).computeBackgroundColor(color); });
    expectError("All HueCurves LUTS must be the same size.", [&] {
        createHueCurvesTask("t", 0, true, s_weights, s_cyan, {1}, {1}, {1}, {1}, {1}, {}, input());
    });
}

// The head of the chain is described only after the merge.
TEST_F(CurveTasks, HueCurvesRenderInsideOfAChain)
{
    const auto chain =
        createContrastTask("c", 0, {2, 2, 2, 2}, {0, 0, 0, 0}, hueCurves(true, 1, 0));
    const Picture picture = render(chain, Rect(0, 0, 4, 4));
    // A saturation of 0.75 makes the factor 1.75.
    EXPECT_EQ(std::vector<float>(picture.at(1, 1), picture.at(1, 1) + 4),
              std::vector<float>({0.875f, 1.75f, 3.5f, 1}));
}
