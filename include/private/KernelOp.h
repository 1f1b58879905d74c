#pragma once

#include <utility>

#include "private/InPlaceTask.h"

namespace QUILT::Private
{

/// An in-place operation that one pixel operation of the kernel library does wholly: pixels, the
/// background colour and steps of a chain all come from it. What is left to a subclass is its name,
/// its identity and, where it mixes channels, which ones.
class KernelOp : public InPlaceOp
{
public:
    void apply(const EMULSION::Image* output, const EMULSION::Image* input) override
    {
        EMULSION::Run(output, input, *m_operation);
    }

    Imath::Color4<float> computeBackgroundColor(const Imath::Color4<float>& input) override
    {
        return EMULSION::Run(input, *m_operation);
    }

    EMULSION::PixelOperationPtr getPixelOperation() const override { return m_operation; }

protected:
    explicit KernelOp(EMULSION::PixelOperationPtr operation) : m_operation(std::move(operation)) {}

private:
    const EMULSION::PixelOperationPtr m_operation;
};

}
