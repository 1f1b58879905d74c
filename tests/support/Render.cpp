#include "support/Render.h"

#include <bit>
#include <cstring>
#include <sstream>

#include <EMULSION/Channels.h>
#include <EMULSION/Plumbing.h>
#include <gtest/gtest.h>

namespace QUILT::Test
{

Picture::Picture(const UTIL::Rect& bounds_, unsigned long channels_)
    : bounds(bounds_), channels(channels_)
{
    if (!bounds.isNull())
        pixels.resize(static_cast<size_t>(bounds.width() * bounds.height()) * channelCount());
}

size_t Picture::channelCount() const
{
    return static_cast<size_t>(std::popcount(channels));
}

EMULSION::Image Picture::image()
{
    EMULSION::Image view;
    view.channels = channels;
    view.originalChannels = 15;
    view.bounds = bounds;
    view.rowBytes = static_cast<uint64_t>(bounds.width()) * channelCount() * sizeof(float);
    view.pixelPtr = pixels.data();
    return view;
}

const float* Picture::at(int64_t x, int64_t y) const
{
    return pixels.data() +
           static_cast<size_t>((y - bounds.y0) * bounds.width() + x - bounds.x0) * channelCount();
}

std::string difference(const Picture& expected, const Picture& found)
{
    std::ostringstream text;
    if (expected.bounds != found.bounds || expected.channels != found.channels)
    {
        text << "bounds " << expected.bounds << " and " << found.bounds << ", channels "
             << expected.channels << " and " << found.channels;
        return text.str();
    }
    const size_t pixelBytes = expected.channelCount() * sizeof(float);
    if (pixelBytes == 0)
        return {};
    size_t bad = 0;
    for (int64_t y = expected.bounds.y0; y < expected.bounds.y1; ++y)
    {
        for (int64_t x = expected.bounds.x0; x < expected.bounds.x1; ++x)
        {
            const float* const a = expected.at(x, y);
            const float* const b = found.at(x, y);
            if (std::memcmp(a, b, pixelBytes) == 0 || bad++ > 0)
                continue;
            text << "first at (" << x << "," << y << "):";
            for (size_t c = 0; c < expected.channelCount(); ++c)
                text << ' ' << a[c] << '/' << b[c];
        }
    }
    if (bad > 0)
        text << ", " << bad << " pixels in all";
    return text.str();
}

void Collector::outputTileRendered(ImageBuffer image, const FinalTile& id)
{
    const std::lock_guard lock(m_mutex);
    m_tiles.emplace_back(id, std::move(image));
}

void Collector::outputFinished(unsigned long finalRenderTaskID)
{
    const std::lock_guard lock(m_mutex);
    m_finished.push_back(finalRenderTaskID);
}

void Collector::renderSetupDone(unsigned long tileCount)
{
    const std::lock_guard lock(m_mutex);
    m_tileCount = tileCount;
}

void Collector::tileRendered(const std::string& taskName, const std::string&, double)
{
    const std::lock_guard lock(m_mutex);
    ++m_renderedTiles;
    m_renderedTasks.push_back(taskName);
}

void Collector::renderError(const std::string& taskName, const std::string& errorKind,
                            const std::string& message, int code)
{
    const std::lock_guard lock(m_mutex);
    m_errors.push_back({taskName, errorKind, message, code});
}

void Collector::renderCancelled()
{
    const std::lock_guard lock(m_mutex);
    ++m_cancelled;
}

Picture render(const ref_ptr<RenderTask>& task, const UTIL::Region& area,
               RenderManager::RenderType type)
{
    unsigned long channels = 0;
    UTIL::Region data;
    task->getOutputDescription(&channels, &data);
    Picture picture(area.getBounds(), channels);
    const EMULSION::Image view = picture.image();
    EMULSION::Fill(&view, task->getBackgroundColor().getValue());

    const ref_ptr<Collector> collector(new Collector);
    RenderManager::Render({{task, area, 7}}, collector, nullptr, false, type);
    for (const Collector::Error& error : collector->m_errors)
        ADD_FAILURE() << error.taskName << ": " << error.kind << ": " << error.message;

    // Of a tile only what lies in the data region is data.
    for (auto& [id, buffer] : collector->m_tiles)
    {
        EXPECT_EQ(id.first, 7u);
        buffer.lock();
        EMULSION::CopyInto(&view, buffer.getImage());
        buffer.unlock();
    }
    return picture;
}

}
