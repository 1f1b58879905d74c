#pragma once

#include <atomic>
#include <cstddef>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include <ImathColor.h>

#include <EMULSION/Extend.h>
#include <EMULSION/Image.h>

#include "QUILT/CacheIDStream.h"
#include "QUILT/Export.h"
#include "QUILT/ImageBuffer.h"
#include "QUILT/RefPtr.h"
#include "QUILT/TileID.h"
#include "UTIL/Rect.h"
#include "UTIL/Region.h"

namespace QUILT
{

namespace Private
{
class RenderTask_Imp;
}

/// A node of the image graph: one operation with its parameters and its inputs.
///
/// A task says what it produces (channels, data region, background colour, identity), what it needs
/// of its inputs for one of its rectangles, and renders one rectangle on request. It sees neither
/// tiles nor threads.
///
/// Tasks are made by the createXxxTask factories, are immutable in their parameters, and serve one
/// render: for the next one the caller empties the render task cache
/// (RenderManager::ClearRenderTaskCache) and builds a new graph. Graphs are built on one thread at
/// a time.
///
/// A channel mask is a sum of 1 red, 2 green, 4 blue, 8 alpha. A programmer's error fails an
/// assertion (UTIL::AssertException) and leaves the task unchanged.
class QUILT_API RenderTask : public ThreadSafeRefBase
{
public:
    /// `name` is the node's name, also in the history of edits; `time` is kept for the caller.
    RenderTask(const std::string& name, float time);

    /// Waits until no tile of this task is left.
    ~RenderTask() override;

    // What an operation answers. The description (identity, channels, background, region) is
    // computed once, on the thread that builds or sets up the graph, after that of all inputs.

    virtual std::string getType() const = 0;

    /// Writes every parameter that changes the output.
    virtual void computeCacheID(CacheIDStream& stream) = 0;

    /// The channels that this task defines.
    virtual unsigned long computeOutputChannels() = 0;

    /// The region in which this task can hold data other than its background colour.
    virtual UTIL::Region computeOutputDataRegion() = 0;

    /// The colour outside the data region: that of input 0, all zero without inputs.
    virtual Imath::Color4<float> computeBackgroundColor();

    /// Calls addInputRequest for each input that the task reads. Runs during set-up, when
    /// getRequiredOutputChannels is valid, and not at all when no channel is required.
    virtual void makeInputFormatRequests() = 0;

    /// For one rectangle of the output, the rectangle needed of each input. `inputRects` arrives
    /// with one null rectangle for each input; one that is left null means that nothing is read of
    /// that input. Runs once for each tile, during set-up.
    virtual void computeRequiredInputRectangles(const UTIL::Rect& outputRect,
                                                std::vector<UTIL::Rect>& inputRects) = 0;

    /// Runs once, before the first tile of this task, on any thread; no tile renders meanwhile.
    virtual void preRender();

    /// Renders all of `output`'s bounds, which lie in the data region. Runs on many threads at once
    /// for different tiles, unless the task renders in full frame.
    ///
    /// `inputs` has one entry for each input: an image that holds at least the rectangle that was
    /// asked for, perhaps more, or null where there is no request or no data. This form is for
    /// immediate locking, the default.
    virtual void renderRect(const EMULSION::Image* output,
                            const std::vector<const EMULSION::Image*>& inputs);

    /// The form for delayed locking: the task locks its inputs itself, when and for as long as it
    /// needs them.
    virtual void renderRect(const EMULSION::Image* output, std::vector<ImageBuffer>& inputs);

    /// Runs once, after the last tile of this task has rendered, on any thread.
    virtual void postRender();

    // Name and place

    const std::string& getName() const;
    const std::string& getNameAtTime() const; ///< the name, "@", the time
    float getTime() const;

    // For a subclass's constructor and factory

    /// Appends an input and gives its index, counted from 0.
    ///
    /// Describes the input first. A task with the same identity that is in the render task cache
    /// already takes its place, so that equal subgraphs are one node.
    size_t registerInputTask(ref_ptr<RenderTask> inputTask);

    /// The identity of this input will not enter that of this task: the output does not depend on
    /// its pixels. To be called before the description.
    void ignoreInputCacheID(unsigned long inputID);

    /// A full-frame task renders its whole required area in one piece; with
    /// `wrapInputImagesIfBackground` it then gets a filled image for an input without data.
    void setRenderFullFrame(bool fullFrame, bool wrapInputImagesIfBackground);
    /// The task has an effect outside, such as a file that it writes, and so has to render each
    /// time: neither its tiles nor those of any task that it feeds come from the cache or go there.
    /// To be called before the task becomes an input.
    void setActsOutside();

    void setRenderLocalLocking(bool localLocking); ///< true: delayed locking
    void setWrapInputImagesIfBackground(bool wrap);

    // For use inside the operations above

    /// Requests `channels` of an input, which is its background colour outside its data region.
    void addInputRequest(unsigned long inputID, unsigned long channels);

    /// Requests `channels` of an input that goes on beyond its edge.
    ///
    /// \param extendWithOverscan  true: the edge is that of the data; false: data beyond
    ///                            `inputDisplayRect` is not read, its edge is the edge
    /// \param inputDisplayRect    not null unless the method is ExtendNone
    void addInputRequest(unsigned long inputID, unsigned long channels,
                         EMULSION::ExtendMethod extendMethod, bool extendWithOverscan,
                         const UTIL::Rect& inputDisplayRect);

    unsigned long getInputTaskCount() const;
    unsigned long getDefinedInputChannels(unsigned long inputID);
    const UTIL::Region& getDefinedInputDataRegion(unsigned long inputID);
    const std::string& getInputCacheID(unsigned long inputID);
    const Imath::Color4<float>& getInputBackgroundColor(unsigned long inputID);

    unsigned long getRequiredOutputChannels() const; ///< what the consumers want of this task

    /// The channels of this task's request on that input. The input must have a request.
    unsigned long getRequiredInputChannels(long inputID) const;

    // For the caller and the engine

    /// Describes the task if that has not happened yet, and fills whatever pointer is not null.
    void getOutputDescription(unsigned long* channels, UTIL::Region* region);
    const UTIL::Region& getDefinedOutputDataRegion() const; ///< valid once described
    const Imath::Color4<float>& getBackgroundColor();       ///< describes the task if needed

    /// The identity of this task with all that is above it: equal for two tasks when their pixels
    /// are equal. Describes the task if needed.
    const std::string& getCacheID();

    /// The caller's ID of this output task; no other task may consume it.
    unsigned long getFinalRenderTaskID();

    /// Whether finished tiles of this task are offered to the cache. True unless told otherwise.
    void setCaching(bool caching);
    bool getCaching();
    void setDiskCacheEnabled(bool enabled); ///< kept for the caller; without effect

    void setSampleRate(float x, float y);
    void setProbabilityBeingEdited(float probability);
    float getProbabilityIsNeeded() const;

    int getTileWidth() const;  ///< -1 for a full-frame task, otherwise the global tile width
    int getTileHeight() const; ///< the same for the height
    bool isRenderTiled();

    /// The tiles of this task's grid that touch the area, in the order of TileID; gives their
    /// number.
    size_t convertToTileIDs(const UTIL::Rect& area, std::vector<TileID>& tileIDs) const;
    size_t convertToTileIDs(const UTIL::Region& area, std::vector<TileID>& tileIDs) const;

    /// The engine's ways into computeRequiredInputRectangles and renderRect.
    void computeRequiredInputRects(const UTIL::Rect& outputRect,
                                   std::vector<UTIL::Rect>& inputRects);
    void render(const EMULSION::Image* output, std::vector<ImageBuffer>& inputs);
    void callRenderRect(const EMULSION::Image* output, std::vector<ImageBuffer>& inputs);

    void outputCachingInfo(std::ostream& stream) const;
    void getAllInputRenderTasks(std::vector<ref_ptr<RenderTask>>& tasks); ///< leaves it as it was

    static std::atomic<long> s_count; ///< tasks alive in this process

private:
    friend class Private::RenderTask_Imp;

    void renderFullFrame(const EMULSION::Image* output, std::vector<ImageBuffer>& inputs);
    void wrapMissingInputs(std::vector<ImageBuffer>& inputs);

    const std::unique_ptr<Private::RenderTask_Imp> m_imp;
};

}
