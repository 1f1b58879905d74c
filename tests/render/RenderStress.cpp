#include <QUILT/Exceptions.h>

#include <array>
#include <atomic>
#include <deque>
#include <limits>
#include <set>
#include <thread>

#include <EMULSION/Error.h>
#include <gtest/gtest.h>

#include "private/ImageAllocator.h"
#include "render/Probe.h"
#include "render/Recorder.h"
#include "support/Random.h"
#include "support/Rest.h"
#include "support/Stress.h"
#include "support/Tasks.h"

using namespace QUILT;
using namespace QUILT::Test;
using UTIL::Rect;

namespace
{

const Rect s_area(-40, -20, 100, 70);

// A task, and what its red channel is at any place.
struct Node
{
    ref_ptr<RenderTask> task;
    std::function<float(int64_t, int64_t)> red;
    float background;
};

[[noreturn]] void failAsPlanned(int kind)
{
    switch (kind)
    {
    case 0:
        throw RenderTaskRenderingException("", "", "planned", 1);
    case 1:
        throw std::runtime_error("planned");
    case 2:
        EMULSION::SetError(EMULSION::ERROR_UNKNOWN, "planned");
        CheckError();
        [[fallthrough]];
    default:
        throw 7;
    }
}

bool isPlanned(const std::string& errorLine)
{
    for (const char* part : {"planned", "an unknown exception", "An error occurred in preRender."})
        if (errorLine.find(part) != std::string::npos)
            return true;
    return false;
}

Node makePattern(Random& random)
{
    const int64_t x = random.between(-50, 90), y = random.between(-30, 60);
    const Rect rect(x, y, x + random.between(1, 90), y + random.between(1, 60));
    const int seed = int(random.between(1, 3)); // few, so that the cache knows some
    const float background = float(random.between(0, 2));
    return {new PatternTask("pattern", {rect, 15, {background, 0, 0, 1}, seed}),
            [=](int64_t px, int64_t py) {
                return rect.contains(Rect(px, py, px + 1, py + 1)) ? patternAt(px, py, 0, seed)
                                                                   : background;
            },
            background};
}

// Hands on its first input and reads its other ones for nothing. It may be slow, render in full
// frame, and fail.
Node makePass(Random& random, const Node& first, const Node& second)
{
    const float background = first.background;
    const auto pass = [background](const EMULSION::Image* output,
                                   const std::vector<const EMULSION::Image*>& inputs) {
        const float rgba[] = {background, 0, 0, 0};
        EMULSION::Fill(output, rgba);
        if (inputs[0])
            EMULSION::CopyInto(output, inputs[0]);
        std::this_thread::yield();
    };
    ProbeParams params{.region = s_area.pad(300, 300, true),
                       .inputs = {first.task, second.task},
                       .render = pass,
                       .reach = random.between(0, 20)};
    if (random.oneIn(12))
    {
        const auto where = s_operations[random.between(5, 9)];
        const int kind = int(random.between(0, 3));
        const auto calls = std::make_shared<std::atomic<int64_t>>(random.between(1, 40));
        params.hook = [=](Operation operation) {
            if (operation == where && --*calls <= 0)
                failAsPlanned(kind);
        };
    }
    const ref_ptr<RenderTask> task = probe("pass", std::move(params));
    if (random.oneIn(4))
        task->setRenderFullFrame(true, random.oneIn(2));
    task->setCaching(!random.oneIn(4));
    return {task, first.red, background};
}

Node makeNode(Random& random, const std::vector<Node>& nodes)
{
    const Node input = random.pick(nodes);
    if (random.oneIn(3))
        return makePass(random, input, random.pick(nodes));
    if (random.oneIn(2))
    {
        const float factor = float(random.between(1, 3));
        return {affine("affine", factor, 1, input.task),
                [=, red = input.red](int64_t x, int64_t y) { return red(x, y) * factor + 1; },
                input.background * factor + 1};
    }
    const int64_t reach = random.between(1, 20);
    return {new ReachTask("reach", {reach}, input.task),
            [=, red = input.red](int64_t x, int64_t y) {
                return red(x, y) + red(x + reach, y) + red(x, y + reach);
            },
            input.background + input.background + input.background};
}

std::vector<Node> makeOutputs(Random& random)
{
    std::vector<Node> nodes{makePattern(random), makePattern(random)};
    for (int64_t i = random.between(0, 7); i > 0; --i)
        nodes.push_back(makeNode(random, nodes));
    std::vector<Node> outputs{nodes.back()};
    for (int64_t i = random.between(-2, 2); i > 0; --i)
        outputs.push_back(random.pick(nodes));
    return outputs;
}

// Looks at pixels of every tile that it gets.
class CheckingRecorder final : public Recorder
{
public:
    CheckingRecorder(const std::vector<Node>& outputs, Hook hook) : Recorder(std::move(hook))
    {
        for (const Node& output : outputs)
            m_reds.push_back(output.red);
    }

    void outputTileRendered(ImageBuffer image, const FinalTile& id) override
    {
        const Rect r = image.getBounds();
        image.lock();
        for (const auto& [x, y] : {std::pair(r.x0, r.y0), std::pair(r.x1 - 1, r.y0),
                                   std::pair(r.x0 + r.width() / 2, r.y0 + r.height() / 2),
                                   std::pair(r.x0, r.y1 - 1), std::pair(r.x1 - 1, r.y1 - 1)})
        {
            float rgba[4] = {};
            EMULSION::GetPixel(image.getImage(), x, y, rgba);
            const float expected = m_reds[id.first](x, y);
            EXPECT_EQ(rgba[0], expected) << image.getComment() << " at " << x << ',' << y;
        }
        image.unlock();
        Recorder::outputTileRendered(std::move(image), id);
    }

private:
    std::vector<std::function<float(int64_t, int64_t)>> m_reds;
};

// What any render may say, in the order in which it may say it.
testing::AssertionResult isInOrder(const std::vector<std::string>& lines)
{
    if (lines.size() == 1 && lines[0].starts_with("error Start Render"))
        return testing::AssertionSuccess();
    long tilesLeft = std::numeric_limits<long>::max(); // of a set-up that failed
    bool isSetUp = false, started = false;
    std::set<std::string> outputs, finished;
    for (const std::string& line : lines)
    {
        const std::string word = line.substr(0, line.find(' '));
        bool inOrder = false;
        if (word == "setup")
        {
            inOrder = !isSetUp && !started;
            isSetUp = true;
            tilesLeft = std::stol(line.substr(6));
        }
        else if (word == "started")
            inOrder = !std::exchange(started, true);
        else if (word == "tile")
            inOrder = started && --tilesLeft >= 0;
        else if (word == "output")
            inOrder =
                started && outputs.insert(line).second && finished.count(line.substr(7, 1)) == 0;
        else if (word == "finished")
            inOrder = started && finished.insert(line.substr(9)).second;
        else if (word == "error")
            inOrder = isPlanned(line);
        else
            inOrder = line == "cancelled" && started;
        if (!inOrder)
            return testing::AssertionFailure() << line << " in " << testing::PrintToString(lines);
    }
    return testing::AssertionSuccess();
}

// Everything that one thread does with the renders of one type.
class Renders
{
public:
    Renders(RenderManager::RenderType type, std::mutex& buildMutex)
        : m_type(type), m_buildMutex(buildMutex)
    {}

    void cancel(bool wait)
    {
        ++m_cancelsBegun;
        RenderManager::cancel(m_type, wait);
        ++m_cancelsEnded;
    }

    void renderOnce(Random& random)
    {
        const long cancelsEnded = m_cancelsEnded, cancelsBegun = m_cancelsBegun;
        const bool async = !random.oneIn(4);
        Started render = start(random, async);
        switch (async ? random.between(0, 5) : 0)
        {
        case 0:
        case 1:
            RenderManager::finishRender(m_type);
            if (cancelsEnded == cancelsBegun && m_cancelsBegun == cancelsBegun)
                checkComplete(render);
            break;
        case 2:
            std::this_thread::sleep_for(std::chrono::microseconds(random.between(0, 3000)));
            [[fallthrough]];
        case 3:
            cancel(random.oneIn(2));
            break;
        default: // the next one is refused, or this one is over by then
            std::this_thread::sleep_for(std::chrono::microseconds(random.between(0, 300)));
        }
        m_last.push_back(render);
        if (m_last.size() > 20)
            checkOldest();
    }

    void checkRest()
    {
        while (!m_last.empty())
            checkOldest();
    }

    long complete() const { return m_complete; }

private:
    struct Started
    {
        ref_ptr<CheckingRecorder> recorder;
        size_t outputs = 0;       // that are not empty
        size_t linesAtTheEnd = 0; // of a render that came to its end
    };

    Started start(Random& random, bool async)
    {
        Started render;
        // The observer interferes, too.
        const int64_t nth = random.oneIn(8) ? random.between(1, 60) : 0;
        const auto count = std::make_shared<std::atomic<int64_t>>(0);
        const auto interfere = [this, nth, count](const std::string&) {
            if (++*count != nth)
                return;
            RenderManager::setRenderThreads(static_cast<unsigned long>(nth % 5));
            cancel(false);
        };

        // Graphs are built on one thread at a time, and those of several outputs grow in Render.
        // The lock that a synchronous render holds comes behind this one.
        std::unique_lock lock(m_buildMutex);
        RenderManager::ClearRenderTaskCache();
        const std::vector<Node> outputs = makeOutputs(random);
        render.recorder = new CheckingRecorder(outputs, interfere);
        std::vector<RenderDescription> descriptions;
        for (const Node& output : outputs)
        {
            UTIL::Region data;
            output.task->getOutputDescription(nullptr, &data);
            render.outputs += data.intersects(s_area);
            descriptions.push_back({output.task, s_area, descriptions.size()});
        }
        RenderManager::Render(descriptions, render.recorder, nullptr, async, m_type);
        return render;
    }

    void checkComplete(Started& render)
    {
        const std::vector<std::string> lines = render.recorder->lines();
        if (render.recorder->count("error") > 0)
            return;
        EXPECT_EQ(render.recorder->count("cancelled"), 0u);
        EXPECT_EQ(render.recorder->count("finished"), render.outputs);
        EXPECT_EQ("setup " + std::to_string(render.recorder->count("tile")), lines.front());
        render.linesAtTheEnd = lines.size();
        ++m_complete;
    }

    void checkOldest()
    {
        const Started& render = m_last.front();
        const std::vector<std::string> lines = render.recorder->lines();
        EXPECT_TRUE(isInOrder(lines));
        EXPECT_TRUE(render.linesAtTheEnd == 0 || render.linesAtTheEnd == lines.size());
        m_last.pop_front();
    }

    const RenderManager::RenderType m_type;
    std::mutex& m_buildMutex;
    std::atomic<long> m_cancelsBegun{0}, m_cancelsEnded{0};
    std::deque<Started> m_last;
    long m_complete = 0;
};

void changeSettings(Random& random)
{
    Private::ImageAllocator& images = *Private::ImageAllocator::instance();
    switch (random.between(0, 9))
    {
    case 0:
        RenderManager::setRenderThreads(static_cast<unsigned long>(random.between(0, 8)));
        break;
    case 1:
        images.setMaxMemUsage(random.oneIn(2) ? random.between(0, 300000) : 1 << 28);
        break;
    case 2:
        images.setMaxDiskUsage(random.oneIn(4) ? 0 : 1 << 28);
        break;
    case 3:
        RenderManager::setSpeculativeCachingEnable(random.oneIn(2));
        break;
    case 4:
        RenderManager::clearSpeculativeCache();
        break;
    case 5:
        RenderManager::SetTileOrder(random.oneIn(2) ? RenderManager::TileOrder::Waves
                                                    : RenderManager::TileOrder::Streaming);
        break;
    case 6:
        RenderManager::setRenderDebug(random.oneIn(8));
        break;
    case 7:
        RenderManager::getStatistics();
        RenderManager::GetSpeculativeCacheContents();
        break;
    default:
        std::this_thread::sleep_for(std::chrono::microseconds(random.between(0, 500)));
    }
}

void restoreSettings()
{
    RenderManager::setRenderDebug(false);
    RenderManager::setRenderLogFile("");
    RenderManager::setRenderThreads(3);
    RenderManager::SetMaxImageMemory(256);
    RenderManager::SetMaxDiskUsage(8192);
    RenderManager::setSpeculativeCachingEnable(true);
    RenderManager::SetTileOrder(RenderManager::TileOrder::Waves);
}

}

TEST(RenderStress, RendersOfAllTypesComeGoFailAndOverlap)
{
    RenderManager::SetPollPeriod(200);
    RenderManager::setGlobalTileSize(16, 16);
    RenderManager::setRenderLogFile("/dev/null");
    const uint64_t seed = numberFromEnvironment("QUILT_TEST_SEED", 1);
    const StressTime time(2);

    std::mutex buildMutex;
    std::array<Renders, 3> renders{Renders(RenderManager::RenderTypePrimary, buildMutex),
                                   Renders(RenderManager::RenderTypeSecondary, buildMutex),
                                   Renders(RenderManager::RenderTypeTertiary, buildMutex)};
    std::vector<std::jthread> threads;
    for (size_t i = 0; i < renders.size(); ++i)
        threads.emplace_back([&, i] {
            Random random(seed + i);
            while (time.isLeft() && !testing::Test::HasFailure())
                renders[i].renderOnce(random);
        });
    threads.emplace_back([&] {
        Random random(seed + 3);
        while (time.isLeft())
        {
            std::this_thread::sleep_for(std::chrono::microseconds(random.between(0, 100000)));
            renders[static_cast<size_t>(random.between(0, 2))].cancel(random.oneIn(2));
        }
    });
    Random random(seed + 4);
    while (time.isLeft())
        changeSettings(random);
    threads.clear();

    restoreSettings();
    long complete = 0;
    for (Renders& each : renders)
    {
        each.cancel(true);
        EXPECT_GT(each.complete(), 0);
        complete += each.complete();
    }
    EXPECT_TRUE(everythingIsGone());
    for (Renders& each : renders)
        each.checkRest();
    RecordProperty("complete", std::to_string(complete));
}
