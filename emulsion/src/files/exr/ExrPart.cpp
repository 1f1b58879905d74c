#include "files/exr/ExrPart.h"

#include <algorithm>
#include <limits>

#include <Iex.h>
#include <ImfChannelList.h>
#include <ImfIntAttribute.h>
#include <ImfPartType.h>
#include <ImfTiledInputPart.h>

#include "files/ChannelNames.h"
#include "files/exr/ExrHeaderScan.h"

namespace EMULSION::Private
{

namespace
{

bool isFlat(const Imf::Header& header)
{
    return !header.hasType() || Imf::isImage(header.type());
}

// A window of the file, of which both corners are inside and y points down, as a rectangle here.
UTIL::Rect flipped(const Imath::Box2i& box, int64_t flip)
{
    return UTIL::Rect(box.min.x, flip - box.max.y, int64_t{box.max.x} + 1, flip - box.min.y + 1);
}

int64_t flipOf(const Imath::Box2i& displayWindow)
{
    return int64_t{displayWindow.min.y} + displayWindow.max.y;
}

// A coordinate of the display window at a level: scaled about the corner that all levels share.
int scaledAbout(int origin, int coordinate, int level)
{
    return static_cast<int>(origin + ((int64_t{coordinate} - origin) >> level));
}

// The display window at a level, of the size that a data window of the same size would have there.
Imath::Box2i displayWindowOfLevel(const Imf::Header& header, int lx, int ly)
{
    const Imath::Box2i& whole = header.displayWindow();
    const Imath::V2i& origin = header.dataWindow().min;
    const auto side = [](int64_t low, int64_t high, int level) {
        return static_cast<int>(std::max<int64_t>((high - low + 1) >> level, 1));
    };
    Imath::Box2i box;
    box.min = {scaledAbout(origin.x, whole.min.x, lx), scaledAbout(origin.y, whole.min.y, ly)};
    box.max = {box.min.x + side(whole.min.x, whole.max.x, lx) - 1,
               box.min.y + side(whole.min.y, whole.max.y, ly) - 1};
    return box;
}

bool hasFlag(const Imf::Header& header, const char* name)
{
    const auto found = header.find(name);
    if (found == header.end())
        return false;
    const auto* const number = dynamic_cast<const Imf::IntAttribute*>(&found.attribute());
    return !number || number->value() != 0;
}

bool isSampledBy(const Imf::ChannelList& channels, const std::string& name, int step)
{
    const Imf::Channel* const channel = channels.findChannel(name);
    return channel && channel->xSampling == step && channel->ySampling == step;
}

// OpenEXR's writers halve the chroma of both directions; whole chroma needs no filter.
bool canMakeColours(const Imf::ChannelList& channels, const std::vector<std::string>& names)
{
    const auto found = findLuminanceChroma(names);
    if (!found)
        return false;
    const auto& [luminance, redChroma, blueChroma] = *found;
    return isSampledBy(channels, names[luminance], 1) &&
           ((isSampledBy(channels, names[redChroma], 2) &&
             isSampledBy(channels, names[blueChroma], 2)) ||
            (isSampledBy(channels, names[redChroma], 1) &&
             isSampledBy(channels, names[blueChroma], 1)));
}

}

ExrPart::ExrPart(FoundFile& file)
    : m_stream(
          std::make_unique<ExrInputStream>(std::move(file.descriptor), file.path, file.stamp.size))
{
    scanExrHeaders(*m_stream);
    throwingFileErrors([&] {
        m_file = std::make_unique<Imf::MultiPartInputFile>(*m_stream, fileThreads());
        m_number = choosePart(file.part);
        describe();
    });
}

int ExrPart::choosePart(const std::string& name) const
{
    std::string names;
    for (int part = 0; part < m_file->parts(); ++part)
    {
        const Imf::Header& candidate = m_file->header(part);
        const std::string partName = candidate.hasName() ? candidate.name() : "";
        if (name.empty() ? isFlat(candidate) : partName == name)
            return part;
        if (part < 40)
            names += (part ? ", \"" : "\"") + partName + "\"";
    }
    if (name.empty())
        return 0;
    throw FileError(ERROR_FILE_FORMAT, "it has no part \"" + name + "\"; its parts are " + names);
}

void ExrPart::describe()
{
    const Imf::Header& head = header();
    ImageDescription& description = m_picture.description;
    m_flip = flipOf(head.displayWindow());
    description.dataRegion = flipped(head.dataWindow(), m_flip);
    description.displayRect = flipped(head.displayWindow(), m_flip);
    for (int part = 0; part < m_file->parts(); ++part)
        if (m_file->header(part).hasName())
            description.parts.push_back(m_file->header(part).name());
    for (auto i = head.channels().begin(); i != head.channels().end(); ++i)
        description.channelNames.emplace_back(i.name());
    m_picture.luminanceChroma = canMakeColours(head.channels(), description.channelNames);
    if (!isFlat(head))
        describeDeep();
    else if (head.hasTileDescription())
        describeLevels();
    else
        description.isScanlineReadable = true;
}

void ExrPart::describeLevels()
{
    const Imf::TiledInputPart part(*m_file, m_number);
    ImageDescription& description = m_picture.description;
    description.isTiled = true;
    m_picture.tileWidth = part.tileXSize();
    m_picture.tileHeight = part.tileYSize();
    for (int ly = 0; ly < part.numYLevels(); ++ly)
        for (int lx = 0; lx < part.numXLevels(); ++lx)
        {
            if (!part.isValidLevel(lx, ly))
                continue;
            const Imath::Box2i display = displayWindowOfLevel(header(), lx, ly);
            const int64_t flip = flipOf(display);
            description.levels.push_back(
                {flipped(part.dataWindowForLevel(lx, ly), flip), flipped(display, flip)});
        }
}

void ExrPart::describeDeep()
{
    const Imf::ChannelList& channels = header().channels();
    ImageDescription& description = m_picture.description;
    m_picture.unreadable = "its pixels are deep";
    description.isDeepShadow = channels.findChannel("Z") && channels.findChannel("A");
    description.isVolumeShadow = description.isDeepShadow && hasFlag(header(), "volumeShadow");
}

void rethrowAsFileError(Error code)
{
    try
    {
        throw;
    }
    catch (const Iex::BaseExc& error)
    {
        // "Error reading pixel data from image file "name". Why.": ours says the first part itself.
        std::string why = error.what();
        if (const size_t name = why.rfind("\". "); name != std::string::npos)
            why.erase(0, name + 3);
        while (!why.empty() && (why.back() == '.' || why.back() == '\n'))
            why.pop_back();
        throw FileError(code, why);
    }
}

}
