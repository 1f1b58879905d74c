#include <gtest/gtest.h>

#include <Bramble3/XmlElement.h>

#include "private/ImageAllocator.h"
#include "RandomGraph.h"
#include "support/Harness.h"
#include "support/Rest.h"

using namespace QUILT;
using namespace QUILT::Test;

namespace
{

long cacheHits()
{
    const XmlElement cache =
        Private::ImageAllocator::instance()->getSpeculativeCache().getStatistics();
    return std::stol(*cache->findAttr("Num Hits"));
}

// One graph that is edited and rendered, again and again, with one cache.
class Session
{
public:
    explicit Session(Random& random) : m_random(random), m_versions{randomGraph(random)}
    {
        RenderManager::clearSpeculativeCache();
        newSetting();
    }

    void step()
    {
        if (m_random.oneIn(6))
            newSetting();
        if (m_random.oneIn(3))
            m_setting.memoryBudget = m_random.pick(s_budgets);
        if (m_random.oneIn(10))
            RenderManager::clearSpeculativeCache();
        m_setting.cache = m_random.oneIn(6) ? Setting::KeptOff : Setting::Kept;

        // Or the same again, or what was there before.
        if (m_random.oneIn(5))
            m_versions.push_back(m_random.pick(m_versions));
        else if (!m_random.oneIn(6))
            m_versions.push_back(edited(m_versions.back(), m_random));
        check();
    }

private:
    static constexpr int64_t s_budgets[] = {int64_t(256) << 20, 0, 3000, 30000, 300000};

    void newSetting()
    {
        m_setting = randomSetting(m_random);
        m_setting.request = m_random.oneIn(4) ? Setting::Part : Setting::Whole;
    }

    void check()
    {
        RandomGraph graph = m_versions.back();
        const GraphCheck check([graph]() mutable { return graph.build(); }, m_windowSeed, nullptr);
        if (m_random.oneIn(5))
            check.cancel(m_setting, std::chrono::microseconds(m_random.between(0, 1000)));
        const std::string failure = check.check(m_setting);
        EXPECT_EQ(failure, "") << "after " << m_versions.size() - 1 << " edits, " << m_setting
                               << '\n'
                               << graph.text();
    }

    Random& m_random;
    std::vector<RandomGraph> m_versions;
    Setting m_setting;
    const uint64_t m_windowSeed = m_random.bits();
};

}

TEST(EditedGraphs, GiveTheBitsOfThePlainEvaluatorWhateverTheCacheHolds)
{
    const long hitsBefore = cacheHits();
    forEachRandomCase(60, [](Random& random) {
        Session session(random);
        for (int step = 0; step < 12 && !testing::Test::HasFailure(); ++step)
            session.step();
    });
    EXPECT_GT(cacheHits(), hitsBefore);
    RecordProperty("hits", std::to_string(cacheHits() - hitsBefore));
    EXPECT_TRUE(everythingIsGone());
}
