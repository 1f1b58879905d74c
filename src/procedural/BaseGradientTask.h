#pragma once

#include <string>

#include <ImathColor.h>

#include "private/ProceduralTask.h"

namespace QUILT::Private
{

/// The base of gradients: a picture whose colours are given in a colour space.
///
/// A colour space applies twice. Each colour is made linear by convertColor, in the constructor of
/// the subclass, and what is painted with these colours is read as a picture in that space once
/// more and made linear as a whole. The empty name stands for colours that are linear already.
class BaseGradientTask : public ProceduralTask
{
public:
    BaseGradientTask(const std::string& name, float time, const UTIL::Rect& rect,
                     const std::string& colorspace)
        : ProceduralTask(name, time, rect), m_colorspace(colorspace)
    {}

    void computeCacheID(CacheIDStream& stream) final;

    using RenderTask::renderRect;
    void renderRect(const EMULSION::Image* output,
                    const std::vector<const EMULSION::Image*>& inputs) final;

protected:
    /// Writes what changes the picture beside its rectangle and its colour space.
    virtual void writeParameters(CacheIDStream& stream) = 0;

    /// Fills the image, with colours that convertColor has made linear.
    virtual void paint(const EMULSION::Image* image) = 0;

    void convertColor(Imath::Color4<float>& color) const;

    const std::string m_colorspace;

private:
    void convertImage(const EMULSION::Image* image) const;
};

}
