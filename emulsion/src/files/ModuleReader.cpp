#include <cstdint>
#include <utility>

#include "EMULSION/Plumbing.h"
#include "files/ModuleFormat.h"
#include "Rows.h"

namespace EMULSION::Private
{

namespace
{

class ModuleReader final : public FileReader
{
public:
    ModuleReader(FoundFile& file, const PictureKind& kind)
        : m_module(imageModule()), m_descriptor(std::move(file.descriptor)),
          m_reader(nullptr, m_module.close)
    {
        const Module::File opened = {m_descriptor.number(), file.path.c_str(), kind.format,
                                     fileThreads()};
        Module::Fault fault;
        Module::PictureInfo info;
        m_reader.reset(m_module.open(&opened, &info, &fault));
        if (!m_reader)
            raise(fault);
        checkReadLimits(info.width, info.height, info.pixelBytes);
        m_height = info.height;
        ImageDescription& description = m_picture.description;
        description.displayRect = UTIL::Rect(0, 0, info.width, info.height);
        description.dataRegion = UTIL::Region(description.displayRect);
        description.isScanlineReadable = info.rowsAtRandom != 0;
        for (int32_t i = 0; i < info.channelCount; ++i)
            description.channelNames.emplace_back(info.channelNames[i]);
    }

    const FilePicture& picture() const override { return m_picture; }
    void read(const Image& image, const ChannelSources& sources) override;

private:
    const Module::ImageModule& m_module;
    const Descriptor m_descriptor;
    std::unique_ptr<Module::Reader, void (*)(Module::Reader*)> m_reader;
    FilePicture m_picture;
    int64_t m_height = 0;
};

int32_t sourceOf(const ChannelSource& source)
{
    switch (source.kind)
    {
    case ChannelSource::Kind::File:
        return static_cast<int32_t>(source.index);
    case ChannelSource::Kind::One:
        return Module::sourceOne;
    default:
        return Module::sourceZero;
    }
}

void ModuleReader::read(const Image& image, const ChannelSources& sources)
{
    const UTIL::Rect& bounds = image.bounds;
    Module::PictureRequest request = {};
    request.x0 = bounds.x0;
    request.x1 = bounds.x1;
    request.y0 = m_height - bounds.y1;
    request.y1 = m_height - bounds.y0;
    for (size_t channel = 0; channel < sources.size(); ++channel)
        if (image.channels & (uint64_t{1} << channel))
            request.sources[request.count++] = sourceOf(sources[channel]);
    request.pixels = rowOf(image, bounds.y1 - 1);
    request.pixelStride = request.count;
    request.rowStride = -static_cast<int64_t>(image.rowBytes / sizeof(float));
    Module::Fault fault;
    if (m_module.read(m_reader.get(), &request, &fault))
        return;
    if (fault.code == ERROR_OUT_OF_MEMORY || fault.code == ERROR_UNKNOWN)
        Clear(&image); // it stopped before it could
    raise(fault);
}

}

std::unique_ptr<FileReader> openInModule(FoundFile& file, const PictureKind& kind)
{
    return std::make_unique<ModuleReader>(file, kind);
}

}
