#include "private/RenderTask_Imp.h"

#include <algorithm>
#include <chrono>
#include <iostream>
#include <map>
#include <thread>

#include <EMULSION/Channels.h>

#include "private/Assert.h"
#include "private/ReleaseInTurn.h"
#include "QUILT/Exceptions.h"
#include "QUILT/RenderManager.h"

namespace QUILT::Private
{

namespace
{

// The tasks that were registered as inputs, by identity, so that equal subgraphs become one node.
// Without a lock: graphs are built on one thread at a time. Never destroyed, because tasks reach
// for it until the process ends.
std::map<std::string, ref_ptr<RenderTask>>& renderTaskCache()
{
    static auto* const cache = new std::map<std::string, ref_ptr<RenderTask>>;
    return *cache;
}

std::string nameAtTime(const std::string& name, float time)
{
    CacheIDStream text; // prints numbers the same way in every locale
    text << name << '@' << time;
    return text.str();
}

}

RenderTask_Imp::RenderTask_Imp(RenderTask* parentTask, const std::string& name, float time)
    : m_parentTask(parentTask), m_name(name), m_nameAtTime(nameAtTime(name, time)), m_time(time)
{}

// Final tiles go first, and with them all tiles that wait; those that a job holds are waited for.
// Jobs keep the graph of their render alive, so there is nothing to wait for unless a task is
// destroyed by other hands.
RenderTask_Imp::~RenderTask_Imp()
{
    m_outputTiles.clear();
    {
        const std::lock_guard lock(m_renderMutex);
        if (m_preRenderState != Done)
            m_cancelled = true;
    }
    while (!hasNoTiles() && !RenderManager::CheckAbort())
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    releaseInTurn<RenderTask>(m_inputTasks);
}

bool RenderTask_Imp::hasNoTiles()
{
    const std::lock_guard lock(m_tileMapMutex);
    return m_tileMap.empty();
}

std::string RenderTask_Imp::getType() const
{
    QUILT_ASSERT(m_parentTask);
    return m_parentTask->getType();
}

size_t RenderTask_Imp::registerInputTask(ref_ptr<RenderTask> inputTask)
{
    QUILT_ASSERT(inputTask);
    QUILT_ASSERT(inputTask->m_imp);
    QUILT_ASSERT(m_renderStage == RENDERSTAGE_Init);

    const auto [known, isNew] = renderTaskCache().try_emplace(inputTask->getCacheID(), inputTask);
    m_inputTasks.push_back(known->second);
    m_actsOutside = m_actsOutside || of(*known->second).m_actsOutside;
    m_inputRequests.emplace_back();
    return m_inputTasks.size() - 1;
}

void RenderTask_Imp::clearRenderTaskCache()
{
    // The tasks go when the map is empty already: a task's end may lead back here.
    std::map<std::string, ref_ptr<RenderTask>> tasks;
    tasks.swap(renderTaskCache());
}

void RenderTask_Imp::addInputRequest(unsigned long inputID, unsigned long channels,
                                     EMULSION::ExtendMethod extendMethod, bool extendWithOverscan,
                                     const UTIL::Rect& inputDisplayRect)
{
    const char* const maskName = EMULSION::GetChannelMaskName(channels);
    RenderManager::debugStream() << m_name << " Request: " << inputID
                                 << " Channels: " << (maskName ? maskName : "invalid")
                                 << " ExtendMethod: " << static_cast<int>(extendMethod)
                                 << " ExtendWithOverscan: " << extendWithOverscan
                                 << " Rect: " << inputDisplayRect << '\n';

    QUILT_ASSERT_TEXT(inputID < m_inputRequests.size(),
                      "inputID >= 0 && inputID < m_inputRequests.size()");
    if (m_inputRequests[inputID])
        std::cerr << "Render task already registered at inputID " << inputID << " of renderTask "
                  << m_name << std::endl;
    QUILT_ASSERT_TEXT(!m_inputRequests[inputID], "m_inputRequests.is_null(inputID)");
    if (extendMethod != EMULSION::ExtendNone)
        QUILT_ASSERT(!inputDisplayRect.isNull());

    RenderTask_Imp& input = of(*m_inputTasks[inputID]);
    const unsigned long wanted = EMULSION::ValidateChannelMask(channels);
    m_inputRequests[inputID].reset(
        makeInputRequest(&input, wanted, extendMethod, extendWithOverscan, inputDisplayRect));
    input.m_requiredChannels = EMULSION::ValidateChannelMask((input.m_requiredChannels | wanted) &
                                                             input.m_definedChannels);
}

RenderTask_Imp& RenderTask_Imp::inputImp(size_t inputID) const
{
    QUILT_ASSERT(m_renderStage >= RENDERSTAGE_ComputeOutputDescription);
    const ref_ptr<RenderTask>& inputTask = m_inputTasks.at(inputID);
    QUILT_ASSERT(inputTask->m_imp->m_renderStage >= RENDERSTAGE_ComputeOutputDescription);
    return *inputTask->m_imp;
}

unsigned long RenderTask_Imp::getDefinedInputChannels(size_t inputID) const
{
    return inputImp(inputID).m_definedChannels;
}

const UTIL::Region& RenderTask_Imp::getDefinedInputDataRegion(size_t inputID) const
{
    return inputImp(inputID).m_definedDataRegion;
}

const std::string& RenderTask_Imp::getInputCacheID(size_t inputID) const
{
    return inputImp(inputID).m_cacheID;
}

const Imath::Color4<float>& RenderTask_Imp::getInputBackgroundColor(size_t inputID) const
{
    return inputImp(inputID).m_backgroundColor;
}

unsigned long RenderTask_Imp::getRequiredInputChannels(long whichInput) const
{
    QUILT_ASSERT_TEXT(
        whichInput >= 0 && whichInput < static_cast<int64_t>(m_inputRequests.size()),
        "whichInput >=0 && whichInput < static_cast<int64_t>(m_inputRequests.size())");
    QUILT_ASSERT_TEXT(m_inputRequests[static_cast<std::size_t>(whichInput)],
                      "!m_inputRequests.is_null(static_cast<std::size_t>(whichInput))");
    return m_inputRequests[static_cast<std::size_t>(whichInput)]->getChannels();
}

// A task that could not be described is as before: it fails again when it is asked again, rather
// than pass for one without data.
void RenderTask_Imp::describe()
{
    if (m_renderStage != RENDERSTAGE_Init)
        return;
    try
    {
        computeOutputDescription();
    }
    catch (...)
    {
        m_renderStage = RENDERSTAGE_Init;
        throw;
    }
}

void RenderTask_Imp::getOutputDescription(unsigned long* channels, UTIL::Region* region)
{
    describe();
    if (channels)
        *channels = m_definedChannels;
    if (region)
        *region = m_definedDataRegion;
}

const std::string& RenderTask_Imp::getCacheID()
{
    describe();
    return m_cacheID;
}

const std::string& RenderTask_Imp::getNodeID()
{
    describe();
    return m_nodeID;
}

// The identity is the text "type {parameters}" for the node alone, and with the identities of the
// inputs in front of the closing brace for the node with all that is above it.
void RenderTask_Imp::computeOutputDescription()
{
    m_renderStage = RENDERSTAGE_ComputeOutputDescription;
    for (const ref_ptr<RenderTask>& inputTask : m_inputTasks)
        inputTask->m_imp->describe();

    CacheIDStream stream;
    stream << getType() << " {";
    m_parentTask->computeCacheID(stream);
    m_nodeID = compressCacheID(stream.str() + "}");
    for (size_t i = 0; i < m_inputTasks.size(); ++i)
    {
        if (std::ranges::find(m_ignoredInputCacheIDs, i) == m_ignoredInputCacheIDs.end())
            stream << getInputCacheID(i) << ',';
    }

    const unsigned long channels = m_parentTask->computeOutputChannels();
    m_backgroundColor = m_parentTask->computeBackgroundColor();
    const unsigned long definedChannels = EMULSION::ValidateChannelMask(channels);
    UTIL::Region dataRegion = computeOutputDataRegion();

    QUILT_ASSERT(m_renderStage == RENDERSTAGE_ComputeOutputDescription);
    const std::string text = stream.str() + "}";
    m_definedChannels = definedChannels;
    m_definedDataRegion = std::move(dataRegion);
    m_cacheID = text.starts_with('$') ? text : compressCacheID(text);

    RenderManager::debugStream() << m_nameAtTime
                                 << " Channels: " << EMULSION::GetChannelMaskName(definedChannels)
                                 << " Area: " << m_definedDataRegion << " CacheID: " << m_cacheID
                                 << ' ' << text << '\n';
}

UTIL::Region RenderTask_Imp::computeOutputDataRegion()
{
    try
    {
        return m_parentTask->computeOutputDataRegion();
    }
    catch (const std::exception& error)
    {
        throw RenderTaskRenderingException(m_parentTask,
                                           std::string("An error occurred ") +
                                               "while computing the outputDataRegion, " + "'" +
                                               error.what() + "'",
                                           -1);
    }
    catch (...)
    {
        throw RenderTaskRenderingException(m_parentTask,
                                           std::string("An unknown error has occurred ") +
                                               "while computing the outputDataRegion",
                                           -1);
    }
}

}
