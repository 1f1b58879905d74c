#include <EMULSION/Composite.h>

#include "CompositeLayers.h"

// The operators that weigh whole pixels by alpha.

namespace QUILT::Private
{

namespace
{

using EMULSION::Image;

class OverTask final
    : public ReadsBothAlphas<WithKernelFlag<OptimizedCompositeTask<CopyOnMissing, CopyOnMissing>>>
{
public:
    using ReadsBothAlphas::ReadsBothAlphas;

    std::string getType() const override { return "Over"; }

    void compositeImages(const Image* output, const Image* a, const Image* b) override
    {
        EMULSION::Over(output, a, b, m_kernelFlag, backgroundA(), backgroundB());
    }
};

class UnderTask final
    : public ReadsBothAlphas<WithKernelFlag<OptimizedCompositeTask<CopyOnMissing, CopyOnMissing>>>
{
public:
    using ReadsBothAlphas::ReadsBothAlphas;

    std::string getType() const override { return "Under"; }

    void compositeImages(const Image* output, const Image* a, const Image* b) override
    {
        EMULSION::Over(output, b, a, m_kernelFlag, backgroundB(), backgroundA());
    }
};

class AtopTask final
    : public ReadsBothAlphas<WithKernelFlag<OptimizedCompositeTask<CopyOnMissing, ClearOnMissing>>>
{
public:
    using ReadsBothAlphas::ReadsBothAlphas;

    std::string getType() const override { return "Atop"; }

    void compositeImages(const Image* output, const Image* a, const Image* b) override
    {
        EMULSION::Atop(output, a, b, m_kernelFlag, backgroundA(), backgroundB());
    }
};

class InTask final
    : public CutByAlphaOfB<WithKernelFlag<OptimizedCompositeTask<ClearOnMissing, ClearOnMissing>>>
{
public:
    using CutByAlphaOfB::CutByAlphaOfB;

    std::string getType() const override { return "In"; }

    UTIL::Region computeOutputDataRegion() override
    {
        return regionOfProduct(hasZeroBackground(m_inputA),
                               getInputBackgroundColor(m_inputB).a == 0.0f);
    }

    void compositeImages(const Image* output, const Image* a, const Image* b) override
    {
        EMULSION::In(output, a, b, m_kernelFlag, backgroundA(), backgroundB());
    }
};

class OutTask final
    : public CutByAlphaOfB<WithKernelFlag<OptimizedCompositeTask<ClearOnMissing, CopyOnMissing>>>
{
public:
    using CutByAlphaOfB::CutByAlphaOfB;

    std::string getType() const override { return "Out"; }

    void compositeImages(const Image* output, const Image* a, const Image* b) override
    {
        EMULSION::Out(output, a, b, m_kernelFlag, backgroundA(), backgroundB());
    }
};

}

ref_ptr<RenderTask> makeAlphaComposite(const Composite& c)
{
    switch (c.op)
    {
    case COMPOSITEOP_OverPlain:
        return new OverTask(c.name, c.time, false, c.a, c.b);
    case COMPOSITEOP_Over:
        return new OverTask(c.name, c.time, c.flagB, c.a, c.b);
    case COMPOSITEOP_Under:
        return new UnderTask(c.name, c.time, c.flagB, c.a, c.b);
    case COMPOSITEOP_Atop:
        return new AtopTask(c.name, c.time, c.flagB, c.a, c.b);
    case COMPOSITEOP_In:
        return new InTask(c.name, c.time, c.flagB, c.b, c.a);
    case COMPOSITEOP_Out:
        return new OutTask(c.name, c.time, c.flagB, c.b, c.a);
    default:
        return nullptr;
    }
}

}
