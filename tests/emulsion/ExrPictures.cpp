#include "emulsion/ExrPictures.h"

#include <cmath>
#include <fstream>
#include <iterator>

#include <ImathFun.h>
#include <ImfChannelList.h>
#include <ImfDeepFrameBuffer.h>
#include <ImfDeepScanLineOutputFile.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfInputPart.h>
#include <ImfIntAttribute.h>
#include <ImfMultiPartInputFile.h>
#include <ImfMultiPartOutputFile.h>
#include <ImfOutputPart.h>
#include <ImfPartType.h>
#include <ImfTiledOutputPart.h>

#include "files/exr/SliceBase.h"

namespace EmulsionTest
{

namespace
{

Imf::Header headerOf(const ExrSpec& spec)
{
    Imf::Header header(spec.displayWindow, spec.dataWindow);
    header.compression() = spec.compression;
    header.lineOrder() = spec.lineOrder;
    header.setType(spec.tiled ? Imf::TILEDIMAGE : Imf::SCANLINEIMAGE);
    if (!spec.part.empty())
        header.setName(spec.part);
    if (spec.tiled)
        header.setTileDescription(spec.tiles);
    for (const ExrSpec::Channel& channel : spec.channels)
        header.channels().insert(channel.name,
                                 Imf::Channel(channel.type, channel.sampling, channel.sampling));
    return header;
}

int64_t width(const Imath::Box2i& box)
{
    return int64_t{box.max.x} - box.min.x + 1;
}

int64_t height(const Imath::Box2i& box)
{
    return int64_t{box.max.y} - box.min.y + 1;
}

// The samples of one channel in the pixel type of the file, 4 bytes apart.
std::vector<uint32_t> samplesOf(const ExrSpec& spec, size_t index)
{
    const Imath::Box2i& window = spec.dataWindow;
    const ExrSpec::Channel& channel = spec.channels[index];
    std::vector<uint32_t> samples;
    for (int y = window.min.y; y <= window.max.y; ++y)
        for (int x = window.min.x; x <= window.max.x; ++x)
        {
            if (Imath::modp(x, channel.sampling) != 0 || Imath::modp(y, channel.sampling) != 0)
                continue;
            const double value = exrValue(spec, index, x, y);
            const auto real = static_cast<float>(value);
            samples.push_back(channel.type == Imf::UINT   ? static_cast<uint32_t>(value)
                              : channel.type == Imf::HALF ? half(real).bits()
                                                          : std::bit_cast<uint32_t>(real));
        }
    return samples;
}

Imf::Slice sliceOf(Imf::PixelType type, void* first, const Imath::Box2i& window, int sampling)
{
    const auto row = static_cast<size_t>(4 * (width(window) / sampling));
    char* const base = EMULSION::Private::sliceBase(first, Imath::divp(window.min.x, sampling), 4,
                                                    Imath::divp(window.min.y, sampling), row);
    return Imf::Slice(type, base, 4, row, sampling, sampling);
}

void writePart(Imf::MultiPartOutputFile& file, int number, const ExrSpec& spec)
{
    std::vector<std::vector<uint32_t>> samples;
    Imf::FrameBuffer buffer;
    for (size_t i = 0; i < spec.channels.size(); ++i)
    {
        samples.push_back(samplesOf(spec, i));
        buffer.insert(spec.channels[i].name, sliceOf(spec.channels[i].type, samples.back().data(),
                                                     spec.dataWindow, spec.channels[i].sampling));
    }
    if (!spec.tiled)
    {
        Imf::OutputPart part(file, number);
        part.setFrameBuffer(buffer);
        part.writePixels(static_cast<int>(height(spec.dataWindow)));
        return;
    }
    Imf::TiledOutputPart part(file, number);
    for (int ly = 0; ly < part.numYLevels(); ++ly)
        for (int lx = 0; lx < part.numXLevels(); ++lx)
        {
            if (!part.isValidLevel(lx, ly))
                continue;
            part.setFrameBuffer(lx + ly == 0 ? buffer : Imf::FrameBuffer());
            part.writeTiles(0, part.numXTiles(lx) - 1, 0, part.numYTiles(ly) - 1, lx, ly);
        }
}

}

std::string bytesOf(const std::string& path)
{
    std::ifstream stream(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(stream), {});
}

void setBytes(const std::string& path, const std::string& bytes)
{
    std::ofstream(path, std::ios::binary) << bytes;
}

ExrSpec anySpec(Random& random, int longestSide)
{
    static const std::vector<std::vector<std::string>> names = {
        {"R", "G", "B", "A"}, {"R", "G", "B"}, {"A"},       {"Y"},
        {"Y", "A"},           {"G"},           {"Z", "id"}, {"diffuse.R", "diffuse.G", "x"}};
    const auto box = [&](int64_t least) {
        const auto side = [&] { return static_cast<int>(random.between(least, longestSide)); };
        const auto corner = [&] { return static_cast<int>(random.between(-50, 50)); };
        const Imath::V2i low(corner(), corner());
        return Imath::Box2i(low, low + Imath::V2i(side() - 1, side() - 1));
    };
    ExrSpec spec;
    spec.dataWindow = box(1);
    spec.displayWindow = random.oneIn(2) ? spec.dataWindow : box(1);
    for (const std::string& name : random.pick(names))
        spec.channels.push_back(
            {name, static_cast<Imf::PixelType>(random.oneIn(6) ? 0 : random.between(1, 2))});
    spec.compression = static_cast<Imf::Compression>(random.between(0, 9));
    spec.tiled = random.oneIn(2);
    const auto tile = [&] { return static_cast<unsigned>(random.between(1, 40)); };
    spec.tiles =
        Imf::TileDescription(tile(), tile(), static_cast<Imf::LevelMode>(random.between(0, 2)),
                             static_cast<Imf::LevelRoundingMode>(random.between(0, 1)));
    spec.lineOrder = static_cast<Imf::LineOrder>(random.between(0, spec.tiled ? 2 : 1));
    return spec;
}

double exrValue(const ExrSpec& spec, size_t channel, int x, int y)
{
    const auto c = static_cast<double>(channel);
    const uint32_t noise = (static_cast<uint32_t>(x) * 2654435761u) ^
                           (static_cast<uint32_t>(y) * 2246822519u) ^
                           (static_cast<uint32_t>(channel) * 3266489917u);
    const double value =
        0.5 + 0.4 * std::sin(0.11 * x + c) * std::cos(0.07 * y) + (noise >> 20) * 1e-5;
    return spec.channels[channel].type == Imf::UINT ? std::floor(value * 1000) : value;
}

void writeExr(const std::string& path, const std::vector<ExrSpec>& parts)
{
    std::vector<Imf::Header> headers;
    for (const ExrSpec& spec : parts)
        headers.push_back(headerOf(spec));
    Imf::MultiPartOutputFile file(path.c_str(), headers.data(), static_cast<int>(headers.size()));
    for (size_t i = 0; i < parts.size(); ++i)
        writePart(file, static_cast<int>(i), parts[i]);
}

void writeDeepExr(const std::string& path, bool isVolume)
{
    static constexpr size_t width = 4, height = 3;
    Imf::Header header(int{width}, int{height});
    header.compression() = Imf::ZIPS_COMPRESSION;
    header.setType(Imf::DEEPSCANLINE);
    header.channels().insert("A", Imf::Channel(Imf::HALF));
    header.channels().insert("Z", Imf::Channel(Imf::FLOAT));
    if (isVolume)
        header.insert("volumeShadow", Imf::IntAttribute(1));
    std::vector<unsigned> counts(width * height, 1);
    half alpha = 0.5f;
    float depth = 2;
    std::vector<char*> alphas(width * height, reinterpret_cast<char*>(&alpha));
    std::vector<char*> depths(width * height, reinterpret_cast<char*>(&depth));
    Imf::DeepFrameBuffer buffer;
    buffer.insertSampleCountSlice(
        Imf::Slice(Imf::UINT, reinterpret_cast<char*>(counts.data()), 4, 4 * width));
    buffer.insert("A", Imf::DeepSlice(Imf::HALF, reinterpret_cast<char*>(alphas.data()),
                                      sizeof(char*), sizeof(char*) * width, sizeof(half)));
    buffer.insert("Z", Imf::DeepSlice(Imf::FLOAT, reinterpret_cast<char*>(depths.data()),
                                      sizeof(char*), sizeof(char*) * width, sizeof(float)));
    Imf::DeepScanLineOutputFile file(path.c_str(), header);
    file.setFrameBuffer(buffer);
    file.writePixels(int{height});
}

Planes readExr(const std::string& path, int number)
{
    Imf::MultiPartInputFile file(path.c_str());
    Imf::InputPart part(file, number);
    const Imath::Box2i window = part.header().dataWindow();
    const auto count = static_cast<size_t>(width(window)) * static_cast<size_t>(height(window));
    Planes planes;
    Imf::FrameBuffer buffer;
    const Imf::ChannelList& channels = part.header().channels();
    for (auto i = channels.begin(); i != channels.end(); ++i)
    {
        std::vector<float>& plane = planes[i.name()];
        plane.resize(count);
        buffer.insert(i.name(), sliceOf(Imf::FLOAT, plane.data(), window, i.channel().xSampling));
    }
    part.setFrameBuffer(buffer);
    part.readPixels(window.min.y, window.max.y);
    for (auto i = channels.begin(); i != channels.end(); ++i)
    {
        const int step = i.channel().xSampling;
        const std::vector<float> packed = planes[i.name()];
        for (int y = 0; y < height(window); ++y)
            for (int x = 0; x < width(window); ++x)
                planes[i.name()][static_cast<size_t>(y * width(window) + x)] =
                    packed[static_cast<size_t>(y / step * (width(window) / step) + x / step)];
    }
    return planes;
}

UTIL::Rect displayRect(const ExrSpec& spec)
{
    const Imath::Box2i& box = spec.displayWindow;
    return UTIL::Rect(box.min.x, box.min.y, box.max.x + 1, box.max.y + 1);
}

UTIL::Rect dataRect(const ExrSpec& spec)
{
    const Imath::Box2i& box = spec.dataWindow;
    const int flip = spec.displayWindow.min.y + spec.displayWindow.max.y;
    return UTIL::Rect(box.min.x, flip - box.max.y, box.max.x + 1, flip - box.min.y + 1);
}

const float* planeAt(const ExrSpec& spec, const std::vector<float>& plane, int64_t x, int64_t y)
{
    const UTIL::Rect data = dataRect(spec);
    if (x < data.x0 || x >= data.x1 || y < data.y0 || y >= data.y1)
        return nullptr;
    return &plane[static_cast<size_t>((data.y1 - 1 - y) * data.width() + x - data.x0)];
}

}
