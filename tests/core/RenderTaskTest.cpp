#include <QUILT/Exceptions.h>
#include <QUILT/ProceduralTasks.h>
#include <QUILT/RenderManager.h>
#include <QUILT/RenderTask.h>

#include <locale>
#include <stdexcept>

#include <gtest/gtest.h>

#include "private/CacheItems.h"

using namespace QUILT;
using UTIL::Rect;
using UTIL::Region;

namespace
{

// A task whose parameter is a number and whose inputs are what it is given.
class ValueTask : public RenderTask
{
public:
    ValueTask(const std::string& name, float value,
              std::initializer_list<ref_ptr<RenderTask>> inputs = {})
        : RenderTask(name, 1.5f), m_value(value)
    {
        for (const ref_ptr<RenderTask>& input : inputs)
            registerInputTask(input);
    }

    std::string getType() const override { return "Value"; }
    void computeCacheID(CacheIDStream& stream) override { Private::writeItems(stream, m_value); }
    unsigned long computeOutputChannels() override { return 15; }
    Region computeOutputDataRegion() override { return Rect(0, 0, 10, 10); }
    void makeInputFormatRequests() override {}
    void computeRequiredInputRectangles(const Rect&, std::vector<Rect>&) override {}

private:
    const float m_value;
};

class ThrowingTask final : public ValueTask
{
public:
    explicit ThrowingTask(bool standard) : ValueTask("throwing", 1), m_standard(standard) {}

    Region computeOutputDataRegion() override
    {
        if (m_standard)
            throw std::length_error("too long");
        throw 7;
    }

private:
    const bool m_standard;
};

struct GroupedDigits : std::numpunct<char>
{
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

ref_ptr<RenderTask> value(float number, std::initializer_list<ref_ptr<RenderTask>> inputs = {})
{
    return new ValueTask("value", number, inputs);
}

class RenderTaskTest : public testing::Test
{
protected:
    ~RenderTaskTest() override { RenderManager::ClearRenderTaskCache(); }
};

}

TEST_F(RenderTaskTest, TheIdentityCoversParametersInputsAndTheirOrder)
{
    const auto a = value(1), b = value(2);
    const auto ab = value(3, {a, b});
    EXPECT_EQ(ab->getCacheID(), value(3, {value(1), value(2)})->getCacheID());
    EXPECT_NE(ab->getCacheID(), value(3, {b, a})->getCacheID());
    EXPECT_NE(ab->getCacheID(), value(4, {a, b})->getCacheID());
    EXPECT_NE(ab->getCacheID(), value(3, {value(3, {a, b})})->getCacheID());
    // Six digits of a number count.
    EXPECT_EQ(value(1.0000001f)->getCacheID(), a->getCacheID());
    EXPECT_NE(value(1.00001f)->getCacheID(), a->getCacheID());
    // The texts themselves, so that they stay what they are.
    EXPECT_EQ(compressCacheID(""), "$ennbmijnpiaacleajoaijaijmoipceoh");
    EXPECT_EQ(a->getCacheID(), compressCacheID("Value {1,}"));
    EXPECT_EQ(ab->getCacheID(),
              compressCacheID("Value {3," + a->getCacheID() + "," + b->getCacheID() + ",}"));
    EXPECT_EQ(createColorTask("c", 0, Rect(-1, 0, 2000, 5), {0.5f, 0, 1, 1})->getCacheID(),
              compressCacheID("Color {(-1,0,2000,5),4 [ 0.5 0 1 1 ]\n}"));
}

TEST_F(RenderTaskTest, TheIdentityDoesNotDependOnTheProcessLocale)
{
    const std::string before = value(1234.5f)->getCacheID();
    const std::locale old = std::locale::global(std::locale(std::locale(), new GroupedDigits));
    const std::string during = value(1234.5f)->getCacheID();
    const std::string name = value(1)->getNameAtTime();
    std::locale::global(old);
    EXPECT_EQ(before, during);
    EXPECT_EQ(name, "value@1.5");
}

TEST_F(RenderTaskTest, AnIgnoredInputDoesNotEnterTheIdentity)
{
    const auto make = [](const ref_ptr<RenderTask>& ignored) {
        ref_ptr<RenderTask> task = value(1, {ignored, value(5)});
        task->ignoreInputCacheID(0);
        return task->getCacheID();
    };
    EXPECT_EQ(make(value(2)), make(value(3)));
    EXPECT_EQ(make(value(2)), value(1, {value(5)})->getCacheID());
}

TEST_F(RenderTaskTest, EqualSubgraphsBecomeOneNode)
{
    const long before = RenderTask::s_count;
    {
        const auto shared = value(3, {value(1), value(1)});
        EXPECT_EQ(RenderTask::s_count, before + 2); // the second value(1) had no owner left
        RenderManager::ClearRenderTaskCache();
        EXPECT_EQ(RenderTask::s_count, before + 2);
    }
    EXPECT_EQ(RenderTask::s_count, before);
}

TEST_F(RenderTaskTest, AVeryLongChainIsBuiltAndGoes)
{
    ref_ptr<RenderTask> task = value(0);
    for (int i = 1; i < 200000; ++i)
        task = value(static_cast<float>(i), {task});
    EXPECT_EQ(task->getCacheID().size(), 33u);
    task = nullptr;
    RenderManager::ClearRenderTaskCache();
    EXPECT_EQ(RenderTask::s_count, 0);
}

TEST_F(RenderTaskTest, TheDescriptionIsComputedFromTheInputs)
{
    const auto color = createColorTask("c", 0, Rect(0, 0, 4, 4), {1, 0, 0, 1});
    unsigned long channels = 0;
    Region region;
    color->getOutputDescription(&channels, &region);
    EXPECT_EQ(channels, 1u);
    EXPECT_EQ(region.getBounds(), Rect(0, 0, 4, 4));
    const auto channelsOf = [](float r, float g, float b, float a) {
        unsigned long mask = 99;
        createColorTask("c", 0, Rect(0, 0, 4, 4), {r, g, b, a})
            ->getOutputDescription(&mask, nullptr);
        return mask;
    };
    EXPECT_EQ(channelsOf(0, 0, 0, 1), 0u);
    EXPECT_EQ(channelsOf(0, 0, 0, 0), 8u);
    EXPECT_EQ(channelsOf(0, std::numeric_limits<float>::quiet_NaN(), 1, 0.5f), 14u);

    const auto none = createColorTask("c", 0, Rect(4, 0, 4, 9), {1, 1, 1, 0.5f});
    none->getOutputDescription(nullptr, &region);
    EXPECT_TRUE(region.isEmpty());
    EXPECT_EQ(value(1, {color})->getBackgroundColor(), Imath::Color4f(0, 0, 0, 0));
}

TEST_F(RenderTaskTest, MisuseFailsItsAssertion)
{
    const auto textOf = [](const auto& work) -> std::string {
        try
        {
            work();
        }
        catch (const UTIL::AssertException& error)
        {
            return std::string(error.m_text) + " in " + error.m_file;
        }
        return "nothing was thrown";
    };
    const std::string file = " in src/renderSystem/core/RenderTask_Imp";
    const auto task = value(1, {value(2)});
    EXPECT_EQ(textOf([&] { task->registerInputTask(nullptr); }), "inputTask" + file);
    EXPECT_EQ(textOf([&] { task->getDefinedInputChannels(0); }),
              "m_renderStage >= RENDERSTAGE_ComputeOutputDescription" + file);
    task->getCacheID();
    EXPECT_EQ(textOf([&] { task->registerInputTask(value(3)); }),
              "m_renderStage == RENDERSTAGE_Init" + file);
    EXPECT_EQ(task->getInputTaskCount(), 1u);
    // A cycle would need an input after the description.
    EXPECT_EQ(textOf([&] { task->registerInputTask(task); }),
              "m_renderStage == RENDERSTAGE_Init" + file);
}

TEST_F(RenderTaskTest, AFailingDataRegionNamesTheTask)
{
    const auto failureOf = [](bool standard) -> std::string {
        try
        {
            ref_ptr<RenderTask>(new ThrowingTask(standard))->getCacheID();
        }
        catch (const RenderTaskRenderingException& error)
        {
            return error.getName() + "/" + error.getType() + "/" + error.what() + "/" +
                   std::to_string(error.errorCode());
        }
        return "nothing was thrown";
    };
    EXPECT_EQ(failureOf(true), "throwing/Value/An error occurred while computing the "
                               "outputDataRegion, 'too long'/-1");
    EXPECT_EQ(failureOf(false), "throwing/Value/An unknown error has occurred while computing the "
                                "outputDataRegion/-1");
}
