#include "Build.h"

#include <stdexcept>

#include <EMULSION/Error.h>
#include <OpenColorIO/OpenColorIO.h>
#include <QUILT/Exceptions.h>
#include <QUILT/FileTasks.h>
#include <QUILT/RenderManager.h>
#include <UTIL/Exceptions.h>

#include "Text.h"

namespace QuiltTool
{

namespace
{

namespace OCIO = OCIO_NAMESPACE;

// Which of the roles that operations rely on the current config lacks.
std::string missingRoles()
{
    std::string text;
    const OCIO::ConstConfigRcPtr config = OCIO::GetCurrentConfig();
    for (const char* role : {OCIO::ROLE_SCENE_LINEAR, OCIO::ROLE_COMPOSITING_LOG})
        if (!config->hasRole(role))
            text += std::string(" The OpenColorIO config has no role ") + role + ".";
    return text;
}

UTIL::Rect displayWindowOf(const GraphFile& graph, const Node& fileIn, int64_t frame)
{
    const Values values = graph.valuesOf(fileIn, frame, std::nullopt);
    if (values.flag("overrideWindows") && values.has("displayRect"))
        return values.rect("displayRect");
    EMULSION::ImageDescription description;
    QUILT::ImageHeaderCache_GetImageDescription(&description, values.text("filename"), true);
    return description.displayRect;
}

// The graph's format at a frame: its own, otherwise that of its first FileIn node; none without
// either.
std::optional<UTIL::Rect> formatAt(const GraphFile& graph, int64_t frame)
{
    const Node* const fileIn = graph.firstFileIn();
    if (graph.format || !fileIn)
        return graph.format;
    return displayWindowOf(graph, *fileIn, frame);
}

// Builds node by node.
class FrameBuilder
{
public:
    FrameBuilder(const GraphFile& graph, Frame& frame) : m_graph(graph), m_frame(frame) {}

    void buildNode(size_t index)
    {
        const Node& node = m_graph.nodes[index];
        Arguments arguments = argumentsFor(node.name);
        for (const auto& [slot, sources] : node.inputs)
            for (const size_t source : sources)
            {
                const ref_ptr<RenderTask>& task = m_frame.tasks[source];
                if (!task)
                    return;
                arguments.inputs[slot].push_back(task);
            }
        // Slots without a task are there too.
        for (const InputSlot& slot : node.operation->inputs)
            arguments.inputs[slot.name];
        m_frame.tasks[index] = build(*node.operation, arguments, [&] {
            return m_graph.valuesOf(node, m_frame.number, m_frame.format);
        });
    }

    void buildOutput(const Output& output)
    {
        ref_ptr<RenderTask> task = m_frame.tasks[output.node];
        if (task && output.file)
        {
            Arguments arguments = argumentsFor(m_graph.nodes[output.node].name);
            arguments.inputs["input"] = {task};
            task = build(fileOut(), arguments, [&] {
                return m_graph.fileValuesOf(output, m_frame.number, m_frame.format);
            });
            refuseWithoutChannels(task, arguments.name);
        }
        m_frame.outputs.push_back(task);
    }

private:
    Arguments argumentsFor(const std::string& name) const
    {
        Arguments arguments;
        arguments.name = name;
        arguments.time = static_cast<float>(m_frame.number);
        arguments.frame = m_frame.number;
        arguments.format = m_frame.format;
        return arguments;
    }

    // Such a picture has no tiles, so no file would come of it.
    void refuseWithoutChannels(const ref_ptr<RenderTask>& task, const std::string& name)
    {
        unsigned long channels = 0;
        if (task)
            task->getOutputDescription(&channels, nullptr);
        if (task && channels == 0)
            m_frame.failures.push_back(
                {name, "an error",
                 "it has no channels, so there is nothing to write to a file; a "
                 "colour that is black and opaque has none"});
    }

    template <class MakeValues>
    ref_ptr<RenderTask> build(const Operation& operation, Arguments& arguments,
                              MakeValues makeValues)
    {
        try
        {
            arguments.values = makeValues();
            ref_ptr<RenderTask> task = operation.build(arguments);
            if (!task)
                throw std::runtime_error(operation.name + " makes no picture of these inputs; a "
                                                          "list of them may be empty");
            task->getOutputDescription(nullptr, nullptr);
            // Factories may leave an error behind instead of throwing it.
            QUILT::CheckError();
            return task;
        }
        catch (...)
        {
            m_frame.failures.push_back(failureInFlight(arguments.name));
            EMULSION::ClearError();
            return nullptr;
        }
    }

    const GraphFile& m_graph;
    Frame& m_frame;
};

}

const Node* nodeOf(const GraphFile& graph, const std::string& task)
{
    const Node* longest = nullptr;
    for (const Node& node : graph.nodes)
    {
        if (node.name == task)
            return &node;
        if (task.starts_with(node.name + '.') &&
            (!longest || node.name.size() > longest->name.size()))
            longest = &node;
    }
    return longest;
}

std::string textOf(const Failure& failure)
{
    return failure.node + ": " + failure.kind + ": " + failure.message;
}

Failure failureInFlight(const std::string& node)
{
    try
    {
        throw;
    }
    catch (const QUILT::RenderTaskRenderingException& error)
    {
        return {node, "a rendering error", trimmed(error.what())};
    }
    catch (const QUILT::EmulsionRenderingException& error)
    {
        return {node, "an EMULSION error", trimmed(error.what())};
    }
    catch (const OCIO::Exception& error)
    {
        return {node, "an OpenColorIO error", trimmed(error.what()) + missingRoles()};
    }
    catch (const std::bad_alloc&)
    {
        return {node, "an error", "out of memory"};
    }
    catch (const std::exception& error)
    {
        return {node, "an error", trimmed(error.what())};
    }
    catch (...)
    {
        return {node, "an unknown exception", ""};
    }
}

Frame buildFrame(const GraphFile& graph, int64_t frame, const std::vector<bool>& wanted,
                 bool withOutputs, const std::function<bool()>& isStopped)
{
    QUILT::RenderManager::ClearRenderTaskCache();
    Frame built;
    built.number = frame;
    built.tasks.resize(graph.nodes.size());
    try
    {
        built.format = formatAt(graph, frame);
    }
    catch (...)
    {
        // Without a format nothing can be told of the other nodes.
        built.failures.push_back(failureInFlight(graph.firstFileIn()->name));
        EMULSION::ClearError();
        return built;
    }
    FrameBuilder builder(graph, built);
    for (size_t i = 0; i < graph.nodes.size(); ++i)
    {
        if (isStopped && isStopped())
            return built;
        if (wanted.empty() || wanted[i])
            builder.buildNode(i);
    }
    if (withOutputs)
        for (const Output& output : graph.outputs)
            builder.buildOutput(output);
    return built;
}

}
