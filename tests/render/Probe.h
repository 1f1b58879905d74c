#pragma once

#include <functional>
#include <string>
#include <vector>

#include <EMULSION/Plumbing.h>
#include <QUILT/RenderTask.h>

/// A task that lets its test in on every operation.
namespace QUILT::Test
{

enum class Operation
{
    GetType,
    CacheID,
    OutputChannels,
    DataRegion,
    Background,
    Requests,
    InputRects,
    PreRender,
    RenderRect,
    PostRender
};

/// Those of a task's description come first: they run before the render has any tile.
constexpr Operation s_operations[] = {
    Operation::GetType,    Operation::CacheID,    Operation::OutputChannels, Operation::DataRegion,
    Operation::Background, Operation::Requests,   Operation::InputRects,     Operation::PreRender,
    Operation::RenderRect, Operation::PostRender,
};

using Inputs = std::vector<ref_ptr<RenderTask>>;

/// Gives its first input's pixels, and 1 where that has none or is missing.
struct ProbeParams
{
    UTIL::Region region = UTIL::Rect(0, 0, 64, 64);
    Inputs inputs = {};

    /// Called first in every operation; may throw and block.
    std::function<void(Operation)> hook = [](Operation) {};

    /// Called with what renderRect gets, instead of rendering.
    std::function<void(const EMULSION::Image*, const std::vector<const EMULSION::Image*>&)> render =
        nullptr;

    int64_t reach = 0; ///< how far it reads its inputs beyond what it renders
    unsigned long channels = 15;
    unsigned long requested = 15;
    bool usesLastInput = true;
    std::string identity = ""; ///< made up for each task unless given
};

class ProbeTask : public RenderTask
{
public:
    ProbeTask(const std::string& name, ProbeParams params)
        : RenderTask(name, 0), m_params(std::move(params))
    {
        static std::atomic<int> s_number{0};
        if (m_params.identity.empty())
            m_params.identity = std::to_string(++s_number);
        for (const ref_ptr<RenderTask>& input : m_params.inputs)
            registerInputTask(input);
        m_params.inputs.clear();
    }

    std::string getType() const override
    {
        m_params.hook(Operation::GetType);
        return "Probe";
    }
    void computeCacheID(CacheIDStream& stream) override
    {
        m_params.hook(Operation::CacheID);
        stream << m_params.identity << ',';
    }
    unsigned long computeOutputChannels() override
    {
        m_params.hook(Operation::OutputChannels);
        return m_params.channels;
    }
    UTIL::Region computeOutputDataRegion() override
    {
        m_params.hook(Operation::DataRegion);
        return m_params.region;
    }
    Imath::Color4f computeBackgroundColor() override
    {
        m_params.hook(Operation::Background);
        return RenderTask::computeBackgroundColor();
    }
    void makeInputFormatRequests() override
    {
        m_params.hook(Operation::Requests);
        for (size_t i = 0; i < getInputTaskCount(); ++i)
        {
            if (m_params.usesLastInput || i + 1 < getInputTaskCount())
                addInputRequest(i, m_params.requested);
        }
    }
    void computeRequiredInputRectangles(const UTIL::Rect& outputRect,
                                        std::vector<UTIL::Rect>& inputRects) override
    {
        m_params.hook(Operation::InputRects);
        for (UTIL::Rect& rect : inputRects)
            rect = outputRect.pad(m_params.reach, m_params.reach, true);
    }
    void preRender() override { m_params.hook(Operation::PreRender); }
    void postRender() override { m_params.hook(Operation::PostRender); }

    using RenderTask::renderRect;
    void renderRect(const EMULSION::Image* output,
                    const std::vector<const EMULSION::Image*>& inputs) override
    {
        m_params.hook(Operation::RenderRect);
        if (m_params.render)
            return m_params.render(output, inputs);
        constexpr float ones[] = {1, 1, 1, 1};
        EMULSION::Fill(output, ones);
        if (!inputs.empty() && inputs[0])
            EMULSION::CopyInto(output, inputs[0]);
    }

private:
    ProbeParams m_params;
};

inline ref_ptr<RenderTask> probe(const std::string& name, ProbeParams params = {})
{
    return new ProbeTask(name, std::move(params));
}

}
