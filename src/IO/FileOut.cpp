#include <cstdlib>
#include <cstring>
#include <memory>

#include <EMULSION/Plumbing.h>
#include <EMULSION/WriteImage.h>

#include "FileOutBuffer.h"
#include "private/CacheItems.h"
#include "private/FirstInputTask.h"
#include "QUILT/Exceptions.h"
#include "QUILT/FileTasks.h"

namespace QUILT
{

namespace
{

// The file's data window decides the data region, and every tile goes into the picture, which is
// written when the last one is there.
class FileOutRenderTask final : public Private::FirstInputTask
{
public:
    FileOutRenderTask(const std::string& name, float time, const FileOutParams& params,
                      const ref_ptr<RenderTask>& input)
        : FirstInputTask(name, time), m_params(params)
    {
        if (const int error = EMULSION::IsWriteableFile(m_params.filename.c_str()))
            refuse("Can't write to file " + m_params.filename + " (" + std::strerror(error) + ").");
        if (m_params.outputDataWindow == OutputDataWindowDisplay && m_params.displayWindow.isNull())
            refuse("Parameter 'dataWindow' is 'displayWindow', but displayWindow is null (eg 0,0 - "
                   "0,0).");
        if (m_params.outputDataWindow == OutputDataWindowManual &&
            m_params.dataWindowBounds.isNull())
            refuse("Parameter 'dataWindow' is 'manual', but area defined by dataWindowBounds is "
                   "null (eg 0,0 - 0,0).");
        if (m_params.writeFile)
            setActsOutside();
        registerInputTask(input);
    }

    std::string getType() const override { return "FileOut"; }

    void computeCacheID(CacheIDStream& stream) override
    {
        const FileOutParams& p = m_params;
        Private::writeItems(stream, p.filename, p.frame, p.fileType, p.fileFormat,
                            p.fileDisplayWindow, p.displayWindow);
        writeTypeOptions(stream);
        Private::writeItems(stream, getTime());
    }

    unsigned long computeOutputChannels() override
    {
        const unsigned long defined = getDefinedInputChannels(0);
        m_outputChannels = m_params.writeAllChannels ? defined : m_params.channels;
        return defined;
    }

    UTIL::Region computeOutputDataRegion() override
    {
        m_outputRect = fileDataWindow();
        const UTIL::Region region = getDefinedInputDataRegion(0).intersected(m_outputRect);
        if (!m_params.writeFile || !region.isEmpty())
            return region;
        // A file has at least one pixel.
        m_outputRect =
            UTIL::Rect(m_outputRect.x0, m_outputRect.y0, m_outputRect.x0 + 1, m_outputRect.y0 + 1);
        return m_outputRect;
    }

    void computeRequiredInputRectangles(const UTIL::Rect& outputRect,
                                        std::vector<UTIL::Rect>& inputRects) override
    {
        inputRects[0] = outputRect;
        if (m_params.writeFile)
            m_tiles.push_back(outputRect);
    }

    void preRender() override
    {
        if (!m_params.writeFile)
            return;
        const UTIL::Region covered = inputData().intersected(UTIL::Region::fromRectangles(m_tiles));
        m_fileBuffer = std::make_unique<Private::FileOutBuffer>(m_outputChannels, m_outputRect,
                                                                getBackgroundColor(), covered);
    }

    void renderRect(const EMULSION::Image* output,
                    const std::vector<const EMULSION::Image*>& inputs) override
    {
        if (!inputs[0] || !inputs[0]->bounds.contains(output->bounds))
            EMULSION::Fill(output, getBackgroundColor().getValue());
        if (!inputs[0])
            return;
        EMULSION::CopyInto(output, inputs[0]);
        if (m_fileBuffer)
            m_fileBuffer->add(output);
    }

    void postRender() override
    {
        if (!m_fileBuffer)
            return;
        // Its memory goes on every way out.
        std::unique_ptr<Private::FileOutBuffer> buffer;
        buffer.swap(m_fileBuffer);
        const std::string path = m_params.filename.ends_with(".avi")
                                     ? m_params.filename + '|' + std::to_string(m_params.frame)
                                     : m_params.filename;
        const std::string format = m_params.deduceFormat ? std::string() : m_params.fileFormat;
        const auto writer = EMULSION::createWriteImageFunction(path.c_str(), format.c_str(),
                                                               outputOptions(), m_outputRect);
        CheckError();
        buffer->write(*writer);
        writer->finish();
        CheckError();
    }

private:
    [[noreturn]] void refuse(const std::string& message) const
    {
        throw RenderTaskRenderingException(this, message, -1);
    }

    const UTIL::Region& inputData() { return getDefinedInputDataRegion(0); }

    void writeTypeOptions(CacheIDStream& stream) const
    {
        const FileOutParams& p = m_params;
        using Private::writeItems;
        switch (p.fileType)
        {
        case 0:
            writeItems(stream, p.type0Option);
            break;
        case 2:
            writeItems(stream, p.type2Option);
            break;
        case 3:
            writeItems(stream, p.type3OptionA, p.type3OptionB, p.tiled);
            if (p.tiled)
                writeItems(stream, p.tileWidth, p.tileHeight, p.tileFlag);
            break;
        case 4:
            writeItems(stream, p.type4Option);
            break;
        case 5:
            writeItems(stream, p.type5OptionA, p.type5OptionB, p.type5OptionC);
            break;
        case 10:
            writeItems(stream, p.type10OptionA, p.type10OptionB);
            break;
        default:
            break;
        }
    }

    UTIL::Rect fileDataWindow()
    {
        switch (m_params.outputDataWindow)
        {
        case OutputDataWindowDisplay:
            return m_params.displayWindow;
        case OutputDataWindowIntersection:
            return m_params.displayWindow.intersect(inputData().getBounds());
        case OutputDataWindowManual:
            return m_params.dataWindowBounds;
        }
        refuse("Unrecognised outputDataWindow option.");
    }

    EMULSION::OutputImageOptions outputOptions() const
    {
        const char* const release = std::getenv("LANTERN_RELEASE");
        if (!release)
            refuse("The environment variable LANTERN_RELEASE is not set: the file's metadata needs "
                   "it.");
        const FileOutParams& p = m_params;
        EMULSION::OutputImageOptions options;
        if (p.tiled)
        {
            options.tileWidth = p.tileWidth;
            options.tileHeight = p.tileHeight;
            options.tileFlag = p.tileFlag;
        }
        options.metadata["ozk:package"] = std::string("Lantern ") + release;
        options.metadata["ozk:renderer"] = std::string("Lantern ") + release;
        options.type3OptionA = p.type3OptionA;
        options.type3OptionB = p.type3OptionB;
        options.cropped = p.outputDataWindow == OutputDataWindowIntersection;
        options.tiled = p.tiled;
        options.type2Option = p.type2Option;
        options.type5OptionA = p.type5OptionA;
        options.type5OptionB = p.type5OptionB;
        options.type5OptionC = p.type5OptionC;
        options.type0Option = p.type0Option;
        options.type4Option = p.type4Option;
        options.type10OptionA = p.type10OptionA;
        options.type10OptionB = p.type10OptionB;
        options.displayWindow = p.fileDisplayWindow;
        options.channels = m_outputChannels;
        options.comment = p.fileComment;
        return options;
    }

    const FileOutParams m_params;
    unsigned long m_outputChannels = 0;                   // of the file
    UTIL::Rect m_outputRect;                              // the file's data window
    std::vector<UTIL::Rect> m_tiles;                      // of the render, known after set-up
    std::unique_ptr<Private::FileOutBuffer> m_fileBuffer; // from preRender to postRender
};

}

ref_ptr<RenderTask> createFileOutTask(const std::string& name, float time,
                                      const FileOutParams& params, ref_ptr<RenderTask> input)
{
    return new FileOutRenderTask(name, time, params, input);
}

}
