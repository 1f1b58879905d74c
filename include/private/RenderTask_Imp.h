#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <ImathColor.h>

#include "LivingCounts.h"
#include "QUILT/RefPtr.h"
#include "QUILT/RenderTask.h"
#include "UTIL/Rect.h"
#include "UTIL/Region.h"

namespace QUILT::Private
{

/// The private half of a task: its inputs, its description, its tiles and its progress through one
/// render. The RenderTask owns it and forwards to it.
///
/// The description runs on one thread: the caller's while the graph is built, then the one that
/// sets up the render. Everything that set-up writes reaches the threads that render through the
/// job queue's lock.
class RenderTask_Imp
{
public:
    /// Moves only forward.
    enum RenderStage
    {
        RENDERSTAGE_Init,                      ///< inputs may be registered
        RENDERSTAGE_ComputeOutputDescription,  ///< the description has begun
        RENDERSTAGE_ReadyToSetUpInputRequests, ///< all consumers have posted their requests
        RENDERSTAGE_InputRequestsSetUp         ///< its own requests are posted: tiles may run
    };

    RenderTask_Imp(RenderTask* parentTask, const std::string& name, float time);
    ~RenderTask_Imp();
    RenderTask_Imp(const RenderTask_Imp&) = delete;
    RenderTask_Imp& operator=(const RenderTask_Imp&) = delete;

    static RenderTask_Imp& of(const RenderTask& task) { return *task.m_imp; }

    RenderTask& parentTask() const { return *m_parentTask; }
    const std::string& getName() const { return m_name; }
    const std::string& getNameAtTime() const { return m_nameAtTime; }
    float getTime() const { return m_time; }
    std::string getType() const;

    // Inputs and requests

    size_t registerInputTask(ref_ptr<RenderTask> inputTask);
    void ignoreInputCacheID(size_t inputID) { m_ignoredInputCacheIDs.push_back(inputID); }
    const std::vector<ref_ptr<RenderTask>>& inputTasks() const { return m_inputTasks; }

    unsigned long getDefinedInputChannels(size_t inputID) const;
    const UTIL::Region& getDefinedInputDataRegion(size_t inputID) const;
    const std::string& getInputCacheID(size_t inputID) const;
    const Imath::Color4<float>& getInputBackgroundColor(size_t inputID) const;
    unsigned long getRequiredOutputChannels() const { return m_requiredChannels; }

    // Description

    void describe(); ///< computes the description unless that has been done
    void getOutputDescription(unsigned long* channels, UTIL::Region* region);
    const std::string& getCacheID();
    const std::string& getNodeID();
    unsigned long getDefinedChannels() const { return m_definedChannels; }
    const UTIL::Region& getDefinedDataRegion() const { return m_definedDataRegion; }
    const Imath::Color4<float>& getBackgroundColor() const { return m_backgroundColor; }

    /// Empties the map of all tasks that were registered as inputs, by their identity.
    static void clearRenderTaskCache();

    // Caching and the history of edits

    void setCaching(bool caching) { m_caching = caching; }
    bool getCaching() const { return m_caching; }
    void setDiskCacheEnabled(bool enabled) { m_diskCacheEnabled = enabled; }
    void setSampleRate(float x, float y);
    float getSampleRateX() const { return m_sampleRateX; }
    float getSampleRateY() const { return m_sampleRateY; }
    void setProbabilityBeingEdited(float probability) { m_probabilityBeingEdited = probability; }
    float getProbabilityIsNeeded() const { return m_probabilityIsNeeded; }

private:
    void releaseInputTasks();
    RenderTask_Imp& inputImp(size_t inputID) const;
    void computeOutputDescription();
    UTIL::Region computeOutputDataRegion();

    RenderTask* const m_parentTask;
    const std::string m_name;
    const std::string m_nameAtTime;
    const float m_time;

    std::atomic<RenderStage> m_renderStage{RENDERSTAGE_Init};
    std::vector<ref_ptr<RenderTask>> m_inputTasks;

    // The description, fixed once it has been computed.
    unsigned long m_definedChannels = 0;
    UTIL::Region m_definedDataRegion;
    Imath::Color4<float> m_backgroundColor{0.0f, 0.0f, 0.0f, 0.0f};
    std::string m_cacheID; // of this task and its inputs
    std::string m_nodeID;  // of this task alone
    std::vector<size_t> m_ignoredInputCacheIDs;

    unsigned long m_requiredChannels = 0; // what the consumers want

    bool m_caching = true;
    bool m_diskCacheEnabled = false;
    float m_sampleRateX = 1.0f;
    float m_sampleRateY = 1.0f;
    float m_probabilityBeingEdited = 1.0f;
    float m_probabilityIsNeeded = 1.0f;
    const Counted<Living::Tasks> m_counted;
};

}
