#pragma once

#include <map>
#include <string>
#include <vector>

#include <EMULSION/ImageFile.h>

#include "QUILT/FileTasks.h"
#include "QUILT/RenderTask.h"

namespace QUILT::Private
{

/// What the tasks that read a picture from a file have in common: no inputs, a description from the
/// header cache, and the rectangles that a render is going to ask for, which set-up tells.
class FileReadTask : public RenderTask
{
public:
    FileReadTask(const std::string& name, float time, const FileInParams& params)
        : RenderTask(name, time), m_filename(params.filename), m_options(params)
    {}

    void computeCacheID(CacheIDStream& stream) override;
    unsigned long computeOutputChannels() override;
    UTIL::Region computeOutputDataRegion() override;
    void makeInputFormatRequests() override {}
    void computeRequiredInputRectangles(const UTIL::Rect& outputRect,
                                        std::vector<UTIL::Rect>& inputRects) override;
    using RenderTask::renderRect;

protected:
    /// Fills m_description; a failure is one of this task.
    void describeFile();

    /// The file, the options, and which state of the file this is.
    void writeIdentity(CacheIDStream& stream) const;

    /// Fails when the file that was opened is not the one that was described.
    void requireSameFile(const EMULSION::FileStamp& stamp) const;

    /// What the render is going to ask for in a tile; null when nothing is.
    UTIL::Rect requestedIn(const TileID& id) const;

    const std::string m_filename;
    const EMULSION::InputImageOptions m_options;
    EMULSION::ImageDescription m_description;

    // Written during set-up, read while tiles render. One rectangle a tile: a region of all of them
    // would be searched for each tile.
    std::map<TileID, UTIL::Rect> m_requested;
    UTIL::Rect m_requiredBounds;
};

}
