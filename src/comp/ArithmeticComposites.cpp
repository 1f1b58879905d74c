#include <EMULSION/Composite.h>

#include "CompositeLayers.h"

// The operators that calculate with the values of each channel by itself.

namespace QUILT::Private
{

namespace
{

using EMULSION::Image;

class AddTask final : public OptimizedCompositeTask<CopyOnMissing, CopyOnMissing>
{
public:
    using OptimizedCompositeTask::OptimizedCompositeTask;

    std::string getType() const override { return "Add"; }

    void compositeImages(const Image* output, const Image* a, const Image* b) override
    {
        EMULSION::Add(output, a, b, backgroundA(), backgroundB());
    }
};

class SubtractTask final : public BaseCompositeTask
{
public:
    using BaseCompositeTask::BaseCompositeTask;

    std::string getType() const override { return "Subtract"; }

    void compositeImages(const Image* output, const Image* a, const Image* b) override
    {
        EMULSION::Subtract(output, a, b, backgroundA(), backgroundB());
    }
};

class AverageTask final : public BaseCompositeTask
{
public:
    using BaseCompositeTask::BaseCompositeTask;

    std::string getType() const override { return "Average"; }

    void compositeImages(const Image* output, const Image* a, const Image* b) override
    {
        EMULSION::Average(output, a, b, backgroundA(), backgroundB());
    }
};

class DifferenceTask final : public BaseCompositeTask
{
public:
    using BaseCompositeTask::BaseCompositeTask;

    std::string getType() const override { return "Difference"; }

    void compositeImages(const Image* output, const Image* a, const Image* b) override
    {
        EMULSION::Difference(output, a, b, backgroundA(), backgroundB());
    }
};

class DivideTask final : public OptimizedCompositeTask<ClearOnMissing, CopyOnMissing>
{
public:
    using OptimizedCompositeTask::OptimizedCompositeTask;

    std::string getType() const override { return "Divide"; }

    void compositeImages(const Image* output, const Image* a, const Image* b) override
    {
        EMULSION::Divide(output, a, b, backgroundA(), backgroundB());
    }
};

class MultiplyTask final : public OptimizedCompositeTask<ClearOnMissing, ClearOnMissing>
{
public:
    using OptimizedCompositeTask::OptimizedCompositeTask;

    std::string getType() const override { return "Multiply"; }

    UTIL::Region computeOutputDataRegion() override
    {
        return regionOfProduct(hasZeroBackground(m_inputA), hasZeroBackground(m_inputB));
    }

    void compositeImages(const Image* output, const Image* a, const Image* b) override
    {
        EMULSION::Multiply(output, a, b, backgroundA(), backgroundB());
    }
};

class ExclusionTask final : public OptimizedCompositeTask<CopyOnMissing, CopyOnMissing>
{
public:
    using OptimizedCompositeTask::OptimizedCompositeTask;

    std::string getType() const override { return "Exclusion"; }

    void compositeImages(const Image* output, const Image* a, const Image* b) override
    {
        EMULSION::Exclusion(output, a, b, backgroundA(), backgroundB());
    }
};

class GeometricTask final : public BaseCompositeTask
{
public:
    using BaseCompositeTask::BaseCompositeTask;

    std::string getType() const override { return "Geometric"; }

    void compositeImages(const Image* output, const Image* a, const Image* b) override
    {
        EMULSION::Geometric(output, a, b, backgroundA(), backgroundB());
    }
};

class HypotenuseTask final : public BaseCompositeTask
{
public:
    using BaseCompositeTask::BaseCompositeTask;

    std::string getType() const override { return "Hypotenuse"; }

    void compositeImages(const Image* output, const Image* a, const Image* b) override
    {
        EMULSION::Hypotenuse(output, a, b, backgroundA(), backgroundB());
    }
};

}

ref_ptr<RenderTask> makeArithmeticComposite(const Composite& c)
{
    switch (c.op)
    {
    case COMPOSITEOP_Add:
        return new AddTask(c.name, c.time, c.a, c.b);
    case COMPOSITEOP_SubtractAB:
        return new SubtractTask(c.name, c.time, c.a, c.b);
    case COMPOSITEOP_SubtractBA:
        return new SubtractTask(c.name, c.time, c.b, c.a);
    case COMPOSITEOP_Average:
        return new AverageTask(c.name, c.time, c.a, c.b);
    case COMPOSITEOP_Difference:
        return new DifferenceTask(c.name, c.time, c.a, c.b);
    case COMPOSITEOP_Divide:
        return new DivideTask(c.name, c.time, c.b, c.a);
    case COMPOSITEOP_Multiply:
        return new MultiplyTask(c.name, c.time, c.a, c.b);
    case COMPOSITEOP_Exclusion:
        return new ExclusionTask(c.name, c.time, c.a, c.b);
    case COMPOSITEOP_Geometric:
        return new GeometricTask(c.name, c.time, c.a, c.b);
    case COMPOSITEOP_Hypotenuse:
        return new HypotenuseTask(c.name, c.time, c.a, c.b);
    default:
        return nullptr;
    }
}

}
