#include <algorithm>
#include <limits>
#include <memory>
#include <mutex>

#include <EMULSION/Plumbing.h>

#include "FileReadTask.h"
#include "private/Assert.h"
#include "private/FileTileStore.h"
#include "private/ImageLock.h"
#include "QUILT/Exceptions.h"
#include "ReadTasks.h"

namespace QUILT
{

namespace
{

// Reads a file whose rows can be had band by band. The first tile that needs rows of the file reads
// one band as wide as the render needs, and cuts it into the pixels of its tiles; the others find
// theirs.
class FileInScanlineRenderTask final : public Private::FileReadTask
{
public:
    using FileReadTask::FileReadTask;

    std::string getType() const override { return "FileIn.DeferredScanlineLoad"; }

    void preRender() override
    {
        m_readFunction = EMULSION::createReadImageFunction(m_filename.c_str(), m_options);
        requireReadFunction();
        requireSameFile(m_readFunction->stamp());
    }

    void renderRect(const EMULSION::Image* output,
                    const std::vector<const EMULSION::Image*>&) override
    {
        std::vector<TileID> tiles;
        if (convertToTileIDs(output->bounds, tiles) == 0)
            return;
        loadTilesForRect(tiles);
        for (const TileID& id : tiles)
            QUILT_ASSERT_TEXT(m_tiles.use(id, output), "tileIt != m_imageTiles.end()");
    }

    void postRender() override { m_tiles.clear(); }

private:
    void requireReadFunction() const
    {
        if (m_readFunction)
            return;
        CheckError();
        throw RenderTaskRenderingException(
            this, "Could not create Create ReadImageFunction for file '" + m_filename + "'.\n", -1);
    }

    // One band is read at a time: a second thread that wants the same waits, and finds its tile.
    void loadTilesForRect(const std::vector<TileID>& tiles)
    {
        const std::lock_guard lock(m_mutex);
        int64_t minY = std::numeric_limits<int64_t>::max();
        int64_t maxY = std::numeric_limits<int64_t>::min();
        bool complete = true;
        for (const TileID& id : tiles)
        {
            minY = std::min(minY, id.rect().y0);
            maxY = std::max(maxY, id.rect().y1);
            complete = m_tiles.holds(id);
            if (!complete)
                break;
        }
        if (!complete)
            readBand(m_requiredBounds.intersect(
                UTIL::Rect(m_requiredBounds.x0, minY, m_requiredBounds.x1, maxY)));
    }

    void readBand(const UTIL::Rect& band)
    {
        std::vector<TileID> tiles;
        convertToTileIDs(band, tiles);
        // A band of one tile is that tile; its pixels need not be copied out of a strip.
        const std::string comment =
            tiles.size() == 1 ? Private::fileTileComment(getName(), tiles[0]) : getName();
        const ImageBuffer strip(m_description.channels, band, comment, 15);
        const Private::ImageLock stripLock(strip);
        requireReadFunction();
        (*m_readFunction)(stripLock.image());
        CheckError();

        for (const TileID& id : tiles)
        {
            const UTIL::Region remaining =
                getDefinedOutputDataRegion().intersected(requestedIn(id).intersect(band));
            if (remaining.isEmpty())
                continue;
            m_tiles.add(id, tiles.size() == 1 ? strip : cut(id, band, stripLock), remaining);
        }
    }

    ImageBuffer cut(const TileID& id, const UTIL::Rect& band, const Private::ImageLock& strip) const
    {
        const ImageBuffer part(m_description.channels, id.rect().intersect(band),
                               Private::fileTileComment(getName(), id), 15);
        const Private::ImageLock partLock(part);
        EMULSION::Copy(partLock.image(), strip.image());
        return part;
    }

    std::unique_ptr<EMULSION::ReadImageFunction> m_readFunction;
    std::mutex m_mutex; // held while a band is read; before the locks of images
    Private::FileTileStore m_tiles;
};

}

namespace Private
{

ref_ptr<RenderTask> createScanlineReadTask(const std::string& name, float time,
                                           const FileInParams& params)
{
    return new FileInScanlineRenderTask(name, time, params);
}

}

}
