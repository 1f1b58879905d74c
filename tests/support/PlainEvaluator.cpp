#include "support/PlainEvaluator.h"

#include <algorithm>
#include <bit>
#include <map>
#include <optional>

#include <EMULSION/Plumbing.h>
#include <QUILT/Exceptions.h>

#include "private/ExtendingInputRequest.h"
#include "private/ImageLock.h"
#include "private/RenderTask_Imp.h"

namespace QUILT::Private
{

// What only the evaluator may look at.
struct TaskTestAccess
{
    static void require(RenderTask& task, unsigned long channels)
    {
        RenderTask_Imp::of(task).m_requiredChannels = channels;
    }
    static InputRequest* requestOf(RenderTask& task, size_t input)
    {
        return RenderTask_Imp::of(task).m_inputRequests[input].get();
    }
    static bool usesOverscan(const ExtendingInputRequest& request)
    {
        return request.m_extendWithOverscan;
    }
    static UTIL::Rect displayRectOf(const ExtendingInputRequest& request)
    {
        return request.m_inputDisplayRect;
    }
};

}

namespace QUILT::Test
{

using Private::RenderTask_Imp;
using Private::TaskTestAccess;
using UTIL::Rect;
using UTIL::Region;

namespace
{

// What a request finds at a pixel: the place in the input where that comes from.
struct Beyond
{
    EMULSION::ExtendMethod method = EMULSION::ExtendNone;
    Region data; // that may be read
    Rect edge;   // of the picture that goes on

    Beyond(Private::InputRequest& request, const Region& inputData) : data(inputData)
    {
        const auto* const extending = dynamic_cast<Private::ExtendingInputRequest*>(&request);
        if (!extending)
            return;
        method = dynamic_cast<Private::ClampInputRequest*>(&request) ? EMULSION::ExtendClamp
                                                                     : EMULSION::ExtendMirror;
        const Rect display = TaskTestAccess::displayRectOf(*extending);
        if (!TaskTestAccess::usesOverscan(*extending))
            data.intersect(display);
        edge = display.unite(data.getBounds());
    }

    int64_t along(int64_t c, int64_t e0, int64_t e1) const
    {
        if (method == EMULSION::ExtendClamp)
            return std::clamp(c, e0, e1 - 1);
        if (method == EMULSION::ExtendMirror)
        {
            const int64_t width = e1 - e0, period = 2 * width;
            const int64_t i = ((c - e0) % period + period) % period;
            return i < width ? e0 + i : e0 + 2 * width - 1 - i;
        }
        return c;
    }

    std::optional<Rect> origin(int64_t x, int64_t y) const
    {
        const int64_t fromX = along(x, edge.x0, edge.x1), fromY = along(y, edge.y0, edge.y1);
        const Rect pixel(fromX, fromY, fromX + 1, fromY + 1);
        return data.intersects(pixel) ? std::optional(pixel) : std::nullopt;
    }

    // The part of the input that may be read for a rectangle.
    Rect needed(const Rect& rect) const
    {
        return method == EMULSION::ExtendNone ? rect.intersect(data.getBounds()) : data.getBounds();
    }
};

struct Node
{
    Rect needed;
    std::vector<Rect> inputRects;
    Picture picture;
};

class Evaluator
{
public:
    explicit Evaluator(RenderTask& output) { visit(output); }

    const Picture& evaluate(RenderTask& output, const Rect& area)
    {
        TaskTestAccess::require(output, RenderTask_Imp::of(output).getDefinedChannels());
        m_nodes[&output].needed = area.intersect(output.getDefinedOutputDataRegion().getBounds());
        for (auto task = m_order.rbegin(); task != m_order.rend(); ++task)
            ask(**task);
        for (RenderTask* const task : m_order)
            renderAll(*task);
        return m_nodes[&output].picture;
    }

    size_t pixels() const
    {
        size_t count = 0;
        for (const auto& [task, node] : m_nodes)
            count += static_cast<size_t>(node.needed.width() * node.needed.height());
        return count;
    }

private:
    void visit(RenderTask& task) // inputs come first
    {
        task.getOutputDescription(nullptr, nullptr);
        if (!m_nodes.try_emplace(&task).second)
            return;
        for (const ref_ptr<RenderTask>& input : inputsOf(task))
            visit(*input);
        m_order.push_back(&task);
    }

    static const std::vector<ref_ptr<RenderTask>>& inputsOf(RenderTask& task)
    {
        return RenderTask_Imp::of(task).inputTasks();
    }

    void ask(RenderTask& task)
    {
        if (task.getRequiredOutputChannels() == 0)
            return;
        task.makeInputFormatRequests();
        Node& node = m_nodes[&task];
        node.inputRects.resize(inputsOf(task).size());
        if (node.needed.isNull())
            return;
        task.computeRequiredInputRectangles(node.needed, node.inputRects);
        for (size_t i = 0; i < node.inputRects.size(); ++i)
        {
            Private::InputRequest* const request = TaskTestAccess::requestOf(task, i);
            if (!request || node.inputRects[i].isNull())
                continue;
            const Beyond beyond(*request, task.getDefinedInputDataRegion(i));
            Node& input = m_nodes[inputsOf(task)[i].get()];
            input.needed = input.needed.unite(beyond.needed(node.inputRects[i]));
        }
    }

    std::optional<Picture> inputImage(RenderTask& task, size_t i)
    {
        Private::InputRequest* const request = TaskTestAccess::requestOf(task, i);
        const Rect& rect = m_nodes[&task].inputRects[i];
        if (!request || rect.isNull())
            return std::nullopt;
        Picture picture(rect, request->getChannels());
        const EMULSION::Image to = picture.image();
        const EMULSION::Image from = m_nodes[inputsOf(task)[i].get()].picture.image();
        const Beyond beyond(*request, task.getDefinedInputDataRegion(i));
        bool hasData = false;
        for (int64_t y = rect.y0; y < rect.y1; ++y)
        {
            for (int64_t x = rect.x0; x < rect.x1; ++x)
            {
                Imath::Color4f color(0, 0, 0, 0); // of channels that the input lacks
                if (const auto origin = beyond.origin(x, y))
                {
                    EMULSION::GetPixel(&from, origin->x0, origin->y0, color.getValue());
                    hasData = true;
                }
                else
                    color = task.getInputBackgroundColor(i);
                EMULSION::SetPixel(&to, x, y, color.getValue());
            }
        }
        const RenderTask_Imp::Switches& switches = RenderTask_Imp::of(task).m_switches;
        const bool wraps = switches.renderFullFrame && switches.wrapInputImagesIfBackground;
        return hasData || wraps ? std::optional(std::move(picture)) : std::nullopt;
    }

    void renderAll(RenderTask& task)
    {
        Node& node = m_nodes[&task];
        node.picture = Picture(node.needed, task.getRequiredOutputChannels());
        const Region pieces = task.getDefinedOutputDataRegion().intersected(node.needed);
        if (node.picture.channels == 0 || pieces.isEmpty())
            return;
        std::fill(node.picture.pixels.begin(), node.picture.pixels.end(), s_unwritten);
        std::vector<std::optional<Picture>> inputs;
        for (size_t i = 0; i < node.inputRects.size(); ++i)
            inputs.push_back(inputImage(task, i));
        const EMULSION::Image whole = node.picture.image();
        task.preRender();
        for (const Rect& piece : pieces)
        {
            EMULSION::Image view;
            EMULSION::GetSubImage(&view, &whole, piece.x0, piece.y0, piece.x1, piece.y1);
            renderPiece(task, view, inputs);
            CheckError();
        }
        task.postRender();
    }

    static void renderPiece(RenderTask& task, const EMULSION::Image& output,
                            std::vector<std::optional<Picture>>& inputs)
    {
        std::vector<EMULSION::Image> images;
        for (std::optional<Picture>& input : inputs)
            images.push_back(input ? input->image() : EMULSION::Image());
        if (RenderTask_Imp::of(task).m_switches.renderLocalLocking)
        {
            std::vector<ImageBuffer> buffers(inputs.size());
            for (size_t i = 0; i < inputs.size(); ++i)
            {
                if (!inputs[i])
                    continue;
                buffers[i] = ImageBuffer(inputs[i]->channels, inputs[i]->bounds, "", 15);
                const Private::ImageLock lock(buffers[i]);
                EMULSION::Copy(lock.image(), &images[i]);
            }
            task.renderRect(&output, buffers);
            return;
        }
        std::vector<const EMULSION::Image*> pointers;
        for (size_t i = 0; i < inputs.size(); ++i)
            pointers.push_back(inputs[i] ? &images[i] : nullptr);
        task.renderRect(&output, pointers);
    }

    static constexpr float s_unwritten = std::bit_cast<float>(0x7fe0beefu); // a NaN

    std::map<RenderTask*, Node> m_nodes;
    std::vector<RenderTask*> m_order;
};

}

Picture evaluatePlainly(const ref_ptr<RenderTask>& output, const Rect& area, size_t* renderedPixels)
{
    Evaluator evaluator(*output);
    Picture rendered = evaluator.evaluate(*output, area);
    Picture picture(area, rendered.channels);
    const EMULSION::Image to = picture.image();
    EMULSION::Fill(&to, output->getBackgroundColor().getValue());
    const EMULSION::Image from = rendered.image();
    for (const Rect& piece : output->getDefinedOutputDataRegion().intersected(rendered.bounds))
    {
        EMULSION::Image view;
        EMULSION::GetSubImage(&view, &from, piece.x0, piece.y0, piece.x1, piece.y1);
        EMULSION::CopyInto(&to, &view);
    }
    if (renderedPixels)
        *renderedPixels = evaluator.pixels();
    return picture;
}

}
