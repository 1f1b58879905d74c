#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include <EMULSION/Extend.h>
#include <ImathColor.h>

#include "InputRequest.h"
#include "LivingCounts.h"
#include "QUILT/ImageBuffer.h"
#include "QUILT/RefPtr.h"
#include "QUILT/RenderObserver.h"
#include "QUILT/RenderTask.h"
#include "QUILT/TileID.h"
#include "Tile.h"
#include "TileMap.h"
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
    /// Moves only forward, but for a description that fails.
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
    void addInputRequest(unsigned long inputID, unsigned long channels,
                         EMULSION::ExtendMethod extendMethod, bool extendWithOverscan,
                         const UTIL::Rect& inputDisplayRect);
    const std::vector<ref_ptr<RenderTask>>& inputTasks() const { return m_inputTasks; }

    unsigned long getDefinedInputChannels(size_t inputID) const;
    const UTIL::Region& getDefinedInputDataRegion(size_t inputID) const;
    const std::string& getInputCacheID(size_t inputID) const;
    const Imath::Color4<float>& getInputBackgroundColor(size_t inputID) const;
    unsigned long getRequiredOutputChannels() const { return m_requiredChannels; }
    unsigned long getRequiredInputChannels(long whichInput) const;

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

    // Tiles. The grid is that of the global tile size, or one tile for a full-frame task.

    int getTileWidth() const;
    int getTileHeight() const;

    /// Throws RenderTaskRenderingException when the area lies beyond what tiles can name.
    size_t convertToTileIDs(const UTIL::Rect& area, std::vector<TileID>& tileIDs) const;
    size_t convertToTileIDs(const UTIL::Region& area, std::vector<TileID>& tileIDs) const;

    /// The image of a finished tile; the tile must exist.
    ImageBuffer getTileImage(const TileID& id);
    void removeTile(const Tile& tile);

    // Set-up of a render: runs on one thread before any tile renders.

    /// From a list of outputs to the tiles that the render needs.
    ///
    /// Fills `readyTiles` with those that can start at once, in the stage InRenderQueue, and
    /// `finalTiles` with one entry for each output tile. Gives the number of tiles in all. Undoes
    /// nothing when it throws: the graph is then of no further use.
    static size_t setUpRender(const std::vector<RenderDescription>& outputs,
                              std::vector<ref_ptr<Tile>>& readyTiles,
                              std::vector<FinalTile>& finalTiles);

    size_t getOutputTaskCount() const { return m_outputTaskCount; }
    size_t getFinalRenderTaskID() const;

    // Rendering, on many threads at once

    /// Renders one tile. Gives the time that it took until preRender was done.
    TimeSpan renderTile(const EMULSION::Image* tileImage,
                        std::span<const UTIL::Rect> requiredInputRects);

    /// Counts a tile that has rendered or did not have to; true when it was the last of this task.
    bool countFinishedTile();

    /// Counts a tile of an output task that the observer has got; true when it was the last.
    bool countDeliveredTile() { return ++m_deliveredTileCount == m_tileCount; }

    /// Enters the seconds of a tile into the running average, and gives that.
    float addTileTime(float seconds);

    // Full frame and locking

    struct Switches
    {
        bool renderFullFrame = false;
        bool renderLocalLocking = false;
        bool wrapInputImagesIfBackground = false;
    };

    Switches m_switches;

    /// What a full-frame task keeps of its one piece.
    struct FullFrame
    {
        std::mutex lock; // guards the rest; pieces of the one tile come one after the other
        std::vector<UTIL::Rect> requiredInputRectangles;
        UTIL::Rect requiredOutputRect;
        ImageBuffer outputBuffer;
    };

    FullFrame m_fullFrame;

    // Caching and the history of edits

    void setCaching(bool caching) { m_caching = caching; }
    bool getCaching() const { return m_caching; }
    /// This task or one that feeds it has an effect outside: it must render, whatever the cache
    /// has.
    void setActsOutside() { m_actsOutside = true; }
    bool actsOutside() const { return m_actsOutside; }
    void setDiskCacheEnabled(bool enabled) { m_diskCacheEnabled = enabled; }
    void setSampleRate(float x, float y);
    float getSampleRateX() const { return m_sampleRateX; }
    float getSampleRateY() const { return m_sampleRateY; }
    void setProbabilityBeingEdited(float probability) { m_probabilityBeingEdited = probability; }
    float getProbabilityIsNeeded() const { return m_probabilityIsNeeded; }

private:
    friend struct TaskTestAccess;

    bool hasNoTiles();
    RenderTask_Imp& inputImp(size_t inputID) const;
    void computeOutputDescription();
    UTIL::Region computeOutputDataRegion();

    struct TileSize
    {
        int width = 0;
        int height = 0;
    };

    static TileSize globalTileSize();
    void countConsumers(const TileSize& tileSize);
    void collapse();
    static void mergeRuns(const std::vector<RenderTask_Imp*>& chain);
    void describeAsOutput(const RenderDescription& output);
    void makeOutputTiles(const UTIL::Region& region, std::vector<FinalTile>& finalTiles);
    static size_t setUpInputRequests(const std::vector<RenderDescription>& outputs,
                                     std::vector<ref_ptr<Tile>>& readyTiles);
    size_t setUpTilesAndRequests(std::vector<ref_ptr<Tile>>& readyTiles);
    void setUpTileInputs(Tile& tile);
    ref_ptr<Tile> getOrCreateTile(const TileID& id);

    static std::vector<RenderTask_Imp*>
    listInputsFirst(const std::vector<RenderDescription>& outputs);
    static void updateEditHistory(const std::vector<RenderDescription>& outputs);

    void addOutputTile(const UTIL::Rect& area, Tile* consumer);

    TimeSpan ensurePreRendered();
    std::vector<ImageBuffer> prepareInputImages(std::span<const UTIL::Rect> requiredInputRects);
    void renderPieces(const EMULSION::Image* tileImage, std::vector<ImageBuffer>& inputs);
    void noteFinishedTile();

    RenderTask* const m_parentTask;
    const std::string m_name;
    const std::string m_nameAtTime;
    const float m_time;

    std::atomic<RenderStage> m_renderStage{RENDERSTAGE_Init};
    std::vector<ref_ptr<RenderTask>> m_inputTasks;
    std::vector<std::unique_ptr<InputRequest>> m_inputRequests; // as long as m_inputTasks

    // The description, fixed once it has been computed.
    unsigned long m_definedChannels = 0;
    UTIL::Region m_definedDataRegion;
    Imath::Color4<float> m_backgroundColor{0.0f, 0.0f, 0.0f, 0.0f};
    std::string m_cacheID; // of this task and its inputs
    std::string m_nodeID;  // of this task alone
    std::vector<size_t> m_ignoredInputCacheIDs;

    // The render
    size_t m_outputTaskCount = 0; // edges by which other tasks consume this one
    size_t m_finishedConsumerCount = 0;
    bool m_outputsCounted = false;
    bool m_collapseVisited = false;
    TileSize m_tileSize;                  // of this render's grid, once there is one
    size_t m_finalRenderTaskID = 0;       // of an output task
    unsigned long m_requiredChannels = 0; // what the consumers want

    std::recursive_mutex m_tileMapMutex; // guards the next one; tiles leave it on any thread
    TileMap m_tileMap;
    std::vector<ref_ptr<Tile>> m_outputTiles; // of an output task: keeps the final tiles alive
    size_t m_tileCount = 0;
    std::atomic<size_t> m_deliveredTileCount{0};

    enum PreRenderState
    {
        NotRun,
        Done,
        Failed,
        Cancelled // it gave up with the render, which is no failure of its task
    };

    std::recursive_mutex m_renderMutex; // guards the next two, and preRender and postRender
    size_t m_finishedTileCount = 0;
    std::atomic<PreRenderState> m_preRenderState{NotRun}; // Done may be read without the mutex
    std::atomic<bool> m_cancelled{false}; // set when the task dies before it was rendered

    std::mutex m_tileTimeMutex; // a leaf lock: guards the next two
    float m_tileTimeSum = 0.0f;
    uint32_t m_tileTimeCount = 0;

    // The history of edits
    size_t m_editIndex = 0;      // this task's number among those of the render, inputs first
    std::string m_mergedNodeIDs; // of the in-place tasks that this one took over
    float m_probabilityBeingEdited = 1.0f; // 0 when the node is that of the last render
    float m_probabilityIsNeeded = 1.0f;
    float m_sampleRateX = 1.0f;
    float m_sampleRateY = 1.0f;
    bool m_isInHistory = false; // has its number

    bool m_caching = true;
    bool m_actsOutside = false;
    bool m_diskCacheEnabled = false;
    const Counted<Living::Tasks> m_counted;
};

}
