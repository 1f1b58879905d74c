#include <QUILT/CompositeTasks.h>
#include <QUILT/Exceptions.h>
#include <QUILT/ProceduralTasks.h>

#include <gmock/gmock.h>

#include "private/RenderTask_Imp.h"
#include "render/Probe.h"
#include "render/Recorder.h"
#include "support/Render.h"
#include "support/Rest.h"
#include "support/Tasks.h"

using namespace QUILT;
using namespace QUILT::Test;
using Private::RenderTask_Imp;
using Private::Tile;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::UnorderedElementsAre;
using UTIL::Rect;

namespace
{

class SetUpTest : public testing::Test
{
protected:
    SetUpTest()
    {
        RenderManager::SetPollPeriod(100);
        RenderManager::setGlobalTileSize(64, 64);
        RenderManager::setRenderThreads(3);
    }

    void TearDown() override
    {
        m_ready.clear();
        m_graph = nullptr;
        EXPECT_TRUE(everythingIsGone());
    }

    // Sets up a render and gives the number of its tiles.
    size_t setUp(const ref_ptr<RenderTask>& task, const UTIL::Region& area)
    {
        m_ready.clear();
        m_finalTiles.clear();
        m_graph = task; // lives as long as its tiles
        return RenderTask_Imp::setUpRender({{task, area, 5}}, m_ready, m_finalTiles);
    }

    // What a set-up refuses, by task and text.
    static std::string refusal(const ref_ptr<RenderTask>& task, const UTIL::Region& area)
    {
        std::vector<ref_ptr<Tile>> ready;
        std::vector<FinalTile> finalTiles;
        try
        {
            RenderTask_Imp::setUpRender({{task, area, 5}}, ready, finalTiles);
        }
        catch (const RenderTaskRenderingException& error)
        {
            return error.getName() + ": " + error.what();
        }
        return "nothing was refused";
    }

    ref_ptr<RenderTask> m_graph;
    std::vector<ref_ptr<Tile>> m_ready;
    std::vector<FinalTile> m_finalTiles;
};

const Rect s_square(0, 0, 64, 64);

}

TEST_F(SetUpTest, ATileIsWhatItsConsumersWantTogether)
{
    const auto leaf = probe("leaf");
    const auto a = probe("a", {.region = Rect(0, 0, 20, 20), .inputs = {leaf}});
    const auto b = probe("b", {.region = Rect(30, 30, 40, 40), .inputs = {leaf}});
    EXPECT_EQ(setUp(probe("top", {.inputs = {a, b}}), s_square), 4u);
    ASSERT_EQ(m_ready.size(), 1u);
    EXPECT_EQ(m_ready[0]->task().getName(), "leaf");
    EXPECT_EQ(m_ready[0]->getStage(), Tile::InRenderQueue);
    EXPECT_EQ(m_ready[0]->requiredRect(), Rect(0, 0, 40, 40));
    EXPECT_EQ(m_ready[0]->refCount(), 3); // two consumers, and the list
    EXPECT_THROW(m_ready[0]->getImage(), UTIL::AssertException);
}

TEST_F(SetUpTest, OnlyWhatIsNeededGetsTiles)
{
    const auto leaf = probe("leaf");
    EXPECT_EQ(setUp(probe("twice", {.inputs = {leaf, leaf}}), s_square), 2u);
    ASSERT_EQ(m_ready.size(), 1u);
    EXPECT_EQ(m_ready[0]->refCount(), 3);

    const auto unused = probe("unused", {.inputs = {probe("behind")}});
    EXPECT_EQ(
        setUp(probe("top", {.inputs = {probe("used"), unused}, .usesLastInput = false}), s_square),
        2u);
    EXPECT_EQ(setUp(probe("elsewhere", {.inputs = {probe("behind")}}), Rect(64, 0, 128, 64)), 0u);
    EXPECT_TRUE(m_ready.empty() && m_finalTiles.empty());
    // The input has data in the left half only, and the area ends in it.
    const auto half = probe("half", {.region = Rect(0, 0, 32, 64)});
    EXPECT_EQ(setUp(probe("top", {.inputs = {half}}), Rect(40, 0, 50, 64)), 1u);
    EXPECT_EQ(m_ready.size(), 1u);
    EXPECT_THAT(m_finalTiles, ElementsAre(FinalTile(5, TileID(0, 0, 64, 64))));
}

// The input is not waited for, and what is asked of it reads as zero where it has data.
TEST_F(SetUpTest, AnInputWithoutAnyOfTheWantedChannelsIsNotRendered)
{
    std::atomic<int> alphaReads{0};
    const auto readAlpha = [&](const EMULSION::Image* output,
                               const std::vector<const EMULSION::Image*>& inputs) {
        ASSERT_TRUE(inputs[0]);
        EXPECT_EQ(inputs[0]->channels, 8u);
        float rgba[] = {5, 5, 5, 5};
        EMULSION::GetPixel(inputs[0], 1, 2, rgba);
        EXPECT_THAT(rgba, ElementsAre(5, 5, 5, 0));
        EMULSION::CopyInto(output, inputs[0]);
        ++alphaReads;
    };
    const auto make = [&] {
        const auto leaf = probe("leaf", {.channels = 7});
        return probe("top", {.inputs = {leaf}, .render = readAlpha, .requested = 8});
    };
    EXPECT_EQ(setUp(make(), s_square), 1u);
    EXPECT_THAT(renderAll({{make(), s_square, 1}})->lines(),
                ElementsAre("setup 1", "started", "tile top", "output 1 0,0", "finished 1"));
    EXPECT_EQ(alphaReads, 1);

    // An opaque black has no channel at all; nor has what is made of it.
    const auto black = createColorTask("black", 0, s_square, {0, 0, 0, 1});
    EXPECT_EQ(setUp(affine("affine", 2, 1, black), s_square), 0u);
    const ref_ptr<RenderTask> reach(
        new ReachTask("reach", {3, EMULSION::ExtendClamp, true, Rect(0, 0, 70, 64)},
                      probe("leaf", {.inputs = {black}, .requested = 8})));
    EXPECT_EQ(renderAll({{reach, Rect(0, 0, 80, 64), 1}})->count("finished"), 1u);
}

TEST_F(SetUpTest, WhatTheCacheHoldsAsksForNothing)
{
    const auto make = [](const std::string& top) {
        RenderManager::ClearRenderTaskCache();
        const auto leaf = probe("leaf", {.identity = "leaf"});
        const auto middle = probe("middle", {.inputs = {leaf}, .identity = "middle"});
        return probe(top, {.inputs = {middle}, .identity = top});
    };
    RenderManager::setGlobalTileSize(32, 32);
    ASSERT_EQ(renderAll({{make("first"), s_square, 1}})->count("tile"), 12u);
    EXPECT_EQ(setUp(make("second"), s_square), 8u);
    EXPECT_EQ(m_ready.size(), 4u);
    EXPECT_EQ(m_ready[0]->task().getName(), "middle");
    m_ready.clear();
    m_graph = nullptr; // and what was taken from the cache is back in it
    EXPECT_THAT(renderAll({{make("second"), s_square, 1}})->lines("tile"),
                UnorderedElementsAre("tile middle", "tile middle", "tile middle", "tile middle",
                                     "tile second", "tile second", "tile second", "tile second"));
    // The wrong channels, or too little of the tile, are no hit.
    EXPECT_EQ(setUp(probe("other", {.inputs = {make("first")}, .requested = 1}), s_square), 12u);
    m_ready.clear();
    m_graph = nullptr;
    testing::internal::CaptureStderr();
    ASSERT_EQ(renderAll({{make("third"), Rect(0, 0, 9, 9), 1}})->count("tile"), 2u);
    EXPECT_EQ(setUp(make("third"), Rect(0, 0, 10, 9)), 2u);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr(" with bounds (0,0,9,9) does not contain required output rect "
                          "(0,0,10,9) of "));
    m_ready.clear();
    m_graph = nullptr;
    RenderManager::setRenderLogFile("/dev/null");
    testing::internal::CaptureStderr();
    EXPECT_EQ(setUp(make("third"), Rect(0, 0, 11, 9)), 2u);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    RenderManager::setRenderLogFile("");
}

TEST_F(SetUpTest, FinalTilesAreKnownUpToTheLeaves)
{
    RenderManager::setGlobalTileSize(16, 16);
    const std::vector<unsigned int> ordering{40, 10, 30, 20, 0};
    const auto prioritiesAt = [&](int64_t reach) {
        const auto leaf = probe("leaf", {.region = Rect(0, 0, 80, 16)});
        const auto middle = probe("middle", {.region = Rect(0, 0, 80, 16), .inputs = {leaf}});
        const auto top =
            probe("top", {.region = Rect(0, 0, 80, 16), .inputs = {middle}, .reach = reach});
        EXPECT_EQ(setUp(top, Rect(0, 0, 80, 16)), 15u);
        std::vector<unsigned int> priorities;
        for (const ref_ptr<Tile>& tile : m_ready)
        {
            EXPECT_EQ(tile->finalTiles().size(), 5u);
            priorities.push_back(tile->getFinalTilePriority(ordering));
        }
        return priorities;
    };
    EXPECT_EQ(prioritiesAt(0), ordering);
    EXPECT_THAT(prioritiesAt(1), ElementsAre(10, 10, 10, 0, 0));
    EXPECT_THROW(m_ready[0]->getFinalTilePriority({1, 2, 3, 4}), UTIL::AssertException);
}

// Collapse

TEST_F(SetUpTest, AChainOfInPlaceTasksBecomesItsHead)
{
    const ref_ptr<RenderTask> pattern(new PatternTask("pattern", {s_square, 15, {1, 0, 0, 0}, 3}));
    const auto head = affine("c", 2, 0.5f, affine("b", 0.25f, -1, affine("a", 1, 3, pattern)));
    const std::string identity = head->getCacheID();
    const Picture picture = render(head, Rect(0, 0, 65, 64));
    for (int64_t x = 0; x < 65; ++x)
    {
        const float value = x < 64 ? patternAt(x, 7, 0, 3) : 1;
        EXPECT_EQ(*picture.at(x, 7), ((value + 3) * 0.25f - 1) * 2 + 0.5f) << x;
    }
    EXPECT_EQ(head->getType(), "ConcatenatedInPlaceOp");
    EXPECT_EQ(head->getCacheID(), identity);
    EXPECT_EQ(head->refCount(), 1);
}

TEST_F(SetUpTest, ASharedTaskKeepsItsChainApart)
{
    const auto leaf = probe("leaf");
    const auto shared = affine("shared", 2, 0, affine("first", 3, 0, leaf));
    const auto left = affine("left", 5, 0, affine("left.inner", 7, 0, shared));
    const auto top = probe("top", {.inputs = {left, affine("right", 11, 0, shared)}});
    EXPECT_THAT(renderAll({{top, s_square, 1}})->lines("tile"),
                UnorderedElementsAre("tile leaf", "tile first", "tile shared", "tile left",
                                     "tile right", "tile top"));
}

namespace
{

// Alpha becomes the sum of all channels.
class SumOp final : public Private::InPlaceOp
{
public:
    std::string getName() const override { return "Sum"; }
    void computeCacheID(CacheIDStream&) override {}
    unsigned long computeInputChannels(unsigned long) override { return 15; }
    void apply(const EMULSION::Image* output, const EMULSION::Image* input) override
    {
        const Rect& r = output->bounds;
        for (int64_t y = r.y0; y < r.y1; ++y)
        {
            for (int64_t x = r.x0; x < r.x1; ++x)
            {
                float rgba[4] = {};
                EMULSION::GetPixel(input, x, y, rgba);
                rgba[3] += rgba[0] + rgba[1] + rgba[2];
                EMULSION::SetPixel(output, x, y, rgba);
            }
        }
    }
    Imath::Color4f computeBackgroundColor(const Imath::Color4f& c) override { return c; }
};

}

TEST_F(SetUpTest, ChannelsThatTheOutputLacksPassBetweenTheOperations)
{
    const ref_ptr<RenderTask> pattern(new PatternTask("pattern", {s_square, 15, {0, 0, 0, 0}, 3}));
    const auto sum = Private::createInPlaceTask(new SumOp, "sum", affine("a", 2, 0, pattern), 0);
    const Picture alpha =
        render(probe("top", {.inputs = {sum}, .channels = 8, .requested = 8}), s_square);
    const auto doubled = [](int64_t x, int c) { return patternAt(x, 9, c, 3) * 2; };
    for (int64_t x = 0; x < 64; ++x)
        EXPECT_EQ(*alpha.at(x, 9), doubled(x, 3) + (doubled(x, 0) + doubled(x, 1) + doubled(x, 2)))
            << x;
    EXPECT_EQ(sum->getType(), "ConcatenatedInPlaceOp");
}

// Overflow

TEST_F(SetUpTest, WhatTilesCannotNameIsRefused)
{
    RenderManager::setGlobalTileSize(1, 1);
    const Rect wide(0, 0, 40000, 2);
    EXPECT_EQ(refusal(probe("wide", {.region = wide}), wide),
              "wide: Tiles of 1 by 1 pixels are too small for the rectangle (0,0,40000,2): "
              "tile indices are limited to 16 bits.");
    const auto lines = renderAll({{probe("wide", {.region = wide}), wide, 1}})->lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_THAT(lines[0], testing::StartsWith("error RenderSetup: a rendering error: Tiles of 1"));
    EXPECT_EQ(lines[1], "started");

    // An input is named, not its consumer. Its tile size is that of the grid, too.
    RenderManager::setGlobalTileSize(64, 64);
    const int64_t far = (int64_t(1) << 24) + 1;
    const Rect there(far, -far, far + 64, 64 - far);
    const auto input = probe("input", {.region = there});
    const auto top = probe("top", {.region = s_square, .inputs = {input}, .reach = 2 * far});
    EXPECT_THAT(refusal(top, s_square), testing::StartsWith("input: Tiles of 64 by 64 pixels"));

    const auto whole = probe("whole", {.region = Rect(0, 0, 1000001, 8)});
    whole->setRenderFullFrame(true, false);
    EXPECT_EQ(setUp(whole, Rect(0, 0, 1000000, 8)), 1u);
    const auto beyond = probe("beyond", {.region = Rect(0, 0, 1000001, 8)});
    beyond->setRenderFullFrame(true, false);
    EXPECT_EQ(refusal(beyond, Rect(0, 0, 1000001, 8)),
              "beyond: The area (0,0,1000001,8) exceeds the full frame "
              "(-1000000,-1000000,1000000,1000000)");
}

TEST_F(SetUpTest, PicturesMayLieFarAway)
{
    for (const long tileSize : {long(1) << 26, long(1) << 30, long(1) << 40})
    {
        RenderManager::setGlobalTileSize(tileSize, tileSize);
        for (const int64_t far : {int64_t(1) << 40, -(int64_t(1) << 40), (int64_t(1) << 24) + 1})
        {
            const Rect there(far - 5, -far - 5, far + 6, -far + 6);
            const ref_ptr<RenderTask> pattern(
                new PatternTask("pattern", {there, 1, {0, 0, 0, 0}, int(far >> 20)}));
            const ref_ptr<RenderTask> reach(new ReachTask("reach", {2}, pattern));
            const Picture picture = render(reach, there);
            const int seed = int(far >> 20);
            EXPECT_EQ(*picture.at(far, -far), patternAt(far, -far, 0, seed) +
                                                  patternAt(far + 2, -far, 0, seed) +
                                                  patternAt(far, -far + 2, 0, seed));
        }
    }
}

TEST_F(SetUpTest, AFullFrameTaskWaitsForAnyNumberOfTiles)
{
    RenderManager::setGlobalTileSize(1, 1);
    const Rect area(0, 0, 256, 257);
    std::atomic<long> rendered{0};
    const auto count = [&](const EMULSION::Image*, const std::vector<const EMULSION::Image*>&) {
        ++rendered;
    };
    const auto leaf = probe("leaf", {.region = area, .render = count, .channels = 1});
    leaf->setCaching(false);
    const auto check = [&](const EMULSION::Image*, const std::vector<const EMULSION::Image*>&) {
        EXPECT_EQ(rendered, 256 * 257);
    };
    const auto whole = probe("whole", {.region = area, .inputs = {leaf}, .render = check});
    whole->setRenderFullFrame(true, false);
    EXPECT_EQ(renderAll({{whole, area, 1}})->count("finished"), 1u);
}
