#include <EMULSION/Composite.h>

#include "CompositeLayers.h"

// The operators that choose one of two values, wholly or where light would overflow.

namespace QUILT::Private
{

namespace
{

using EMULSION::Image;

class MaxTask final : public WithKernelFlag<BaseCompositeTask>
{
public:
    using WithKernelFlag::WithKernelFlag;

    std::string getType() const override { return "Max"; }

    void compositeImages(const Image* output, const Image* a, const Image* b) override
    {
        EMULSION::Max(output, a, b, m_kernelFlag, backgroundA(), backgroundB());
    }
};

class MinTask final : public WithKernelFlag<BaseCompositeTask>
{
public:
    using WithKernelFlag::WithKernelFlag;

    std::string getType() const override { return "Min"; }

    void compositeImages(const Image* output, const Image* a, const Image* b) override
    {
        EMULSION::Min(output, a, b, m_kernelFlag, backgroundA(), backgroundB());
    }
};

class ScreenTask final : public WithKernelFlag<BaseCompositeTask>
{
public:
    using WithKernelFlag::WithKernelFlag;

    std::string getType() const override { return "Screen"; }

    void compositeImages(const Image* output, const Image* a, const Image* b) override
    {
        EMULSION::Screen(output, a, b, m_kernelFlag, backgroundA(), backgroundB());
    }
};

}

ref_ptr<RenderTask> makeExtremeComposite(const Composite& c)
{
    switch (c.op)
    {
    case COMPOSITEOP_Max:
        return new MaxTask(c.name, c.time, c.flagA, c.a, c.b);
    case COMPOSITEOP_Min:
        return new MinTask(c.name, c.time, c.flagA, c.a, c.b);
    case COMPOSITEOP_Screen:
        return new ScreenTask(c.name, c.time, c.flagB, c.a, c.b);
    default:
        return nullptr;
    }
}

}
