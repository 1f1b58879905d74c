#include "QUILT/RenderTask.h"

#include <ostream>

#include "private/Assert.h"
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
