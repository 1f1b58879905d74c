#include "BaseGradientTask.h"

#include <EMULSION/ColorSpace.h>
#include <EMULSION/Plumbing.h>

#include "private/CacheItems.h"
#include "private/Channels.h"
#include "private/ImageLock.h"

namespace QUILT::Private
{

void BaseGradientTask::computeCacheID(CacheIDStream& stream)
{
    ProceduralTask::computeCacheID(stream);
    writeItems(stream, m_colorspace);
    writeParameters(stream);
    // Another configuration may give the same name another meaning.
    if (!m_colorspace.empty())
        writeItems(stream, EMULSION::GetColorConfigID());
}

void BaseGradientTask::renderRect(const EMULSION::Image* output,
                                  const std::vector<const EMULSION::Image*>&)
{
    const unsigned long wanted = output->channels & Channels::RGB;
    if (m_colorspace.empty() || wanted == 0)
        return paint(output);
    if (wanted == Channels::RGB)
    {
        paint(output);
        return convertImage(output);
    }
    // A conversion may make each channel of all three. What comes out must not depend on which of
    // them are wanted.
    const ImageLock whole(ImageBuffer(output->channels | Channels::RGB, output->bounds, "Gradient",
                                      output->channels));
    paint(whole.image());
    convertImage(whole.image());
    EMULSION::Copy(output, whole.image());
}

void BaseGradientTask::convertColor(Imath::Color4<float>& color) const
{
    color = EMULSION::ConvertColorspaceToLinear(color, m_colorspace);
}

void BaseGradientTask::convertImage(const EMULSION::Image* image) const
{
    EMULSION::ConvertColorspaceToLinear(image, image, m_colorspace);
}

}
