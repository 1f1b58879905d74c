#include "color/OcioOperation.h"

#include <utility>

namespace EMULSION::Private
{

OcioOperation::OcioOperation(const char* name, OCIO_NAMESPACE::ConstCPUProcessorRcPtr processor,
                             uint64_t affected)
    : m_name(name), m_processor(std::move(processor)), m_affected(affected)
{}

uint64_t OcioOperation::getRequiredChannels(uint64_t wanted) const
{
    return wanted & m_affected ? 15 : wanted;
}

void OcioOperation::transform(float* const planes[4], size_t count, uint64_t wanted) const
{
    if (!(wanted & m_affected))
        return;
    float pixels[4 * s_stripLength];
    for (size_t i = 0; i < count; ++i)
    {
        for (size_t channel = 0; channel < 4; ++channel)
            pixels[4 * i + channel] = planes[channel][i];
    }
    OCIO_NAMESPACE::PackedImageDesc strip(pixels, static_cast<long>(count), 1, 4);
    m_processor->apply(strip);
    for (size_t channel = 0; channel < 4; ++channel)
    {
        if (!(m_affected >> channel & 1))
            continue;
        for (size_t i = 0; i < count; ++i)
            planes[channel][i] = pixels[4 * i + channel];
    }
}

}
