#include "QUILT/RenderTask.h"

#include <deque>
#include <mutex>
#include <ostream>

#include <EMULSION/Plumbing.h>

#include "private/Assert.h"
#include "private/ImageLock.h"
#include "private/RenderTask_Imp.h"
#include "QUILT/RenderManager.h"

namespace QUILT
{

using Private::RenderTask_Imp;

std::atomic<long> RenderTask::s_count{0};

RenderTask::RenderTask(const std::string& name, float time)
    : m_imp(std::make_unique<RenderTask_Imp>(this, name, time))
{
    ++s_count;
}

RenderTask::~RenderTask()
{
    --s_count;
}

Imath::Color4<float> RenderTask::computeBackgroundColor()
{
    if (getInputTaskCount() == 0)
        return Imath::Color4<float>(0.0f, 0.0f, 0.0f, 0.0f);
    return getInputBackgroundColor(0);
}

void RenderTask::preRender() {}

void RenderTask::renderRect(const EMULSION::Image*, const std::vector<const EMULSION::Image*>&)
{
    QUILT_ASSERT(!"This RenderTask does not support immediate locking.");
}

void RenderTask::renderRect(const EMULSION::Image*, std::vector<ImageBuffer>&)
{
    QUILT_ASSERT(!"This RenderTask does not support delayed locking.");
}

void RenderTask::postRender() {}

const std::string& RenderTask::getName() const
{
    return m_imp->getName();
}

const std::string& RenderTask::getNameAtTime() const
{
    return m_imp->getNameAtTime();
}

float RenderTask::getTime() const
{
    return m_imp->getTime();
}

size_t RenderTask::registerInputTask(ref_ptr<RenderTask> inputTask)
{
    return m_imp->registerInputTask(std::move(inputTask));
}

void RenderTask::ignoreInputCacheID(unsigned long inputID)
{
    m_imp->ignoreInputCacheID(inputID);
}

void RenderTask::addInputRequest(unsigned long inputID, unsigned long channels)
{
    m_imp->addInputRequest(inputID, channels, EMULSION::ExtendNone, false, UTIL::Rect());
}

void RenderTask::addInputRequest(unsigned long inputID, unsigned long channels,
                                 EMULSION::ExtendMethod extendMethod, bool extendWithOverscan,
                                 const UTIL::Rect& inputDisplayRect)
{
    m_imp->addInputRequest(inputID, channels, extendMethod, extendWithOverscan, inputDisplayRect);
}

unsigned long RenderTask::getInputTaskCount() const
{
    return m_imp->inputTasks().size();
}

unsigned long RenderTask::getDefinedInputChannels(unsigned long inputID)
{
    return m_imp->getDefinedInputChannels(inputID);
}

const UTIL::Region& RenderTask::getDefinedInputDataRegion(unsigned long inputID)
{
    return m_imp->getDefinedInputDataRegion(inputID);
}

const std::string& RenderTask::getInputCacheID(unsigned long inputID)
{
    return m_imp->getInputCacheID(inputID);
}

const Imath::Color4<float>& RenderTask::getInputBackgroundColor(unsigned long inputID)
{
    return m_imp->getInputBackgroundColor(inputID);
}

unsigned long RenderTask::getRequiredOutputChannels() const
{
    return m_imp->getRequiredOutputChannels();
}

unsigned long RenderTask::getRequiredInputChannels(long inputID) const
{
    return m_imp->getRequiredInputChannels(inputID);
}

void RenderTask::getOutputDescription(unsigned long* channels, UTIL::Region* region)
{
    m_imp->getOutputDescription(channels, region);
}

const UTIL::Region& RenderTask::getDefinedOutputDataRegion() const
{
    return m_imp->getDefinedDataRegion();
}

const Imath::Color4<float>& RenderTask::getBackgroundColor()
{
    m_imp->describe();
    return m_imp->getBackgroundColor();
}

const std::string& RenderTask::getCacheID()
{
    return m_imp->getCacheID();
}

void RenderTask::setCaching(bool caching)
{
    m_imp->setCaching(caching);
}

bool RenderTask::getCaching()
{
    return m_imp->getCaching();
}

unsigned long RenderTask::getFinalRenderTaskID()
{
    return m_imp->getFinalRenderTaskID();
}

void RenderTask::setRenderFullFrame(bool fullFrame, bool wrapInputImagesIfBackground)
{
    m_imp->m_switches.renderFullFrame = fullFrame;
    m_imp->m_switches.wrapInputImagesIfBackground = wrapInputImagesIfBackground;
}

void RenderTask::setActsOutside()
{
    m_imp->setActsOutside();
}

void RenderTask::setRenderLocalLocking(bool localLocking)
{
    m_imp->m_switches.renderLocalLocking = localLocking;
}

void RenderTask::setWrapInputImagesIfBackground(bool wrap)
{
    m_imp->m_switches.wrapInputImagesIfBackground = wrap;
}

int RenderTask::getTileWidth() const
{
    return m_imp->getTileWidth();
}

int RenderTask::getTileHeight() const
{
    return m_imp->getTileHeight();
}

bool RenderTask::isRenderTiled()
{
    return !m_imp->m_switches.renderFullFrame;
}

size_t RenderTask::convertToTileIDs(const UTIL::Rect& area, std::vector<TileID>& tileIDs) const
{
    return m_imp->convertToTileIDs(area, tileIDs);
}

size_t RenderTask::convertToTileIDs(const UTIL::Region& area, std::vector<TileID>& tileIDs) const
{
    return m_imp->convertToTileIDs(area, tileIDs);
}

// A full-frame task is asked once; what it answers is kept for its one piece.
void RenderTask::computeRequiredInputRects(const UTIL::Rect& outputRect,
                                           std::vector<UTIL::Rect>& inputRects)
{
    if (isRenderTiled())
    {
        computeRequiredInputRectangles(outputRect, inputRects);
        return;
    }
    RenderTask_Imp::FullFrame& frame = m_imp->m_fullFrame;
    UTIL::Rect& m_requiredOutputRect = frame.requiredOutputRect;
    QUILT_ASSERT(m_requiredOutputRect.isNull());
    m_requiredOutputRect = outputRect;
    computeRequiredInputRectangles(outputRect, inputRects);
    frame.requiredInputRectangles = inputRects;
}

void RenderTask::render(const EMULSION::Image* output, std::vector<ImageBuffer>& inputs)
{
    if (isRenderTiled())
        callRenderRect(output, inputs);
    else
        renderFullFrame(output, inputs);
}

// The first piece renders the whole required area, the others copy from it. A piece that is the
// whole area needs no copy.
void RenderTask::renderFullFrame(const EMULSION::Image* output, std::vector<ImageBuffer>& inputs)
{
    RenderTask_Imp::FullFrame& frame = m_imp->m_fullFrame;
    const std::lock_guard guard(frame.lock);
    if (frame.outputBuffer.isNull())
    {
        if (m_imp->m_switches.wrapInputImagesIfBackground)
            wrapMissingInputs(inputs);
        if (output->bounds == frame.requiredOutputRect)
        {
            callRenderRect(output, inputs);
            return;
        }
        ImageBuffer whole(output->channels, frame.requiredOutputRect, "BufferTaskImage", 15);
        {
            const Private::ImageLock lock(whole);
            callRenderRect(lock.image(), inputs);
            EMULSION::CopyInto(output, lock.image());
        }
        frame.outputBuffer = std::move(whole);
        return;
    }
    const UTIL::Rect& outputImageRect = output->bounds;
    const ImageBuffer& m_outputBuffer = frame.outputBuffer;
    QUILT_ASSERT(m_outputBuffer.getBounds().contains(outputImageRect));
    const Private::ImageLock lock(m_outputBuffer);
    EMULSION::CopyInto(output, lock.image());
}

void RenderTask::wrapMissingInputs(std::vector<ImageBuffer>& inputs)
{
    for (size_t i = 0; i < inputs.size(); ++i)
    {
        if (!inputs[i].isNull())
            continue;
        ImageBuffer filled(getRequiredInputChannels(static_cast<long>(i)),
                           m_imp->m_fullFrame.requiredInputRectangles[i],
                           "BufferTaskBackgroungImage_" + std::to_string(i), 15);
        const Private::ImageLock lock(filled);
        EMULSION::Fill(lock.image(), getInputBackgroundColor(i).getValue());
        inputs[i] = filled;
    }
}

void RenderTask::callRenderRect(const EMULSION::Image* output, std::vector<ImageBuffer>& inputs)
{
    if (m_imp->m_switches.renderLocalLocking)
    {
        renderRect(output, inputs);
        return;
    }
    std::deque<Private::ImageLock> locks; // unlocks in the end, exceptions included
    std::vector<const EMULSION::Image*> images;
    images.reserve(inputs.size());
    for (const ImageBuffer& input : inputs)
        images.push_back(input.isNull() ? nullptr : locks.emplace_back(input).image());
    renderRect(output, images);
}

void RenderTask::setDiskCacheEnabled(bool enabled)
{
    m_imp->setDiskCacheEnabled(enabled);
}

void RenderTask::setSampleRate(float x, float y)
{
    m_imp->setSampleRate(x, y);
}

void RenderTask::setProbabilityBeingEdited(float probability)
{
    m_imp->setProbabilityBeingEdited(probability);
}

float RenderTask::getProbabilityIsNeeded() const
{
    return m_imp->getProbabilityIsNeeded();
}

void RenderTask::outputCachingInfo(std::ostream& stream) const
{
    stream << "Not Implemented Yet \n";
}

void RenderTask::getAllInputRenderTasks(std::vector<ref_ptr<RenderTask>>&) {}

}
