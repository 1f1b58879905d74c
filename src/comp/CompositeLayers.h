#pragma once

#include <EMULSION/Image.h>
#include <EMULSION/Plumbing.h>

#include "BaseCompositeTask.h"
#include "private/CacheItems.h"

// Traits that several operators share, each a layer over its base.
namespace QUILT::Private
{

/// What an operator comes to where one input has neither data nor a background colour.
struct CopyOnMissing
{
    static void apply(const EMULSION::Image* output, const EMULSION::Image* present)
    {
        EMULSION::Copy(output, present);
    }
};

struct ClearOnMissing
{
    static void apply(const EMULSION::Image* output, const EMULSION::Image*)
    {
        EMULSION::Clear(output);
    }
};

/// Takes these two shortcuts in place of the kernel. They give the same pixels, but for the sign of
/// zero, and where the input that is there holds infinities or NaN.
template <class OnMissingA, class OnMissingB>
class OptimizedCompositeTask : public BaseCompositeTask
{
public:
    using BaseCompositeTask::BaseCompositeTask;

    void compositeMissingB(const EMULSION::Image* output, const EMULSION::Image* a) final
    {
        if (hasZeroBackground(m_inputB))
            OnMissingB::apply(output, a);
        else
            compositeImages(output, a, nullptr);
    }

    void compositeMissingA(const EMULSION::Image* output, const EMULSION::Image* b) final
    {
        if (hasZeroBackground(m_inputA))
            OnMissingA::apply(output, b);
        else
            compositeImages(output, nullptr, b);
    }
};

/// Has a choice that goes to the kernel as it is.
template <class Base>
class WithKernelFlag : public Base
{
public:
    WithKernelFlag(const std::string& name, float time, bool kernelFlag,
                   const ref_ptr<RenderTask>& a, const ref_ptr<RenderTask>& b)
        : Base(name, time, a, b), m_kernelFlag(kernelFlag)
    {}

    void computeCacheID(CacheIDStream& stream) override { writeItems(stream, m_kernelFlag); }

protected:
    const bool m_kernelFlag;
};

/// Asks for channels whether the inputs define them or not. In an image that comes of that, what
/// lies outside an input's data is its background colour in all channels.
template <class Base>
class WithWholeBackgrounds : public Base
{
public:
    using Base::Base;

protected:
    Imath::Color4<float> backgroundA() override
    {
        return this->getInputBackgroundColor(this->m_inputA);
    }
    Imath::Color4<float> backgroundB() override
    {
        return this->getInputBackgroundColor(this->m_inputB);
    }
};

/// Needs the alpha of both sides whatever the consumer asked for, and so always has one to give.
template <class Base>
class ReadsBothAlphas : public WithWholeBackgrounds<Base>
{
public:
    using WithWholeBackgrounds<Base>::WithWholeBackgrounds;

    unsigned long computeOutputChannels() override
    {
        return this->channelsOfBoth() | EMULSION::ChannelAlpha;
    }

    void makeInputFormatRequests() override
    {
        const unsigned long channels = this->getRequiredOutputChannels() | EMULSION::ChannelAlpha;
        this->addInputRequest(this->m_inputA, channels);
        this->addInputRequest(this->m_inputB, channels);
    }
};

/// Is a part of A, chosen by the alpha of B: no colour of B is read.
template <class Base>
class CutByAlphaOfB : public WithWholeBackgrounds<Base>
{
public:
    using WithWholeBackgrounds<Base>::WithWholeBackgrounds;

    unsigned long computeOutputChannels() override
    {
        return this->getDefinedInputChannels(this->m_inputA) | EMULSION::ChannelAlpha;
    }

    void makeInputFormatRequests() override
    {
        this->addInputRequest(this->m_inputB, EMULSION::ChannelAlpha);
        this->addInputRequest(this->m_inputA, this->getRequiredOutputChannels());
    }
};

}
