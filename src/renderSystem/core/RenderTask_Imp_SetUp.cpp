#include <algorithm>
#include <deque>
#include <limits>
#include <stdexcept>

#include <EMULSION/Channels.h>

#include "private/Assert.h"
#include "private/InPlaceTask.h"
#include "private/RenderTask_Imp.h"
#include "QUILT/Exceptions.h"
#include "QUILT/RenderManager.h"

// From a list of outputs to the tiles of a render. Everything here runs on one thread, before any
// tile renders.

namespace QUILT::Private
{

size_t RenderTask_Imp::setUpRender(const std::vector<RenderDescription>& outputs,
                                   std::vector<ref_ptr<Tile>>& readyTiles,
                                   std::vector<FinalTile>& finalTiles)
{
    const TileSize tileSize = globalTileSize();
    for (const RenderDescription& output : outputs)
        of(*output.task).countConsumers(tileSize);

    RenderManager::debugStream() << ">>>>>> Collapsing in place ops...\n";
    if (InPlaceTask::isCollapsing())
    {
        for (const RenderDescription& output : outputs)
            of(*output.task).collapse();
    }

    RenderManager::debugStream() << ">>>>>> Setting up to render outputs...\n";
    for (const RenderDescription& output : outputs)
    {
        RenderTask_Imp& task = of(*output.task);
        task.describeAsOutput(output);
        task.makeOutputTiles(task.m_definedDataRegion.intersected(output.requestedArea),
                             finalTiles);
    }
    for (const RenderDescription& output : outputs)
    {
        for (const ref_ptr<Tile>& tile : of(*output.task).m_outputTiles)
            tile->setFinalTileCount(finalTiles.size());
    }
    const size_t tileCount = setUpInputRequests(outputs, readyTiles);
    updateEditHistory(outputs);
    return tileCount;
}

// Each edge counts once, also where a task uses an input twice; each task's edges are walked once.
// All tasks get the same grid, and keep it if the global tile size changes while they render.
void RenderTask_Imp::countConsumers(const TileSize& tileSize)
{
    std::vector<RenderTask_Imp*> open{this};
    while (!open.empty())
    {
        RenderTask_Imp& task = *open.back();
        open.pop_back();
        if (task.m_outputsCounted)
            continue;
        task.m_outputsCounted = true;
        task.m_tileSize = tileSize;
        for (const ref_ptr<RenderTask>& inputTask : task.m_inputTasks)
        {
            ++of(*inputTask).m_outputTaskCount;
            open.push_back(&of(*inputTask));
        }
    }
}

// Finds the chains of tasks with one input and one consumer each, from the outputs down, and merges
// the in-place tasks that follow each other in them. The task where a chain ends (shared, with
// other than one input, a leaf) stays out of it, and the walk goes on behind it.
void RenderTask_Imp::collapse()
{
    std::vector<RenderTask_Imp*> open{this};
    while (!open.empty())
    {
        RenderTask_Imp* task = open.back();
        open.pop_back();
        if (task->m_collapseVisited)
            continue;
        task->m_collapseVisited = true;

        std::vector<RenderTask_Imp*> chain;
        while (task->m_outputTaskCount <= 1 && task->m_inputTasks.size() == 1)
        {
            chain.push_back(task);
            task = &of(*task->m_inputTasks[0]);
        }
        mergeRuns(chain);
        for (const ref_ptr<RenderTask>& inputTask : task->m_inputTasks)
            open.push_back(&of(*inputTask));
    }
}

void RenderTask_Imp::mergeRuns(const std::vector<RenderTask_Imp*>& chain)
{
    for (size_t i = 0; i < chain.size();)
    {
        auto* const head = dynamic_cast<InPlaceTask*>(chain[i]->m_parentTask);
        size_t end = i + 1;
        // The merged tasks leave the graph with the reference that their consumer drops, so the
        // operations are taken first.
        while (head && end < chain.size())
        {
            auto* const merged = dynamic_cast<InPlaceTask*>(chain[end]->m_parentTask);
            if (!merged)
                break;
            if (end == i + 1)
                head->setMergedBackground(chain[end]->m_backgroundColor);
            head->addOp(merged->getOp());
            chain[i]->m_mergedNodeIDs += chain[end]->m_nodeID; // an edit of it is one of the head
            ++end;
        }
        if (end > i + 1)
        {
            ref_ptr<RenderTask> input = chain[end - 1]->m_inputTasks[0];
            chain[i]->m_inputTasks[0] = std::move(input);
        }
        i = end;
    }
}

void RenderTask_Imp::describeAsOutput(const RenderDescription& output)
{
    describe();
    RenderManager::debugStream() << m_nameAtTime
                                 << " Channels: " << EMULSION::GetChannelMaskName(m_definedChannels)
                                 << " Area: " << m_definedDataRegion
                                 << " RequestedArea: " << output.requestedArea << '\n';
    m_requiredChannels = m_definedChannels;
    m_finalRenderTaskID = output.finalRenderTaskID;
}

void RenderTask_Imp::makeOutputTiles(const UTIL::Region& region, std::vector<FinalTile>& finalTiles)
{
    const std::lock_guard lock(m_tileMapMutex);
    QUILT_ASSERT(m_outputTaskCount == 0);

    std::vector<TileID> tileIDs;
    convertToTileIDs(region, tileIDs);
    const UTIL::Rect bounds = region.getBounds();
    for (const TileID& id : tileIDs)
    {
        ref_ptr<Tile> tile = getOrCreateTile(id);
        tile->addFinalRequest(id.rect().intersect(bounds), finalTiles.size());
        m_outputTiles.push_back(std::move(tile));
        finalTiles.emplace_back(m_finalRenderTaskID, id);
    }
}

// A topological walk: a task's turn comes when all its consumers have had theirs, so that what they
// want of it is complete.
size_t RenderTask_Imp::setUpInputRequests(const std::vector<RenderDescription>& outputs,
                                          std::vector<ref_ptr<Tile>>& readyTiles)
{
    RenderManager::debugStream() << ">>>>>> Setting up Task requests...\n";
    std::deque<RenderTask_Imp*> queue;
    for (const RenderDescription& output : outputs)
    {
        of(*output.task).m_renderStage = RENDERSTAGE_ReadyToSetUpInputRequests;
        queue.push_back(&of(*output.task));
    }

    size_t tileCount = 0;
    while (!queue.empty())
    {
        RenderTask_Imp& task = *queue.front();
        queue.pop_front();
        tileCount += task.setUpTilesAndRequests(readyTiles);
        for (const ref_ptr<RenderTask>& inputTask : task.m_inputTasks)
        {
            RenderTask_Imp& input = of(*inputTask);
            QUILT_ASSERT_TEXT(input.m_renderStage != RENDERSTAGE_ReadyToSetUpInputRequests,
                              "m_renderStage != RENDERSTAGE_ReadyToSetUpInputRequests");
            if (++input.m_finishedConsumerCount == input.m_outputTaskCount)
            {
                input.m_renderStage = RENDERSTAGE_ReadyToSetUpInputRequests;
                queue.push_back(&input);
            }
        }
    }
    return tileCount;
}

size_t RenderTask_Imp::setUpTilesAndRequests(std::vector<ref_ptr<Tile>>& readyTiles)
{
    QUILT_ASSERT(m_renderStage == RENDERSTAGE_ReadyToSetUpInputRequests);
    if (m_requiredChannels == 0)
    {
        m_renderStage = RENDERSTAGE_InputRequestsSetUp;
        return 0;
    }
    m_parentTask->makeInputFormatRequests();

    const std::lock_guard lock(m_tileMapMutex);
    m_tileCount = m_tileMap.size();
    m_tileMap.forEach([&](Tile& tile) {
        if (!tile.queryCache())
            setUpTileInputs(tile);
        tile.inputRequestsDone();
        if (tile.getStage() == Tile::ReadyToRender)
        {
            tile.enterRenderQueue();
            readyTiles.emplace_back(&tile);
        }
    });
    m_renderStage = RENDERSTAGE_InputRequestsSetUp;
    return m_tileCount;
}

void RenderTask_Imp::setUpTileInputs(Tile& tile)
{
    // Reused from tile to tile: set-up makes no lists that it throws away.
    static thread_local std::vector<UTIL::Rect> inputRects;
    inputRects.assign(m_inputTasks.size(), UTIL::Rect());
    m_parentTask->computeRequiredInputRects(tile.requiredRect(), inputRects);
    tile.setRequiredInputRects(inputRects);
    for (size_t i = 0; i < inputRects.size() && i < m_inputTasks.size(); ++i)
    {
        if (!m_inputRequests[i] || inputRects[i].isNull())
            continue;
        const UTIL::Rect area = m_inputRequests[i]->getRequiredRect(inputRects[i]);
        of(*m_inputTasks[i]).addOutputTile(area, &tile);
    }
}

// Tiles come to exist only where a consumer needs data and data can exist.
void RenderTask_Imp::addOutputTile(const UTIL::Rect& area, Tile* consumer)
{
    static thread_local std::vector<TileID> tileIDs;
    const std::lock_guard lock(m_tileMapMutex);
    convertToTileIDs(area, tileIDs);
    for (const TileID& id : tileIDs)
    {
        const UTIL::Rect wanted = id.rect().intersect(area);
        if (m_definedDataRegion.intersects(wanted))
            getOrCreateTile(id)->addOutputTile(wanted, consumer);
    }
}

ref_ptr<Tile> RenderTask_Imp::getOrCreateTile(const TileID& id)
{
    return m_tileMap.findOrCreate(id, [&] { return new Tile(id, this); });
}

size_t RenderTask_Imp::getFinalRenderTaskID() const
{
    QUILT_ASSERT_TEXT(m_outputTaskCount == 0, "m_outputTaskCount ==0");
    return m_finalRenderTaskID;
}

// Tiles have sizes of 32 bits; a larger one makes no difference to a grid of 16-bit indices.
RenderTask_Imp::TileSize RenderTask_Imp::globalTileSize()
{
    const auto size = [](long globalSize) {
        return static_cast<int>(std::min<long>(globalSize, std::numeric_limits<int>::max()));
    };
    return {size(RenderManager::getGlobalTileWidth()), size(RenderManager::getGlobalTileHeight())};
}

int RenderTask_Imp::getTileWidth() const
{
    if (m_switches.renderFullFrame)
        return -1;
    return m_tileSize.width > 0 ? m_tileSize.width : globalTileSize().width;
}

int RenderTask_Imp::getTileHeight() const
{
    if (m_switches.renderFullFrame)
        return -1;
    return m_tileSize.height > 0 ? m_tileSize.height : globalTileSize().height;
}

namespace
{

// Tiles of a grid have 16-bit indices, and the one tile of a full frame ends somewhere, too.
template <class Area>
size_t convert(const RenderTask_Imp& task, const Area& area, const UTIL::Rect& bounds,
               std::vector<TileID>& tileIDs)
{
    try
    {
        const size_t count =
            TileID::convertToTileIDs(area, tileIDs, task.getTileWidth(), task.getTileHeight());
        if (task.getTileWidth() < 0 && count > 0 && !tileIDs[0].rect().contains(bounds))
        {
            CacheIDStream text;
            text << "The area " << bounds << " exceeds the full frame " << tileIDs[0].rect();
            throw std::out_of_range(text.str());
        }
        return count;
    }
    catch (const std::out_of_range& error)
    {
        throw RenderTaskRenderingException(&task.parentTask(), error.what(), -1);
    }
}

}

size_t RenderTask_Imp::convertToTileIDs(const UTIL::Rect& area, std::vector<TileID>& tileIDs) const
{
    return convert(*this, area, area, tileIDs);
}

size_t RenderTask_Imp::convertToTileIDs(const UTIL::Region& area,
                                        std::vector<TileID>& tileIDs) const
{
    return convert(*this, area, area.getBounds(), tileIDs);
}

}
