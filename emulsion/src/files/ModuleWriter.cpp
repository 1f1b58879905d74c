#include <algorithm>
#include <bit>
#include <initializer_list>
#include <limits>
#include <string>
#include <vector>

#include "files/ModuleFormat.h"
#include "Rows.h"

namespace EMULSION::Private
{

namespace
{

// What a format to be written holds.
struct WrittenFormat
{
    std::string_view name;
    int64_t maxSide;   // pixels
    uint64_t maxBytes; // of all pixels
    bool hasAlpha;
};

constexpr int64_t s_anySide = std::numeric_limits<int32_t>::max();
constexpr uint64_t s_anySize = std::numeric_limits<int64_t>::max();
constexpr uint64_t s_fourGigabytes = 0xffff0000; // less what stands around the pixels

constexpr WrittenFormat s_writtenFormats[] = {
    {"tiff", s_anySide, s_anySize, true},       {"png", 1000000, s_anySize, true},
    {"jpeg", 65500, s_anySize, false},          {"dpx", s_anySide, s_fourGigabytes, false},
    {"hdr", s_anySide, s_anySize, false},       {"tga", 65535, s_fourGigabytes, true},
    {"bmp", s_anySide, s_fourGigabytes, false}, {"pnm", s_anySide, s_anySize, false},
};

const WrittenFormat* findWritten(std::string_view name)
{
    for (const WrittenFormat& format : s_writtenFormats)
        if (format.name == name)
            return &format;
    return nullptr;
}

// The option's value, or what stands for 0. Throws for one that is not in the list.
int32_t choose(const char* what, int32_t value, int32_t standard,
               std::initializer_list<int32_t> list)
{
    const int32_t chosen = value == 0 ? standard : value;
    if (std::find(list.begin(), list.end(), chosen) == list.end())
        throw FileError(ERROR_INVALID_ARGUMENT,
                        std::string("there is no ") + what + " " + std::to_string(value));
    return chosen;
}

int32_t within(const char* what, int32_t value, int32_t first, int32_t last)
{
    if (value < first || value > last)
        throw FileError(ERROR_INVALID_ARGUMENT,
                        std::string("there is no ") + what + " " + std::to_string(value));
    return value;
}

Module::Sample sampleOfBits(int32_t bits)
{
    return bits == 8    ? Module::Sample::UInt8
           : bits == 10 ? Module::Sample::UInt10
           : bits == 12 ? Module::Sample::UInt12
                        : Module::Sample::UInt16;
}

// What of the options is about the format.
void setOptions(Module::NewPicture& picture, std::string_view format,
                const OutputImageOptions& options)
{
    picture.sample = Module::Sample::UInt8;
    if (format == "jpeg")
        picture.compression =
            options.type0Option == 0 ? 95 : within("JPEG quality", options.type0Option, 1, 100);
    else if (format == "hdr")
        picture.sample = Module::Sample::Float;
    else if (format == "tiff")
    {
        constexpr Module::Sample samples[] = {Module::Sample::UInt8, Module::Sample::UInt16,
                                              Module::Sample::Float, Module::Sample::Half};
        picture.sample = samples[within("TIFF sample type", options.type2Option, 0, 3)];
    }
    else if (format == "dpx")
        picture.sample =
            sampleOfBits(choose("number of DPX bits", options.type4Option, 10, {8, 10, 12, 16}));
    else if (format == "png")
    {
        const int32_t bits = choose("number of PNG bits", options.type5OptionA, 16, {8, 16});
        picture.compression = within("zlib level", options.type5OptionB, 0, 9);
        picture.dither = within("way to dither", options.type5OptionC, 0, 1);
        picture.sample = picture.dither ? Module::Sample::UInt8 : sampleOfBits(bits);
    }
}

// A single channel makes a grey picture, whichever it is.
std::vector<uint64_t> channelsToWrite(uint64_t mask, bool hasAlpha)
{
    if (std::has_single_bit(mask))
        return {mask};
    std::vector<uint64_t> channels = {ChannelRed, ChannelGreen, ChannelBlue};
    if (hasAlpha && (mask & ChannelAlpha))
        channels.push_back(ChannelAlpha);
    return channels;
}

class ModuleWriter final : public FileWriter
{
public:
    ModuleWriter(const NewFile& file, const WrittenFormat& format)
        : m_module(imageModule()), m_bounds(file.bounds), m_mask(file.options.channels),
          m_channels(channelsToWrite(file.options.channels, format.hasAlpha)),
          m_writer(nullptr, m_module.destroy)
    {
        const OutputImageOptions& options = file.options;
        std::vector<Module::PictureAttribute> attributes;
        for (const auto& [name, value] : options.metadata)
            attributes.push_back({name.c_str(), value.c_str()});
        Module::NewPicture picture = {};
        picture.width = m_bounds.width();
        picture.height = m_bounds.height();
        picture.channelCount = static_cast<int32_t>(m_channels.size());
        picture.comment = options.comment.c_str();
        picture.attributes = attributes.data();
        picture.attributeCount = static_cast<int64_t>(attributes.size());
        setOptions(picture, format.name, options);
        checkSize(format, picture);
        const Module::File opened = {file.descriptor, file.path.c_str(), format.name.data(),
                                     fileThreads()};
        Module::Fault fault;
        m_writer.reset(m_module.create(&opened, &picture, &fault));
        if (!m_writer)
            raise(fault);
    }

    void write(const Image& band) override
    {
        for (int64_t y = band.bounds.y1 - 1; y >= band.bounds.y0; --y)
        {
            addRow(band, y);
            if (m_rowCount == rowsOfBatch())
                writeRows();
        }
    }

    void finish() override
    {
        writeRows();
        Module::Fault fault;
        if (!m_module.finish(m_writer.get(), &fault))
            raise(fault);
    }

private:
    static void checkSize(const WrittenFormat& format, const Module::NewPicture& picture)
    {
        const uint64_t sampleBytes = picture.sample == Module::Sample::UInt8 ? 1 : 2;
        const uint64_t rowBytes = static_cast<uint64_t>(picture.width) *
                                  static_cast<uint64_t>(picture.channelCount) * sampleBytes;
        if (picture.width <= format.maxSide && picture.height <= format.maxSide &&
            rowBytes <= format.maxBytes / static_cast<uint64_t>(picture.height))
            return;
        throw FileError(ERROR_IMAGE_TOO_LARGE, std::to_string(picture.width) + " x " +
                                                   std::to_string(picture.height) +
                                                   " pixels are more than a " +
                                                   std::string(format.name) + " file can hold");
    }

    size_t rowFloats() const { return static_cast<size_t>(m_bounds.width()) * m_channels.size(); }

    // Some 16 MiB, and whole strips of a TIFF file, which are compressed side by side.
    int64_t rowsOfBatch() const
    {
        constexpr int64_t floats = 4 << 20, most = 128, strip = 32;
        const int64_t rowSize = std::max<int64_t>(1, static_cast<int64_t>(rowFloats()));
        const int64_t rows = std::clamp<int64_t>(floats / rowSize, 1, most);
        return rows > strip ? rows - rows % strip : rows;
    }

    void addRow(const Image& band, int64_t y)
    {
        m_rows.resize(static_cast<size_t>(rowsOfBatch()) * rowFloats());
        float* const row = m_rows.data() + static_cast<size_t>(m_rowCount++) * rowFloats();
        const int64_t step = channelCount(band.channels);
        const auto stride = static_cast<int64_t>(m_channels.size());
        for (size_t i = 0; i < m_channels.size(); ++i)
        {
            const uint64_t channel = m_channels[i];
            const bool exists = channel & m_mask & band.channels;
            const float* from =
                exists ? pixelOf(band, m_bounds.x0, y) + channelIndex(band.channels, channel)
                       : nullptr;
            float* to = row + i;
            for (int64_t x = 0; x < m_bounds.width(); ++x)
                to[x * stride] = exists ? from[x * step] : 0.0f;
        }
    }

    void writeRows()
    {
        Module::Fault fault;
        if (m_rowCount > 0 && !m_module.write(m_writer.get(), m_rows.data(), m_rowCount, &fault))
            raise(fault);
        m_rowCount = 0;
    }

    const Module::ImageModule& m_module;
    const UTIL::Rect m_bounds;
    const uint64_t m_mask;
    const std::vector<uint64_t> m_channels; ///< each one bit
    std::unique_ptr<Module::Writer, void (*)(Module::Writer*)> m_writer;
    std::vector<float> m_rows; ///< that wait to be written, the first m_rowCount of them
    int64_t m_rowCount = 0;
};

}

bool isWrittenInModule(std::string_view format)
{
    return findWritten(format);
}

std::unique_ptr<FileWriter> createInModule(const NewFile& file)
{
    return std::make_unique<ModuleWriter>(file, *findWritten(file.format));
}

}
