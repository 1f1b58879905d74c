#include <EMULSION/Plumbing.h>

#include "FileReadTask.h"
#include "private/Assert.h"
#include "private/CacheItems.h"
#include "private/FileTileStore.h"
#include "private/ImageLock.h"
#include "ReadTasks.h"

namespace QUILT
{

namespace
{

bool isMovie(const std::string& filename)
{
    return filename.ends_with(".avi") || filename.ends_with(".svi");
}

// Reads a file that can only be read whole, before the first tile renders, and cuts it into the
// pixels of the tiles.
class FileInPreloadRenderTask final : public Private::FileReadTask
{
public:
    FileInPreloadRenderTask(const std::string& name, float time, const FileInParams& params)
        : FileReadTask(name, time, params), m_frame(params.frame)
    {}

    std::string getType() const override { return "FileIn.FullImagePreload"; }

    // Frames of a still image are one picture, and share what the cache has of it.
    void computeCacheID(CacheIDStream& stream) override
    {
        ImageHeaderCache_GetImageDescription(&m_description, m_filename, true);
        if (isMovie(m_filename))
            Private::writeItems(stream, m_frame);
        writeIdentity(stream);
    }

    void preRender() override
    {
        const ImageBuffer whole(m_description.channels, m_requiredBounds, getName(), 15);
        const Private::ImageLock wholeLock(whole);
        const std::string path =
            isMovie(m_filename) ? m_filename + '|' + std::to_string(m_frame) : m_filename;
        EMULSION::ReadImage(wholeLock.image(), path.c_str(), "", m_options);

        for (const auto& [id, requested] : m_requested)
        {
            const ImageBuffer part(m_description.channels, id.rect().intersect(m_requiredBounds),
                                   Private::fileTileComment(getName(), id), 15);
            const Private::ImageLock partLock(part);
            EMULSION::Copy(partLock.image(), wholeLock.image());
            m_tiles.add(id, part, getDefinedOutputDataRegion().intersected(requested));
        }
    }

    void renderRect(const EMULSION::Image* output,
                    const std::vector<const EMULSION::Image*>&) override
    {
        std::vector<TileID> tiles;
        convertToTileIDs(output->bounds, tiles);
        for (const TileID& id : tiles)
        {
            QUILT_ASSERT_TEXT(requestedIn(id).contains(output->bounds.intersect(id.rect())),
                              "m_requiredInputRectangles.contains(outputRect)");
            QUILT_ASSERT_TEXT(m_tiles.use(id, output), "tileIt != m_imageTiles.end()");
        }
    }

    void postRender() override { m_tiles.clear(); }

private:
    const int64_t m_frame;
    Private::FileTileStore m_tiles;
};

}

namespace Private
{

ref_ptr<RenderTask> createPreloadReadTask(const std::string& name, float time,
                                          const FileInParams& params)
{
    return new FileInPreloadRenderTask(name, time, params);
}

}

}
