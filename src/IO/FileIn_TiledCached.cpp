#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include <EMULSION/Plumbing.h>
#include <ImathVec.h>

#include "FileReadTask.h"
#include "private/Assert.h"
#include "private/ImageLock.h"
#include "QUILT/Exceptions.h"
#include "ReadTasks.h"

namespace QUILT
{

namespace
{

using FileTileID = Imath::Vec2<int>;

struct ByRow
{
    bool operator()(const FileTileID& a, const FileTileID& b) const
    {
        return a.y != b.y ? a.y < b.y : a.x < b.x;
    }
};

// Reads an OpenEXR file tile by tile. Its tiles are not those of the render: one serves several
// render tiles, and one render tile needs several. Each is read at most once, and its pixels go
// when the last of those that the render needs has been copied out. How many that are is counted
// before the render begins.
class TiledCachedExrRenderTask final : public Private::FileReadTask
{
public:
    using FileReadTask::FileReadTask;

    std::string getType() const override { return "FileIn.Tiled"; }

    void computeCacheID(CacheIDStream& stream) override
    {
        describeFile();
        m_dataRegion = m_options.overrideWindows ? m_options.dataRegion : m_description.dataRegion;
        m_displayRect =
            m_options.overrideWindows ? m_options.displayRect : m_description.displayRect;
        writeIdentity(stream);
    }

    UTIL::Region computeOutputDataRegion() override { return m_dataRegion; }

    void preRender() override
    {
        m_readFunction = EMULSION::createTiledReadExrFunction(m_filename.c_str(), m_options,
                                                              m_tileWidth, m_tileHeight);
        CheckError();
        requireSameFile(m_readFunction->stamp());

        std::vector<UTIL::Rect> requested;
        requested.reserve(m_requested.size());
        for (const auto& [id, rect] : m_requested)
            requested.push_back(rect);
        const UTIL::Region required =
            UTIL::Region::fromRectangles(requested).intersected(m_dataRegion);
        const unsigned long channels = getRequiredOutputChannels();
        for (const auto& [id, tileRect] : fileTilesOf(required.getBounds()))
        {
            const UTIL::Region needed = required.intersected(tileRect);
            if (needed.isEmpty())
                continue;
            ImageBuffer buffer(channels, needed.getBounds(), "FILEIN.EXRTileImage", 15);
            m_exrTiles[id] = Record{std::move(buffer), needed.area(), false};
        }
    }

    void renderRect(const EMULSION::Image* output,
                    const std::vector<const EMULSION::Image*>&) override
    {
        for (const auto& [id, tileRect] : fileTilesOf(output->bounds))
        {
            ImageBuffer buffer = loaded(id);
            uint64_t copied = 0;
            {
                const Private::ImageLock lock(buffer);
                EMULSION::CopyInto(output, lock.image());
                copied = UTIL::Region(buffer.getBounds().intersect(output->bounds)).area();
            }
            countDown(id, copied);
        }
    }

    void postRender() override { m_readFunction = nullptr; }

private:
    struct Record
    {
        ImageBuffer m_buffer; // the part of the file tile that the render needs
        uint64_t m_pixelsLeft;
        bool m_loaded;
    };
    using Records = std::map<FileTileID, Record, ByRow>;

    std::vector<std::pair<FileTileID, UTIL::Rect>> fileTilesOf(const UTIL::Rect& rect) const
    {
        std::vector<std::pair<FileTileID, UTIL::Rect>> tiles;
        EMULSION::convertRectToEXRTileIDs(rect, m_dataRegion.getBounds(), m_displayRect,
                                          m_tileWidth, m_tileHeight, tiles);
        return tiles;
    }

    // The file tile's pixels, read by whoever comes first. One is read at a time.
    ImageBuffer loaded(const FileTileID& id)
    {
        const std::lock_guard lock(m_mutex);
        const auto i = m_exrTiles.find(id);
        QUILT_ASSERT(i != m_exrTiles.end());
        Record& record = i->second;
        if (!record.m_loaded)
        {
            const Private::ImageLock bufferLock(record.m_buffer);
            (*m_readFunction)(bufferLock.image());
            CheckError();
            record.m_loaded = true;
        }
        return record.m_buffer;
    }

    void countDown(const FileTileID& id, uint64_t copied)
    {
        Records::node_type usedUp; // goes after the lock, with its pixels
        const std::lock_guard lock(m_mutex);
        const auto i = m_exrTiles.find(id);
        QUILT_ASSERT(i != m_exrTiles.end());
        QUILT_ASSERT(copied <= i->second.m_pixelsLeft);
        i->second.m_pixelsLeft -= copied;
        if (i->second.m_pixelsLeft == 0)
            usedUp = m_exrTiles.extract(i);
    }

    UTIL::Region m_dataRegion; // the windows in force
    UTIL::Rect m_displayRect;
    long m_tileWidth = 0; // of the file
    long m_tileHeight = 0;

    std::mutex m_mutex; // guards the next two; before the locks of images
    std::unique_ptr<EMULSION::ReadImageFunction> m_readFunction;
    Records m_exrTiles; // the file tiles that this render touches
};

}

namespace Private
{

ref_ptr<RenderTask> createTiledReadTask(const std::string& name, float time,
                                        const FileInParams& params)
{
    return new TiledCachedExrRenderTask(name, time, params);
}

}

}
