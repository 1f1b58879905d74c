#include "private/InPlaceTask.h"

#include <atomic>
#include <iostream>
#include <optional>

#include <EMULSION/Channels.h>

#include "private/Assert.h"
#include "private/ImageLock.h"
#include "QUILT/Exceptions.h"

namespace QUILT::Private
{

namespace
{

std::atomic<bool> s_collapsing{true};

}

InPlaceOp::~InPlaceOp() = default;

unsigned long InPlaceOp::computeOutputChannels(unsigned long definedAtInput)
{
    return definedAtInput;
}

unsigned long InPlaceOp::computeInputChannels(unsigned long wantedAtOutput)
{
    return wantedAtOutput;
}

Imath::Color4<float> InPlaceOp::computeBackgroundColor(const Imath::Color4<float>& input)
{
    std::cerr << getName()
              << "::computeBackgroundColor is not implemented, using incorrect default "
                 "implementation."
              << std::endl;
    return input;
}

EMULSION::PixelOperationPtr InPlaceOp::getPixelOperation() const
{
    return nullptr;
}

InPlaceTask::InPlaceTask(ref_ptr<InPlaceOp> op, const std::string& name, float time)
    : RenderTask(name, time), m_ops{std::move(op)}
{}

void InPlaceTask::addOp(ref_ptr<InPlaceOp> op)
{
    m_ops.push_back(std::move(op));
}

ref_ptr<InPlaceOp> InPlaceTask::getOp() const
{
    QUILT_ASSERT(m_ops.size() == 1);
    return m_ops[0];
}

void InPlaceTask::setCollapsing(bool collapsing)
{
    s_collapsing = collapsing;
}

bool InPlaceTask::isCollapsing()
{
    return s_collapsing;
}

std::string InPlaceTask::getType() const
{
    return m_ops.size() == 1 ? m_ops[0]->getName() : "ConcatenatedInPlaceOp";
}

void InPlaceTask::setMergedBackground(const Imath::Color4<float>& color)
{
    m_mergedBackground = color;
}

void InPlaceTask::computeCacheID(CacheIDStream& stream)
{
    for (const ref_ptr<InPlaceOp>& op : m_ops)
    {
        CacheIDStream text;
        text << op->getName() << " {" << op->getName() << ",{,";
        op->computeCacheID(text);
        text << "},";
        stream << compressCacheID(text.str()) << ',';
    }
}

unsigned long InPlaceTask::computeOutputChannels()
{
    unsigned long channels = getDefinedInputChannels(0);
    for (auto op = m_ops.rbegin(); op != m_ops.rend(); ++op)
        channels = (*op)->computeOutputChannels(EMULSION::ValidateChannelMask(channels));
    return channels;
}

// An in-place operation never changes where data is.
UTIL::Region InPlaceTask::computeOutputDataRegion()
{
    return getDefinedInputDataRegion(0);
}

Imath::Color4<float> InPlaceTask::computeBackgroundColor()
{
    if (m_mergedBackground)
        return m_ops[0]->computeBackgroundColor(*m_mergedBackground);
    Imath::Color4<float> color = getInputBackgroundColor(0);
    for (auto op = m_ops.rbegin(); op != m_ops.rend(); ++op)
        color = (*op)->computeBackgroundColor(color);
    return color;
}

void InPlaceTask::makeInputFormatRequests()
{
    unsigned long wanted = getRequiredOutputChannels();
    m_intermediateChannels = 0;
    std::vector<unsigned long> wantedChannels; // of each operation
    for (const ref_ptr<InPlaceOp>& op : m_ops)
    {
        wanted = op->computeInputChannels(wanted);
        m_intermediateChannels |= wanted;
        wantedChannels.push_back(wanted);
    }
    addInputRequest(0, getDefinedInputChannels(0) & wanted);
    if (m_ops.size() > 1)
        prepareChain(wantedChannels);
}

// Once for all tiles. What an operation makes of a channel that is not defined behind it must not
// reach the next one, for which that channel is 0.
void InPlaceTask::prepareChain(const std::vector<unsigned long>& wantedChannels)
{
    m_steps.clear();
    unsigned long defined = getDefinedInputChannels(0);
    for (size_t i = m_ops.size(); i-- > 0;)
    {
        const unsigned long lacking = wantedChannels[i] & ~defined;
        if (lacking != 0 && !m_steps.empty())
            m_steps.push_back({nullptr, EMULSION::makeClearChannelsOperation(lacking)});
        m_steps.push_back({m_ops[i].get(), m_ops[i]->getPixelOperation()});
        defined = m_ops[i]->computeOutputChannels(EMULSION::ValidateChannelMask(defined));
    }
}

void InPlaceTask::computeRequiredInputRectangles(const UTIL::Rect& outputRect,
                                                 std::vector<UTIL::Rect>& inputRects)
{
    inputRects[0] = outputRect;
}

void InPlaceTask::renderRect(const EMULSION::Image* output,
                             const std::vector<const EMULSION::Image*>& inputImages)
{
    QUILT_ASSERT(inputImages.size() > 0);
    QUILT_ASSERT(inputImages[0]);
    QUILT_ASSERT(m_ops.size() >= 1);

    if (m_ops.size() == 1)
        m_ops[0]->apply(output, inputImages[0]);
    else
        runChain(output, inputImages[0]);
}

// Operations that can be steps of a program run as one, over strips that stay in cache; one that
// cannot is applied to whole images, and what stands between programs is the intermediate image.
void InPlaceTask::runChain(const EMULSION::Image* output, const EMULSION::Image* input) const
{
    const unsigned long channels = EMULSION::ValidateChannelMask(m_intermediateChannels);
    // Without pixels unless it is locked.
    ImageBuffer buffer(channels, output->bounds, "Concatenated Buffer", 15);
    std::optional<ImageLock> lock;

    std::vector<const EMULSION::PixelOperation*> program;
    for (size_t i = 0; i < m_steps.size();)
    {
        program.clear();
        size_t end = i;
        for (; end < m_steps.size() && m_steps[end].operation; ++end)
            program.push_back(m_steps[end].operation.get());
        if (end == i)
            ++end;

        const EMULSION::Image* target = output;
        if (end < m_steps.size() && (channels & ~output->channels) != 0)
        {
            if (!lock)
                lock.emplace(buffer);
            target = lock->image();
        }
        if (program.empty())
            m_steps[i].op->apply(target, input);
        else
            EMULSION::Run(target, input, program.data(), program.size());
        input = target;
        i = end;
    }
}

ref_ptr<RenderTask> createInPlaceTask(ref_ptr<InPlaceOp> op, const std::string& name,
                                      ref_ptr<RenderTask> input, float time)
{
    ref_ptr<RenderTask> task(new InPlaceTask(std::move(op), name, time));
    if (!input)
        throw RenderTaskRenderingException(task.get(), "InPlace tasks require an input", -1);
    task->registerInputTask(input);
    return task;
}

}
