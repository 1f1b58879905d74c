#include "private/ProceduralTask.h"

#include "private/CacheItems.h"
#include "private/Channels.h"

namespace QUILT::Private
{

void ProceduralTask::computeCacheID(CacheIDStream& stream)
{
    writeItems(stream, m_rect);
}

unsigned long ProceduralTask::computeOutputChannels()
{
    return Channels::RGBA;
}

UTIL::Region ProceduralTask::computeOutputDataRegion()
{
    return UTIL::Region(m_rect);
}

void ProceduralTask::makeInputFormatRequests() {}

void ProceduralTask::computeRequiredInputRectangles(const UTIL::Rect&, std::vector<UTIL::Rect>&) {}

}
