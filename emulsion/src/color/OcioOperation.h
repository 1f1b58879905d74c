#pragma once

#include <OpenColorIO/OpenColorIO.h>

#include "EMULSION/PixelOperation.h"

namespace EMULSION::Private
{

/// A processor of OpenColorIO. It always gets packed pixels of four channels, so that what it makes
/// of them does not depend on how an image is laid out. Of the results, the channels in `affected`
/// are kept.
class OcioOperation final : public PixelOperation
{
public:
    /// `name` is not copied.
    OcioOperation(const char* name, OCIO_NAMESPACE::ConstCPUProcessorRcPtr processor,
                  uint64_t affected);

    const char* getName() const override { return m_name; }
    uint64_t getRequiredChannels(uint64_t wanted) const override;
    void transform(float* const planes[4], size_t count, uint64_t wanted) const override;

private:
    const char* const m_name;
    const OCIO_NAMESPACE::ConstCPUProcessorRcPtr m_processor;
    const uint64_t m_affected;
};

}
