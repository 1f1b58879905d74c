#include "support/Harness.h"

#include <algorithm>
#include <bit>
#include <chrono>
#include <iostream>
#include <set>
#include <sstream>
#include <thread>

#include <Bramble3/Configuration.h>
#include <Bramble3/XmlElement.h>
#include <EMULSION/Plumbing.h>
#include <unistd.h>

#include "private/ImageAllocator.h"
#include "private/InPlaceTask.h"
#include "private/JobMgr.h"
#include "private/LivingCounts.h"
#include "private/RenderController.h"
#include "support/PlainEvaluator.h"

namespace QUILT::Test
{

using Private::ImageAllocator;
using Private::InPlaceTask;
using Private::Living;
using RM = RenderManager;
using UTIL::Rect;
using UTIL::Region;

namespace
{

constexpr int64_t s_tinyBudget = 3000; // bytes: a few tiles
constexpr int64_t s_widestWindow = 72; // pixels
constexpr size_t s_mostTiles = 3000;   // about, of all tasks together
constexpr std::chrono::seconds s_longestWait{60};

// Where images are swapped to: in memory, if there is such a place. The allocator of the process
// reads this when it is made.
const bool s_swapFolderIsSet = [] {
    Bramble3::BzConfiguration::v1::Config().set(
        "LANTERN_TMPDIR", access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp");
    return true;
}();

class Discarding final : public std::streambuf
{
    int overflow(int c) override { return traits_type::not_eof(c); }
    std::streamsize xsputn(const char*, std::streamsize count) override { return count; }
};

// A setting in force, as long as it lives. What the cache says of images that are too small for a
// render with another area is no news here and is kept from standard error.
class SettingScope
{
public:
    explicit SettingScope(const Setting& setting)
        : m_keepsCache(setting.cache == Setting::Kept || setting.cache == Setting::KeptOff)
    {
        apply(setting);
        RM::SetPollPeriod(20);
        if (!m_keepsCache)
            RM::clearSpeculativeCache();
        if (setting.cache != Setting::Uncached)
            m_cerr = std::cerr.rdbuf(&m_discarding);
    }

    ~SettingScope()
    {
        Util::JobMgr::instance()->waitUntilIdle(s_longestWait);
        if (m_cerr)
            std::cerr.rdbuf(m_cerr);
        if (!m_keepsCache)
            RM::clearSpeculativeCache();
        RM::ClearRenderTaskCache();
        RM::SetPollPeriod(m_pollPeriod);
        apply(m_before);
        ImageAllocator::instance()->setSpeculativeCachingEnable(m_caching);
    }

    static void apply(const Setting& setting)
    {
        RM::setGlobalTileSize(setting.tileWidth, setting.tileHeight);
        if (RM::getRenderThreads() != static_cast<int>(setting.threads))
            RM::setRenderThreads(setting.threads);
        RM::SetTileOrder(setting.order);
        RM::setSpeculativeCachingEnable(setting.cache != Setting::Uncached &&
                                        setting.cache != Setting::KeptOff);
        ImageAllocator::instance()->setMaxMemUsage(setting.memoryBudget);
        InPlaceTask::setCollapsing(setting.collapsing);
    }

private:
    static Setting current()
    {
        Setting setting;
        setting.tileWidth = RM::getGlobalTileWidth();
        setting.tileHeight = RM::getGlobalTileHeight();
        if (RM::getRenderThreads() > 0)
            setting.threads = static_cast<unsigned long>(RM::getRenderThreads());
        setting.order = Private::tileOrder();
        setting.memoryBudget = ImageAllocator::instance()->getMaxMemUsage();
        setting.collapsing = InPlaceTask::isCollapsing();
        return setting;
    }

    const bool m_keepsCache;
    const Setting m_before = current();
    const bool m_caching = RM::getSpeculativeCachingEnable();
    const long m_pollPeriod = Private::pollPeriod();
    Discarding m_discarding;
    std::streambuf* m_cerr = nullptr;
};

const char* nameOf(Setting::CacheUse use)
{
    static constexpr const char* s_names[] = {"uncached", "cached",     "filled",
                                              "foreign",  "kept cache", "kept cache off"};
    return s_names[use];
}

const char* nameOf(Setting::Request request)
{
    static constexpr const char* s_names[] = {"whole", "pieces", "part", "far away"};
    return s_names[request];
}

// A part of the area with data in it, not wider than a window may be.
Rect windowOf(const Region& data, Random& random)
{
    const Rect bounds = data.isEmpty() ? Rect(0, 0, 8, 8) : data.getBounds().pad(3, 3, true);
    const auto cut = [&](int64_t begin, int64_t end) {
        const int64_t surplus = std::max<int64_t>(0, end - begin - s_widestWindow);
        return begin + random.between(0, surplus);
    };
    const int64_t x = cut(bounds.x0, bounds.x1);
    const int64_t y = cut(bounds.y0, bounds.y1);
    return bounds.intersect(Rect(x, y, x + s_widestWindow, y + s_widestWindow));
}

Rect partOf(const Rect& rect, Random& random)
{
    const int64_t x = random.between(rect.x0, rect.x1 - 1);
    const int64_t y = random.between(rect.y0, rect.y1 - 1);
    return Rect(x, y, random.between(x + 1, rect.x1), random.between(y + 1, rect.y1));
}

long swapCount()
{
    const XmlElement statistics = ImageAllocator::instance()->getStatistics(1);
    return std::stol(*statistics->findAttr("Tile Swap Count (to disk)"));
}

std::string leftovers()
{
    std::ostringstream text;
    const auto tell = [&](const char* what, long count) {
        if (count != 0)
            text << ' ' << count << ' ' << what;
    };
    tell("tasks", Private::livingCount(Living::Tasks));
    tell("tiles", Private::livingCount(Living::Tiles));
    long cachedImages = 0, cachedBytes = 0;
    const XmlElement contents = RM::GetSpeculativeCacheContents();
    for (const XmlElement& record : contents->getChildren().at(0)->getChildren())
    {
        cachedImages += std::stol(*record->findAttr("count"));
        cachedBytes += std::stol(*record->findAttr("size"));
    }
    tell("images", Private::livingCount(Living::Images) - cachedImages);
    tell("swap files", Private::livingCount(Living::SwapFiles));
    tell("bytes of pixels", ImageAllocator::instance()->getMemUsage() - cachedBytes);
    tell("bytes that the cache counts wrongly",
         ImageAllocator::instance()->getSpeculativeCache().getMemoryUsage() - cachedBytes);
    tell("bytes on disk", ImageAllocator::instance()->getDiskUsage());
    return text.str().empty() ? "" : "leftover:" + text.str();
}

}

std::ostream& operator<<(std::ostream& stream, const Setting& setting)
{
    return stream << "tiles " << setting.tileWidth << " x " << setting.tileHeight << ", "
                  << setting.threads << " threads, "
                  << (setting.order == RM::TileOrder::Waves ? "waves" : "streaming") << ", "
                  << setting.memoryBudget << " bytes, " << nameOf(setting.cache) << ", "
                  << (setting.collapsing ? "" : "not ") << "collapsing, " << nameOf(setting.request)
                  << ", seed " << setting.seed;
}

const std::vector<Setting>& standardSettings()
{
    constexpr auto streaming = RM::TileOrder::Streaming;
    constexpr auto waves = RM::TileOrder::Waves;
    constexpr int64_t ample = int64_t(256) << 20;
    static const std::vector<Setting> s_settings{
        {4096, 4096, 1, waves, ample, false, Setting::Uncached, Setting::Whole},
        {4096, 4096, 1, waves, ample, true, Setting::Uncached, Setting::Whole},
        {16, 16, 2, waves, ample, true, Setting::Filled, Setting::Whole},
        {16, 16, 8, streaming, s_tinyBudget, true, Setting::Cached, Setting::Whole},
        {7, 5, 3, streaming, ample, true, Setting::Foreign, Setting::Pieces, 1},
        {1, 1, 2, waves, ample, true, Setting::Uncached, Setting::Part, 2},
        {3, 31, 4, waves, s_tinyBudget, false, Setting::Filled, Setting::Pieces, 3},
        {64, 2, 5, streaming, ample, false, Setting::Foreign, Setting::Part, 4},
        {13, 17, 2, streaming, ample, true, Setting::Cached, Setting::FarAway, 5},
        {2, 2, 1, streaming, s_tinyBudget, true, Setting::Uncached, Setting::Whole},
    };
    return s_settings;
}

Setting randomSetting(Random& random)
{
    static constexpr int64_t s_sizes[] = {16, 1, 2, 3, 7, 10, 31, 64, 4096};
    Setting setting;
    setting.tileWidth = random.pick(s_sizes);
    setting.tileHeight = random.oneIn(3) ? random.pick(s_sizes) : setting.tileWidth;
    setting.threads = static_cast<unsigned long>(random.between(1, 8));
    if (random.oneIn(2))
        setting.order = RM::TileOrder::Streaming;
    if (random.oneIn(2))
        setting.memoryBudget = s_tinyBudget;
    setting.collapsing = !random.oneIn(3);
    setting.cache = static_cast<Setting::CacheUse>(random.between(0, Setting::Foreign));
    if (random.oneIn(2))
        setting.request =
            static_cast<Setting::Request>(random.between(0, Setting::NumberOfRequests - 1));
    setting.seed = static_cast<uint64_t>(random.between(0, 1000));
    return setting;
}

std::vector<Setting> plainerSettings(const Setting& setting)
{
    const Setting plain;
    std::vector<Setting> plainer;
    const auto tryPlain = [&](auto member, const auto& value) {
        if (setting.*member == value)
            return;
        plainer.push_back(setting);
        plainer.back().*member = value;
    };
    tryPlain(&Setting::threads, 1ul);
    tryPlain(&Setting::order, plain.order);
    tryPlain(&Setting::memoryBudget, plain.memoryBudget);
    tryPlain(&Setting::cache, plain.cache);
    tryPlain(&Setting::request, plain.request);
    tryPlain(&Setting::tileWidth, int64_t(4096));
    tryPlain(&Setting::tileHeight, int64_t(4096));
    tryPlain(&Setting::collapsing, false);
    return plainer;
}

GraphCheck::GraphCheck(GraphBuilder build, uint64_t seed, GraphBuilder foreign)
    : m_build(std::move(build)), m_seed(seed), m_foreign(std::move(foreign))
{
    Setting setting; // the cache has no part in this
    setting.cache = Setting::KeptOff;
    const SettingScope scope(setting);
    try
    {
        evaluate();
    }
    catch (const std::exception& exception)
    {
        m_failure = std::string("exception while evaluating: ") + exception.what();
    }
}

// Each output has a graph of its own, because a task serves once.
void GraphCheck::evaluate()
{
    Random random(m_seed);
    const size_t count = m_build().size();
    for (size_t i = 0; i < count; ++i)
    {
        RM::ClearRenderTaskCache();
        const ref_ptr<RenderTask> task = m_build()[i];
        Output output;
        task->getOutputDescription(nullptr, &output.data);
        size_t pixels = 0;
        output.expected = evaluatePlainly(task, windowOf(output.data, random), &pixels);
        m_pixels += pixels;
        m_outputs.push_back(std::move(output));
    }
}

Setting GraphCheck::withFewerTiles(Setting setting) const
{
    const auto tiles = [&] {
        return m_pixels / static_cast<size_t>(setting.tileWidth * setting.tileHeight);
    };
    while (tiles() > s_mostTiles)
        (setting.tileWidth < setting.tileHeight ? setting.tileWidth : setting.tileHeight) *= 2;
    return setting;
}

Region GraphCheck::requestedArea(const Setting& setting, const Rect& window) const
{
    Random random(setting.seed);
    Region area;
    switch (setting.request)
    {
    case Setting::Pieces:
        for (int i = 0; i < 4; ++i)
            area.add(partOf(window, random));
        break;
    case Setting::Part:
        area.add(partOf(window, random));
        break;
    case Setting::FarAway:
        area.add(window.offset(int64_t(1) << 40, -10000000, true));
        break;
    default:
        area.add(window);
    }
    return area;
}

std::string GraphCheck::check(const Setting& asked, RenderCounts* counts) const
{
    if (!m_failure.empty())
        return m_failure;
    const Setting setting = withFewerTiles(asked);
    std::string failure;
    {
        const SettingScope scope(setting);
        if (setting.cache == Setting::Foreign)
            renderForeign(setting);
        else if (setting.cache == Setting::Filled)
            failure = render(setting, nullptr);
        if (failure.empty())
            failure = render(setting, counts);
    }
    return failure.empty() ? leftovers() : failure;
}

// Its pixels are not looked at: what it leaves in the cache is what matters.
void GraphCheck::renderForeign(const Setting& setting) const
{
    Setting other = setting;
    Rect area(-70, -60, 100, 90);
    Random random(setting.seed);
    if (random.oneIn(2))
    {
        std::swap(other.tileWidth, other.tileHeight);
        other.tileWidth += 3;
        area = partOf(area, random);
    }
    other.collapsing = !setting.collapsing;
    SettingScope::apply(other);
    RM::ClearRenderTaskCache();
    std::vector<RenderDescription> descriptions;
    for (const ref_ptr<RenderTask>& task : m_foreign())
        descriptions.push_back({task, area, 1});
    RM::Render(descriptions, nullptr, nullptr, false, RM::RenderTypePrimary);
    Util::JobMgr::instance()->waitUntilIdle(s_longestWait);
    SettingScope::apply(setting);
}

std::vector<RenderDescription> GraphCheck::describe(const Setting& setting) const
{
    RM::ClearRenderTaskCache();
    std::vector<RenderDescription> descriptions;
    for (const ref_ptr<RenderTask>& task : m_build())
    {
        const size_t i = descriptions.size();
        descriptions.push_back(
            {task, requestedArea(setting, m_outputs[i].expected.bounds), 10 + i});
    }
    return descriptions;
}

void GraphCheck::cancel(const Setting& asked, std::chrono::microseconds after) const
{
    if (!m_failure.empty())
        return;
    const Setting setting = withFewerTiles(asked);
    const SettingScope scope(setting);
    RM::Render(describe(setting), new Collector, nullptr, true, RM::RenderTypePrimary);
    std::this_thread::sleep_for(after);
    RM::cancel(RM::RenderTypePrimary, true);
}

std::string GraphCheck::render(const Setting& setting, RenderCounts* counts) const
{
    try
    {
        const long swapsBefore = counts ? swapCount() : 0;
        const std::vector<RenderDescription> descriptions = describe(setting);
        const ref_ptr<Collector> collector(new Collector);
        RM::Render(descriptions, collector, nullptr, false, RM::RenderTypePrimary);
        Util::JobMgr::instance()->waitUntilIdle(s_longestWait);

        for (const Collector::Error& error : collector->m_errors)
            return "error of " + error.taskName + ": " + error.kind + ": " + error.message;
        if (collector->m_cancelled)
            return "error: the render was cancelled";
        for (size_t i = 0; i < m_outputs.size(); ++i)
        {
            const std::string failure =
                compare(m_outputs[i], 10 + i, descriptions[i].requestedArea, *collector);
            if (!failure.empty())
                return failure + " in output " + std::to_string(i);
        }
        if (counts)
            *counts = {collector->m_tileCount, swapCount() - swapsBefore};
    }
    catch (const std::exception& exception)
    {
        return std::string("exception while rendering: ") + exception.what();
    }
    return {};
}

std::string GraphCheck::compare(const Output& output, unsigned long id, const Region& requested,
                                Collector& collector) const
{
    constexpr float absent = std::bit_cast<float>(0x7fdead00u); // a NaN: no tile has brought it
    const Region data = output.data.intersected(requested);
    Picture found = output.expected;
    const EMULSION::Image to = found.image();
    for (const Rect& piece : data)
    {
        EMULSION::Image view;
        EMULSION::GetSubImage(&view, &to, piece.x0, piece.y0, piece.x1, piece.y1);
        EMULSION::Fill(&view, Imath::Color4f(absent, absent, absent, absent).getValue());
    }
    std::set<TileID> tiles;
    for (auto& [tile, buffer] : collector.m_tiles)
    {
        if (tile.first != id)
            continue;
        if (!tiles.insert(tile.second).second)
            return "tiles: one came twice";
        if (!data.intersects(buffer.getBounds()))
            return "tiles: one came without data";
        buffer.lock();
        EMULSION::CopyInto(&to, buffer.getImage());
        buffer.unlock();
    }
    const auto ends = std::ranges::count(collector.m_finished, id);
    if (found.channels != 0 && ends != !data.isEmpty())
        return "tiles: the output ended " + std::to_string(ends) + " times";
    const std::string pixels = difference(output.expected, found);
    return pixels.empty() ? "" : "pixels: " + pixels;
}

}
