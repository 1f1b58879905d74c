#include <gtest/gtest.h>

#include "private/InPlaceTask.h"
#include "support/Harness.h"
#include "support/Tasks.h"

// A check that cannot fail proves nothing: what the harness finds, and that its settings do what
// they say.

using namespace QUILT;
using namespace QUILT::Test;
using UTIL::Rect;

namespace
{

std::vector<ref_ptr<RenderTask>> chain()
{
    const ref_ptr<RenderTask> pattern(
        new PatternTask("pattern", {Rect(-20, 3, 40, 50), 15, {1, 2, 3, 4}, 5}));
    const ref_ptr<RenderTask> reach(new ReachTask("reach", {7}, pattern));
    return {affine("last", 2, 3, affine("first", 0.5f, 1, reach))};
}

// A pattern that does one thing wrong.
class FaultyTask final : public PatternTask
{
public:
    enum Fault
    {
        Seam,
        Unwritten,
        Throws,
        Region,
        None
    };

    explicit FaultyTask(Fault fault)
        : PatternTask("faulty", {Rect(-20, 3, 40, 50), 15, {1, 2, 3, 4}, 5}), m_fault(fault)
    {}

    using PatternTask::renderRect;
    void renderRect(const EMULSION::Image* output,
                    const std::vector<const EMULSION::Image*>& inputs) override
    {
        const Rect& r = output->bounds;
        EMULSION::Image part = *output;
        if (m_fault == Unwritten && r.height() > 1)
            EMULSION::GetSubImage(&part, output, r.x0, r.y0 + 1, r.x1, r.y1);
        PatternTask::renderRect(&part, inputs);
        if (m_fault == Seam)
            EMULSION::SetPixel(output, r.x0, r.y0, Imath::Color4f(0, 0, 0, 0).getValue());
        if (m_fault == Throws && r.width() < 10)
            throw std::runtime_error("the injected fault");
    }

    UTIL::Region computeOutputDataRegion() override
    {
        UTIL::Region region = PatternTask::computeOutputDataRegion();
        if (m_fault == Region && s_asked++ % 2 == 1)
            region.subtract(Rect(0, 10, 5, 20));
        return region;
    }

    static int s_asked;

private:
    const Fault m_fault;
};

int FaultyTask::s_asked = 0;

std::string faultFound(FaultyTask::Fault fault)
{
    FaultyTask::s_asked = 0;
    const auto build = [=] {
        return std::vector<ref_ptr<RenderTask>>{ref_ptr<RenderTask>(new FaultyTask(fault))};
    };
    const GraphCheck check(build, 1, build);
    for (const Setting& setting : standardSettings())
    {
        const std::string failure = check.check(setting);
        if (!failure.empty())
            return failure.substr(0, failure.find_first_of(": "));
    }
    return "";
}

}

TEST(Harness, FindsWhatIsWrong)
{
    EXPECT_EQ(faultFound(FaultyTask::None), "");
    EXPECT_EQ(faultFound(FaultyTask::Seam), "pixels");
    EXPECT_EQ(faultFound(FaultyTask::Unwritten), "pixels");
    EXPECT_EQ(faultFound(FaultyTask::Throws), "error");
    EXPECT_EQ(faultFound(FaultyTask::Region), "pixels");
}

TEST(Harness, AppliesItsSettings)
{
    const GraphCheck check(chain, 1, chain);
    const auto countsUnder = [&](auto change) {
        Setting setting;
        change(setting);
        RenderCounts counts;
        EXPECT_EQ(check.check(setting, &counts), "");
        return counts;
    };
    const RenderCounts plain = countsUnder([](Setting&) {});
    EXPECT_GT(plain.tiles, 0u);
    EXPECT_EQ(plain.swaps, 0);
    EXPECT_GT(countsUnder([](Setting& s) { s.memoryBudget = 3000; }).swaps, 0);
    EXPECT_GT(countsUnder([](Setting& s) { s.collapsing = false; }).tiles, plain.tiles);
    EXPECT_GT(countsUnder([](Setting& s) { s.tileWidth = 5; }).tiles, plain.tiles);
    EXPECT_LT(countsUnder([](Setting& s) { s.cache = Setting::Filled; }).tiles, plain.tiles);
    EXPECT_LT(countsUnder([](Setting& s) { s.request = Setting::Part; }).tiles, plain.tiles);
    EXPECT_EQ(countsUnder([](Setting& s) { s.request = Setting::FarAway; }).tiles, 0u);
}

TEST(Harness, PutsTheSettingsBack)
{
    RenderManager::setGlobalTileSize(123, 45);
    RenderManager::setSpeculativeCachingEnable(true);
    const GraphCheck check(chain, 1, chain);
    for (const Setting& setting : standardSettings())
        EXPECT_EQ(check.check(setting), "") << setting;
    EXPECT_EQ(RenderManager::getGlobalTileWidth(), 123);
    EXPECT_EQ(RenderManager::getGlobalTileHeight(), 45);
    EXPECT_TRUE(RenderManager::getSpeculativeCachingEnable());
    EXPECT_TRUE(Private::InPlaceTask::isCollapsing());
    EXPECT_EQ(RenderManager::GetMaxImageMemory(), 256u);
}
