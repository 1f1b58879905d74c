#include <chrono>
#include <iostream>

#include <EMULSION/Plumbing.h>

#include "private/Assert.h"
#include "private/ProfileRecorder.h"
#include "private/RenderTask_Imp.h"
#include "QUILT/Exceptions.h"
#include "QUILT/RenderManager.h"

// What happens on the threads that render tiles.

namespace QUILT::Private
{

TimeSpan RenderTask_Imp::renderTile(const EMULSION::Image* tileImage,
                                    std::span<const UTIL::Rect> requiredInputRects)
{
    const TimeSpan preRender = ensurePreRendered();
    std::vector<ImageBuffer> inputs = prepareInputImages(requiredInputRects);
    {
        const ProfileTimer timer("[Threaded Render Internal]: Actual Rendering",
                                 &RenderManager::s_renderSystemProfiler);
        renderPieces(tileImage, inputs);
    }
    noteFinishedTile();
    return preRender;
}

std::vector<ImageBuffer>
RenderTask_Imp::prepareInputImages(std::span<const UTIL::Rect> requiredInputRects)
{
    const ProfileTimer timer("[Threaded Render Internal]: Input Image Preparation",
                             &RenderManager::s_renderSystemProfiler);
    std::vector<ImageBuffer> inputs(requiredInputRects.size());
    for (size_t i = 0; i < inputs.size(); ++i)
    {
        if (m_inputRequests[i])
            inputs[i] = m_inputRequests[i]->getImage(requiredInputRects[i]);
    }
    return inputs;
}

// The task renders only inside its data region, once for each rectangle of it; the rest of the tile
// is its background colour.
void RenderTask_Imp::renderPieces(const EMULSION::Image* tileImage,
                                  std::vector<ImageBuffer>& inputs)
{
    const UTIL::Rect& bounds = tileImage->bounds;
    if (m_definedDataRegion.contains(bounds))
    {
        m_parentTask->render(tileImage, inputs);
        CheckError();
        return;
    }

    const UTIL::Region pieces = m_definedDataRegion.intersected(bounds);
    if (pieces.isEmpty())
    {
        std::cerr << "Defined Output Data Region " << m_definedDataRegion << '\n'
                  << "Tile Rect " << bounds << std::endl;
        throw RenderTaskRenderingException(
            m_parentTask,
            "Tile was asked to render an image that doesn't intersect it's defined output area",
            -1);
    }
    EMULSION::Fill(tileImage, m_backgroundColor.getValue());
    CheckError();
    for (const UTIL::Rect& piece : pieces)
    {
        EMULSION::Image view;
        EMULSION::GetSubImage(&view, tileImage, piece.x0, piece.y0, piece.x1, piece.y1);
        m_parentTask->render(&view, inputs);
        CheckError();
    }
}

// Tiles of one task that start together wait here, so that preRender is complete before any of them
// goes on. Those that come later pass by.
TimeSpan RenderTask_Imp::ensurePreRendered()
{
    if (m_preRenderState == Done && !m_cancelled)
        return {};
    TimeSpan span;
    span.begin = std::chrono::steady_clock::now();
    const std::lock_guard lock(m_renderMutex);
    if (m_cancelled)
        throw RenderTaskRenderingException("", "", "preRender cancelled.", -1);
    if (m_preRenderState == NotRun)
    {
        RenderManager::debugStream() << m_name << " beginning to render\n";
        m_preRenderState = Failed;
        try
        {
            m_parentTask->preRender();
        }
        catch (const RenderCancelledException&)
        {
            m_preRenderState = Cancelled;
            throw;
        }
        m_preRenderState = Done;
    }
    if (m_preRenderState == Cancelled)
        throw RenderCancelledException();
    if (m_preRenderState == Failed)
        throw RenderTaskRenderingException(m_parentTask, "An error occurred in preRender.", -1);
    span.end = std::chrono::steady_clock::now();
    return span;
}

void RenderTask_Imp::noteFinishedTile()
{
    const std::lock_guard lock(m_renderMutex);
    if (!countFinishedTile())
        return;
    m_parentTask->postRender();
    RenderManager::debugStream() << m_name << " finished rendering\n";
}

bool RenderTask_Imp::countFinishedTile()
{
    const std::lock_guard lock(m_renderMutex);
    return ++m_finishedTileCount == m_tileCount;
}

float RenderTask_Imp::addTileTime(float seconds)
{
    const std::lock_guard lock(m_tileTimeMutex);
    m_tileTimeSum += seconds;
    ++m_tileTimeCount;
    return m_tileTimeSum / static_cast<float>(m_tileTimeCount);
}

ImageBuffer RenderTask_Imp::getTileImage(const TileID& id)
{
    ref_ptr<Tile> tile;
    {
        const std::lock_guard lock(m_tileMapMutex);
        tile = m_tileMap.find(id);
    }
    QUILT_ASSERT_TEXT(tile, "it != m_tileMap.end()");
    return tile->getImage();
}

void RenderTask_Imp::removeTile(const Tile& tile)
{
    const std::lock_guard lock(m_tileMapMutex);
    m_tileMap.remove(tile.id(), &tile);
}

}
