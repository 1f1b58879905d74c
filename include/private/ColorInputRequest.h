#pragma once

#include "InputRequest.h"
#include "QUILT/TileID.h"

namespace QUILT::Private
{

/// Outside its data region the input is its background colour. Inside, a channel that it lacks is
/// 0; when it has none of those asked for, that holds without any tile of it.
class ColorInputRequest : public InputRequest
{
public:
    ColorInputRequest(RenderTask_Imp* inputTask, unsigned long channels);

    ImageBuffer getImage(const UTIL::Rect& rect) override;
    UTIL::Rect getRequiredRect(const UTIL::Rect& rect) override;
    unsigned long getChannels() override { return m_channels; }

protected:
    ImageBuffer makeTemporary(const UTIL::Rect& rect) const;
    bool needsTiles() const;
    ImageBuffer getTileImage(const TileID& id) const;

    RenderTask_Imp* const m_inputTask;
    const unsigned long m_channels; // as asked for: perhaps more than the input defines
    const Imath::Color4<float> m_backgroundColor;

private:
    static void copyInto(const ImageBuffer& destination, const ImageBuffer& source);
    ImageBuffer assemble(const UTIL::Rect& rect, const std::vector<TileID>& tileIDs) const;
    ImageBuffer assembleWithBackground(const UTIL::Rect& rect, const UTIL::Region& pieces) const;
};

}
