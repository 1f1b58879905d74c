#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "PixelOperation.cpp"
#include <hwy/foreach_target.h>

#include <algorithm>
#include <array>

#include "EMULSION/PixelOperation.h"
#include "OnePixel.h"
#include "Planes-inl.h"
#include "Rows.h"

#ifndef EMULSION_PIXEL_PROGRAM
#define EMULSION_PIXEL_PROGRAM
namespace EMULSION::Private
{

// A chain, with what each of its operations is wanted for.
class PixelProgram
{
public:
    PixelProgram(const PixelOperation* const* operations, size_t count, uint64_t outputChannels)
        : m_operations(operations), m_count(count), m_required(outputChannels)
    {
        for (size_t i = count; i-- > 0;)
        {
            if (i < m_wanted.size())
                m_wanted[i] = m_required;
            else
                m_required = s_allChannels;
            m_required = operations[i]->getRequiredChannels(m_required);
        }
    }

    // What the planes must hold before the first operation.
    uint64_t requiredChannels() const { return m_required; }

    void run(float* const planes[4], size_t count) const
    {
        for (size_t i = 0; i < m_count; ++i)
            m_operations[i]->transform(planes, count,
                                       i < m_wanted.size() ? m_wanted[i] : s_allChannels);
    }

private:
    static constexpr uint64_t s_allChannels = 15;

    const PixelOperation* const* const m_operations;
    const size_t m_count;
    uint64_t m_required;
    std::array<uint64_t, 32> m_wanted; // behind it, everything is wanted
};

}
#endif

HWY_BEFORE_NAMESPACE();
namespace EMULSION::HWY_NAMESPACE
{

void runProgram(const Image& output, const Image& input, const UTIL::Rect& area,
                const Private::PixelProgram& program)
{
    constexpr size_t granularity = PixelOperation::s_planeGranularity;
    const size_t width = static_cast<size_t>(area.width());
    const uint64_t missing = program.requiredChannels() & ~input.channels;
    const size_t inputFloats = static_cast<size_t>(Private::channelCount(input.channels));
    const size_t outputFloats = static_cast<size_t>(Private::channelCount(output.channels));
    Planes planes;
    StripWriter writer(output, input.channels && Private::sharesMemory(output, input));
    for (int64_t y = area.y0; y < area.y1; ++y)
    {
        const float* from = inputFloats ? Private::pixelOf(input, area.x0, y) : nullptr;
        float* to = Private::pixelOf(output, area.x0, y);
        for (size_t x = 0; x < width; x += PixelOperation::s_stripLength)
        {
            const size_t count = std::min(width - x, PixelOperation::s_stripLength);
            const size_t paddedCount = (count + granularity - 1) / granularity * granularity;
            loadPlanes(from, input.channels, count, planes.all);
            clearPlanes(missing, paddedCount, planes.all);
            program.run(planes.all, paddedCount);
            writer.write(planes.all, count, to);
            from += count * inputFloats;
            to += count * outputFloats;
        }
    }
}

}
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

#include "SimdDispatch.h"
#include "Validation.h"

namespace EMULSION
{

HWY_EXPORT(runProgram);

namespace
{

class CopyOperation final : public PixelOperation
{
public:
    const char* getName() const override { return "Copy"; }
    uint64_t getRequiredChannels(uint64_t wanted) const override { return wanted; }
    void transform(float* const*, size_t, uint64_t) const override {}
};

class ClearChannelsOperation final : public PixelOperation
{
public:
    explicit ClearChannelsOperation(uint64_t channels) : m_channels(channels) {}

    const char* getName() const override { return "ClearChannels"; }
    uint64_t getRequiredChannels(uint64_t wanted) const override { return wanted & ~m_channels; }
    void transform(float* const planes[4], size_t count, uint64_t wanted) const override
    {
        for (size_t channel = 0; channel < 4; ++channel)
            if ((m_channels & wanted) >> channel & 1)
                std::fill_n(planes[channel], count, 0.0f);
    }

private:
    const uint64_t m_channels;
};

}

PixelOperation::~PixelOperation() = default;

PixelOperationPtr makeCopyOperation()
{
    return std::make_shared<CopyOperation>();
}

PixelOperationPtr makeClearChannelsOperation(uint64_t channels)
{
    return std::make_shared<ClearChannelsOperation>(channels);
}

void Run(const Image* output, const Image* input, const PixelOperation* const* operations,
         size_t count)
{
    const char* const name = count == 1 ? operations[0]->getName() : "Run";
    if (!Private::checkOutput(name, output) || !Private::checkInput(name, input) ||
        Private::isEmpty(*output))
        return;
    const UTIL::Rect area = Private::overlap(*output, *input);
    if (area.isNull())
        return;
    const Private::PixelProgram program(operations, count, output->channels);
    EMULSION_DISPATCH(runProgram)(*output, *input, area, program);
}

void Run(const Image* output, const Image* input, const PixelOperation& operation)
{
    const PixelOperation* const operations[] = {&operation};
    Run(output, input, operations, 1);
}

Imath::Color4f Run(const Imath::Color4f& color, const PixelOperation* const* operations,
                   size_t count)
{
    return Private::onOnePixel(color, [=](const Image* output, const Image* input) {
        Run(output, input, operations, count);
    });
}

Imath::Color4f Run(const Imath::Color4f& color, const PixelOperation& operation)
{
    const PixelOperation* const operations[] = {&operation};
    return Run(color, operations, 1);
}

}

#endif
