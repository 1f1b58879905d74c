#include "private/Tile.h"

#include <chrono>
#include <sstream>

#include "private/Assert.h"
#include "private/ImageAllocator.h"
#include "private/ImageBuffer_Imp.h"
#include "private/ImageLock.h"
#include "private/Notify.h"
#include "private/ReleaseInTurn.h"
#include "private/RenderLog.h"
#include "private/RenderTask_Imp.h"
#include "private/SpeculativeCache.h"
#include "QUILT/Exceptions.h"

namespace QUILT::Private
{

namespace
{

std::string tileComment(const RenderTask_Imp& task, const TileID& id)
{
    return "TileImage :" + task.getName() + '_' + std::to_string(id.x) + '_' + std::to_string(id.y);
}

}

Tile::Tile(const TileID& id, RenderTask_Imp* task) : m_id(id), m_task(task) {}

Tile::~Tile()
{
    releaseInTurn<Tile>(m_inputTiles); // without having been rendered, or there are none
    m_task->removeTile(*this);
}

void Tile::addFinalRequest(const UTIL::Rect& rect, size_t finalIndex)
{
    m_finalTilesBitSet.setOnly(finalIndex);
    m_requiredRect = rect;
}

void Tile::setFinalTileCount(size_t count)
{
    m_finalTilesBitSet.resize(count);
}

void Tile::addOutputTile(const UTIL::Rect& rect, Tile* outputTile)
{
    QUILT_ASSERT(getStage() < InputRequestsDone);
    QUILT_ASSERT(outputTile->m_stage < InputRequestsDone);

    m_requiredRect = m_requiredRect.unite(rect);
    if (m_finalTilesBitSet.size() == 0)
        m_finalTilesBitSet = outputTile->m_finalTilesBitSet;
    else
    {
        QUILT_ASSERT(m_finalTilesBitSet.size() == outputTile->m_finalTilesBitSet.size());
        m_finalTilesBitSet.unite(outputTile->m_finalTilesBitSet);
    }
    outputTile->m_inputTiles.emplace_back(this);
    m_outputTiles.push_back(outputTile);
    ++outputTile->m_pendingInputCount;
}

void Tile::setRequiredInputRects(std::span<const UTIL::Rect> rects)
{
    m_requiredInputRects.assign(rects.begin(), rects.end());
}

void Tile::inputRequestsDone()
{
    m_stage = m_pendingInputCount > 0 ? InputRequestsDone : ReadyToRender;
}

void Tile::enterRenderQueue()
{
    m_stage = InRenderQueue;
}

bool Tile::queryCache()
{
    ImageAllocator& allocator = *ImageAllocator::instance();
    if (!allocator.canHitCache() || m_task->actsOutside())
        return false;
    ImageBuffer image = allocator.getCachedImage(CacheKey{m_task->getCacheID(), m_id});
    if (image.isNull() || image.getChannels() != m_task->getRequiredOutputChannels())
        return false;
    if (!image.getBounds().contains(m_requiredRect))
    {
        std::ostringstream line;
        line << "Tile::queryCache(): "
             << "Image cached for cache string " << '"' << m_task->getCacheID() << '_' << m_id.x
             << '_' << m_id.y << '"' << " with bounds " << image.getBounds()
             << " does not contain required output rect " << m_requiredRect << " of " << this
             << '\n';
        writeToLog(line.str());
        return false;
    }
    m_image = std::move(image);
    return true;
}

unsigned int Tile::getFinalTilePriority(const std::vector<unsigned int>& finalTileOrdering) const
{
    QUILT_ASSERT(finalTileOrdering.size() == m_finalTilesBitSet.size());
    const size_t index = m_finalTilesBitSet.leastOf(finalTileOrdering);
    QUILT_ASSERT_TEXT(index != FinalTileSet::npos, "index != m_finalTilesBitSet.npos");
    return static_cast<unsigned int>(index);
}

ImageBuffer Tile::getImage() const
{
    QUILT_ASSERT(getStage() == FinishedRendering);
    return m_image;
}

void Tile::render(const ref_ptr<RenderObserver>& observer, std::vector<ref_ptr<Tile>>& readyTiles)
{
    TimeSpan span, preRender;
    const bool fromCache = !m_image.isNull() || queryCache();
    if (fromCache)
    {
        renewCacheData();
        releaseInputs();
        m_task->countFinishedTile();
        span.begin = span.end = std::chrono::steady_clock::now();
    }
    else
        renderImage(span, preRender);
    m_stage.store(FinishedRendering, std::memory_order_release);

    const std::string& name = m_task->getName();
    const std::string type = m_task->getType(); // a failure of the task, not of the observer
    notify(observer.get(), [&](RenderObserver& o) { o.tileRendered(name, type, span.seconds()); });
    notify(observer.get(), [&](RenderObserver& o) {
        o.tileFinished({name, type, m_id, m_image.getBounds(), fromCache, span, preRender});
    });
    if (m_outputTiles.empty())
        deliver(observer.get());
    else
        tellConsumers(readyTiles);
}

// A hit goes back to the cache as what this render knows of it. It was no member when the others
// got their new probabilities, and would keep for good what the render thought that made it.
void Tile::renewCacheData()
{
    ImageBuffer::Impl& image = *m_image.getImpl();
    if (const CacheData* const data = image.getCacheData())
        image.enableCaching(m_task, m_id, data->m_cost);
}

void Tile::renderImage(TimeSpan& span, TimeSpan& preRender)
{
    span.begin = std::chrono::steady_clock::now();
    QUILT_ASSERT(getStage() == InRenderQueue);
    m_stage = Rendering;
    QUILT_ASSERT(m_image.isNull());

    // The tile gets its image when that is whole: a failed one never has any.
    ImageBuffer image(m_task->getRequiredOutputChannels(), m_requiredRect,
                      tileComment(*m_task, m_id), 15);
    const ImageLock lock(image);
    preRender = m_task->renderTile(lock.image(),
                                   {m_requiredInputRects.data(), m_requiredInputRects.size()});
    // The pixels are done; the inputs can go before this tile is unlocked.
    releaseInputs();

    span.end = std::chrono::steady_clock::now();
    const float cost = m_task->addTileTime(static_cast<float>(span.seconds()));
    if (m_task->getCaching() && !m_task->actsOutside())
        image.getImpl()->enableCaching(m_task, m_id, cost);
    m_image = std::move(image);
}

// A final tile has nobody else who wants its image: once the observer has seen it, it is free to
// go. Tiles are counted when they have been handed over, so that the end of an output comes after
// all of them, on whichever threads they are.
void Tile::deliver(RenderObserver* observer)
{
    const unsigned long outputID = m_task->getFinalRenderTaskID();
    ImageBuffer image = std::move(m_image);
    notify(observer, [&](RenderObserver& o) {
        o.outputTileRendered(std::move(image), FinalTile(outputID, m_id));
    });
    if (m_task->countDeliveredTile())
        notify(observer, [&](RenderObserver& o) { o.outputFinished(outputID); });
}

void Tile::tellConsumers(std::vector<ref_ptr<Tile>>& readyTiles)
{
    for (Tile* consumer : m_outputTiles)
    {
        QUILT_ASSERT_TEXT(consumer->getStage() == InputRequestsDone,
                          "getStage() == InputRequestsDone");
        // Once it is counted, the consumer may be rendered and gone at any moment, unless this was
        // its last input.
        const size_t pending = consumer->m_pendingInputCount;
        // acq_rel: whoever goes on to render the consumer sees all pixels of its inputs.
        const size_t finished =
            consumer->m_finishedInputCount.fetch_add(1, std::memory_order_acq_rel) + 1;
        if (finished == pending)
        {
            consumer->m_stage = ReadyToRender;
            consumer->enterRenderQueue();
            readyTiles.emplace_back(consumer);
        }
    }
}

void Tile::releaseInputs()
{
    m_requiredInputRects.clear();
    m_inputTiles.clear();
}

std::ostream& operator<<(std::ostream& stream, const Tile& tile)
{
    return stream << "Tile " << tile.id().x << ',' << tile.id().y << " of " << tile.task().getName()
                  << '\n';
}

}
