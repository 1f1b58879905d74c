#include "private/ProceduralTask.h"

#include "private/CacheItems.h"

namespace QUILT::Private
{

void ProceduralTask::computeCacheID(CacheIDStream& stream)
{
    writeItems(stream, m_rect);
}

unsigned long ProceduralTask::computeOutputChannels()
{
    return EMULSION::ChannelRed | EMULSION::ChannelGreen | EMULSION::ChannelBlue |
           EMULSION::ChannelAlpha;
}

UTIL::Region ProceduralTask::computeOutputDataRegion()
{
    return UTIL::Region(m_rect);
}

void ProceduralTask::makeInputFormatRequests() {}

void ProceduralTask::computeRequiredInputRectangles(const UTIL::Rect&, std::vector<UTIL::Rect>&) {}

}
