#include <algorithm>

#include "EMULSION/Plumbing.h"
#include "files/exr/ExrChroma.h"
#include "files/exr/ExrHeaderScan.h"
#include "files/exr/ExrReader.h"
#include "files/OwnedImage.h"

namespace EMULSION::Private
{

namespace
{

Image rowsOf(const Image& image, int64_t y0, int64_t y1)
{
    Image view;
    GetSubImage(&view, &image, image.bounds.x0, y0, image.bounds.x1, y1);
    return view;
}

}

ExrScanlineReader::ExrScanlineReader(ExrPart part)
    : ExrReader(std::move(part)), m_input(m_part.file(), m_part.number()),
      m_chunkRows(rowsOfChunk(m_part.header().compression()))
{}

void ExrScanlineReader::readPlanned(const Image& image, const ExrChannelPlan& plan)
{
    const UTIL::Rect data = m_part.dataRect();
    const bool straight =
        image.bounds.x0 == data.x0 && image.bounds.x1 == data.x1 && !plan.needsMoreThanSlices();
    const int64_t step = straight ? image.bounds.height() : rowsAtOnce(image);
    FirstFailure failure;
    // From the top, which is the start of the file.
    for (int64_t y = image.bounds.y1; y > image.bounds.y0; y -= step)
        readRows(rowsOf(image, std::max(y - step, image.bounds.y0), y), plan, failure);
    failure.throwIfAny();
}

// Rows that go through memory of ours: enough to keep all threads busy, within 32 MiB.
int64_t ExrScanlineReader::rowsAtOnce(const Image& image) const
{
    static constexpr int64_t mostBytes = int64_t{32} << 20;
    const int64_t rowSize =
        m_part.dataRect().width() * static_cast<int64_t>(pixelBytes(image.channels));
    const int64_t wanted = std::max<int64_t>(2 * m_chunkRows * std::max(fileThreads(), 1), 64);
    const int64_t chunks = std::min(wanted, mostBytes / rowSize) / m_chunkRows;
    return std::max<int64_t>(chunks, 1) * m_chunkRows;
}

// Reads rows; those of a chunk that cannot be read become 0.
void ExrScanlineReader::readRows(const Image& image, const ExrChannelPlan& plan,
                                 FirstFailure& failure)
{
    if (failure.attemptToRead([&] { readWholeRows(image, plan); }))
        return;
    const int64_t middle = splitRow(image.bounds);
    if (middle <= image.bounds.y0 || middle >= image.bounds.y1)
    {
        Clear(&image);
        return;
    }
    readRows(rowsOf(image, middle, image.bounds.y1), plan, failure);
    readRows(rowsOf(image, image.bounds.y0, middle), plan, failure);
}

// The border between two chunks that is nearest above the middle of some rows.
int64_t ExrScanlineReader::splitRow(const UTIL::Rect& rows) const
{
    const int64_t top = m_part.dataRect().y1;
    const int64_t fromTop = top - (rows.y0 + rows.height() / 2);
    const int64_t middle = top - fromTop / m_chunkRows * m_chunkRows;
    return middle < rows.y1 ? middle : middle - m_chunkRows;
}

void ExrScanlineReader::readWholeRows(const Image& image, const ExrChannelPlan& plan)
{
    const UTIL::Rect data = m_part.dataRect();
    if (image.bounds.x0 != data.x0 || image.bounds.x1 != data.x1)
    {
        const OwnedImage whole(image.channels,
                               UTIL::Rect(data.x0, image.bounds.y0, data.x1, image.bounds.y1));
        readWholeRows(whole.image, plan);
        Copy(&image, &whole.image);
        return;
    }
    if (plan.needsSlices()) // OpenEXR refuses to read nothing
    {
        m_input.setFrameBuffer(plan.frameBuffer(image, m_part.flip()));
        m_input.readPixels(m_part.fileRow(image.bounds.y1 - 1), m_part.fileRow(image.bounds.y0));
        plan.copyRepeated(image);
    }
    for (const ExrChannelPlan::Subsampled& channel : plan.subsampled())
        readSubsampled(m_input, m_part, channel, image);
    if (!plan.colours().empty() && !m_wholeChroma)
        readColours(m_input, m_part, plan, image);
}

}
