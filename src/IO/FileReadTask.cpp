#include "FileReadTask.h"

#include "private/CacheItems.h"
#include "QUILT/Exceptions.h"

namespace QUILT::Private
{

void FileReadTask::computeCacheID(CacheIDStream& stream)
{
    describeFile();
    writeIdentity(stream);
}

void FileReadTask::describeFile()
{
    try
    {
        ImageHeaderCache_GetImageDescription(&m_description, m_filename, true);
    }
    catch (const std::exception& error)
    {
        throw RenderTaskRenderingException(this, error.what(), -1);
    }
}

// Behind the name stands the file's stamp, so that what was rendered from an older state of the
// file is not found again.
void FileReadTask::writeIdentity(CacheIDStream& stream) const
{
    stream << m_filename << ',' << m_options << ',';
    const EMULSION::FileStamp& stamp = m_description.stamp;
    writeItems(stream, stamp.modified, stamp.size, stamp.inode);
}

void FileReadTask::requireSameFile(const EMULSION::FileStamp& stamp) const
{
    if (!(stamp == m_description.stamp))
        throw RenderTaskRenderingException(
            this, "The file '" + m_filename + "' has changed since its header was read.", -1);
}

unsigned long FileReadTask::computeOutputChannels()
{
    if (m_options.useFileChannels)
        return m_description.channels;
    unsigned long channels = 0;
    for (unsigned i = 0; i < 4; ++i)
        channels |= m_options.channelNames[i].empty() ? 0ul : 1ul << i;
    return channels;
}

UTIL::Region FileReadTask::computeOutputDataRegion()
{
    return m_description.dataRegion.getBounds();
}

void FileReadTask::computeRequiredInputRectangles(const UTIL::Rect& outputRect,
                                                  std::vector<UTIL::Rect>&)
{
    std::vector<TileID> ids;
    convertToTileIDs(outputRect, ids);
    for (const TileID& id : ids)
        m_requested[id] = m_requested[id].unite(outputRect.intersect(id.rect()));
    m_requiredBounds = m_requiredBounds.unite(outputRect);
}

UTIL::Rect FileReadTask::requestedIn(const TileID& id) const
{
    const auto requested = m_requested.find(id);
    return requested == m_requested.end() ? UTIL::Rect() : requested->second;
}

}
