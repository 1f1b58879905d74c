#include "files/OpenPicture.h"

#include "EMULSION/Plumbing.h"
#include "files/ChannelNames.h"
#include "files/Formats.h"
#include "files/OpenFile.h"
#include "Validation.h"

namespace EMULSION::Private
{

namespace
{

int64_t sum(int64_t a, int64_t b)
{
    int64_t result = 0;
    if (__builtin_add_overflow(a, b, &result))
        throw FileError(ERROR_INVALID_ARGUMENT, "the windows of the options lie too far out");
    return result;
}

int64_t difference(int64_t a, int64_t b)
{
    int64_t result = 0;
    if (__builtin_sub_overflow(a, b, &result))
        throw FileError(ERROR_INVALID_ARGUMENT, "the windows of the options lie too far out");
    return result;
}

UTIL::Rect moved(const UTIL::Rect& rect, int64_t dx, int64_t dy)
{
    return UTIL::Rect(sum(rect.x0, dx), sum(rect.y0, dy), sum(rect.x1, dx), sum(rect.y1, dy));
}

Image viewOf(const Image& image, const UTIL::Rect& part)
{
    Image view;
    GetSubImage(&view, &image, part.x0, part.y0, part.x1, part.y1);
    return view;
}

void clearOutside(const Image& image, const UTIL::Rect& part)
{
    for (const UTIL::Rect& outside : UTIL::Region(image.bounds).subtracted(UTIL::Region(part)))
    {
        const Image view = viewOf(image, outside);
        Clear(&view);
    }
}

}

OpenPicture::OpenPicture(const std::string& name, const InputImageOptions& options)
    : m_file(findFile(name)), m_reader(formatOf(m_file).open(m_file))
{
    if (!picture().unreadable.empty())
        throw FileError(ERROR_FILE_UNSUPPORTED, picture().unreadable);
    m_sources = mapChannels(picture(), options);
    m_inImage = m_inFile = picture().description.dataRegion.getBounds();
    if (!options.overrideWindows)
        return;
    const UTIL::Rect wanted = options.dataRegion.getBounds();
    const int64_t dx = difference(wanted.x0, m_inFile.x0);
    const int64_t dy = difference(wanted.y1, m_inFile.y1);
    m_inImage = moved(m_inFile, dx, dy).intersect(wanted);
    m_inFile = m_inImage.isNull() ? UTIL::Rect() : moved(m_inImage, -dx, -dy);
}

void OpenPicture::read(const Image& image)
{
    const UTIL::Rect part = image.bounds.intersect(m_inImage);
    clearOutside(image, part);
    if (part.isNull())
        return;
    Image view = viewOf(image, part);
    view.bounds = moved(part, m_inFile.x0 - m_inImage.x0, m_inFile.y0 - m_inImage.y0);
    m_reader->read(view, m_sources);
}

ImageDescription describeFile(const std::string& name)
{
    FoundFile file = findFile(name);
    const FileStamp stamp = file.stamp;
    const std::unique_ptr<FileReader> reader = formatOf(file).open(file);
    ImageDescription description = reader->picture().description;
    description.channels = mapFileChannels(reader->picture()).channels;
    description.stamp = stamp;
    return description;
}

}
