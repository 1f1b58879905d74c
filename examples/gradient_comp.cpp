// Builds a picture of a sun over a chequered sea from generators and mixes, renders it tile by tile
// and writes an 8-bit preview.
//
// usage: gradient_comp [file.ppm [width height]]

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include <EMULSION/Plumbing.h>
#include <QUILT/CompositeTasks.h>
#include <QUILT/ProceduralTasks.h>
#include <QUILT/RenderManager.h>
#include <QUILT/RenderObserver.h>

using Imath::Color4f;
using QUILT::ref_ptr;
using QUILT::RenderTask;
using UTIL::Rect;

namespace
{

// Each factory makes a node of the graph; nothing is rendered here. Colours are in linear light,
// where 1 is white and a light may well be brighter: "" says that they are no other colour space.
ref_ptr<RenderTask> buildGraph(const Rect& frame)
{
    const auto width = static_cast<float>(frame.width());
    const auto height = static_cast<float>(frame.height());
    const auto horizon = std::floor(0.36f * height);

    QUILT::DirectionalGradientParams dusk;
    dusk.point0 = {0, horizon};
    dusk.color0 = {1.6f, 0.42f, 0.1f, 1};
    dusk.point1 = {0, height};
    dusk.color1 = {0.008f, 0.015f, 0.08f, 1};
    dusk.stops = {{0.22f, {0.75f, 0.14f, 0.16f, 1}}, {0.55f, {0.1f, 0.035f, 0.2f, 1}}};
    const Rect upper(frame.x0, static_cast<int64_t>(horizon), frame.x1, frame.y1);
    const ref_ptr<RenderTask> sky = createDirectionalGradientTask("sky", 0, upper, "", dusk);

    const Rect lower(frame.x0, frame.y0, frame.x1, upper.y0);
    const ref_ptr<RenderTask> tiles =
        QUILT::createCheckerboardTask("tiles", 0, lower, {0.004f, 0.02f, 0.06f, 1},
                                      {0.02f, 0.07f, 0.14f, 1}, {height / 15, height / 30});
    QUILT::RampParams shine;
    shine.type = 1;
    shine.color0 = {0, 0, 0.02f, 1};
    shine.color1 = {0.5f, 0.13f, 0.09f, 1};
    const ref_ptr<RenderTask> sea = QUILT::createMixTask(
        "sea", 0, 0.4f, tiles, QUILT::createRampTask("shine", 0, lower, "", shine));

    // An image is zero outside of its rectangle: each of the two gets half of its light.
    ref_ptr<RenderTask> comp = QUILT::createMixTask("dusk", 0, 0.5f, sky, sea);

    // Both lights keep to an ellipse, so they cost nothing in the tiles outside of it.
    QUILT::RadialGradientParams glow;
    glow.centerX = 0.62f * width;
    glow.centerY = horizon + 0.17f * height;
    glow.innerRadius = 0.1f * height;
    glow.outerRadius = 0.6f * height;
    glow.gradientParam = 1;
    glow.color0 = {0.9f, 0.26f, 0.04f, 1};
    glow.color1 = {0, 0, 0, 1};
    glow.limitToEllipse = true;
    comp = QUILT::createMixTask("lit", 0, 0.35f, comp,
                                createRadialGradientTask("glow", 0, frame, "", glow));

    QUILT::RadialGradientParams sun = glow;
    sun.innerRadius = 0.06f * height;
    sun.outerRadius = 0.11f * height;
    sun.color0 = {8, 6.5f, 3.5f, 1};
    sun.color1 = {5, 2, 0.4f, 1};
    return QUILT::createMixTask("comp", 0, 0.2f, comp,
                                createRadialGradientTask("sun", 0, frame, "", sun));
}

// The sRGB curve (IEC 61966-2-1), with a shoulder for what is brighter than white.
unsigned char toDisplay(float linear)
{
    const float light = std::max(0.0f, linear) * 3.0f;
    const float v = light / (1.0f + light) * 1.15f;
    const float encoded = v <= 0.0031308f ? 12.92f * v : 1.055f * std::pow(v, 1 / 2.4f) - 0.055f;
    return static_cast<unsigned char>(std::lround(std::clamp(encoded, 0.0f, 1.0f) * 255.0f));
}

// Gets the tiles. Its operations are called by many threads at once; that needs no lock here,
// because no two tiles share a pixel.
class Preview : public QUILT::RenderObserver
{
public:
    explicit Preview(const Rect& frame)
        : m_frame(frame), m_bytes(static_cast<size_t>(frame.width() * frame.height() * 3))
    {}

    void outputTileRendered(QUILT::ImageBuffer tile, const QUILT::FinalTile&) override
    {
        ++m_tiles;
        tile.lock(); // brings the pixels to memory and keeps them there
        const EMULSION::Image* const image = tile.getImage();
        for (int64_t y = image->bounds.y0; y < image->bounds.y1; ++y)
        {
            for (int64_t x = image->bounds.x0; x < image->bounds.x1; ++x)
            {
                float rgba[4] = {}; // a channel that the image lacks is zero
                EMULSION::GetPixel(image, x, y, rgba);
                std::transform(rgba, rgba + 3, bytesAt(x, y), toDisplay);
            }
        }
        tile.unlock();
    }

    void renderError(const std::string& task, const std::string& kind, const std::string& message,
                     int) override
    {
        std::cerr << task + ": " + kind + ": " + message + "\n";
        m_failed = true;
    }

    void write(const std::string& path) const
    {
        std::ofstream file(path, std::ios::binary);
        file << "P6\n" << m_frame.width() << ' ' << m_frame.height() << "\n255\n";
        file.write(reinterpret_cast<const char*>(m_bytes.data()), std::ssize(m_bytes));
        if (!file.flush())
            throw std::runtime_error(path + " cannot be written.");
    }

    int tiles() const { return m_tiles; }
    bool failed() const { return m_failed; }

private:
    // The file begins with the top row of the picture, our y axis points up.
    unsigned char* bytesAt(int64_t x, int64_t y)
    {
        const int64_t row = m_frame.y1 - 1 - y;
        return &m_bytes[static_cast<size_t>((row * m_frame.width() + x - m_frame.x0) * 3)];
    }

    const Rect m_frame;
    std::vector<unsigned char> m_bytes;
    std::atomic<int> m_tiles = 0;
    std::atomic<bool> m_failed = false;
};

}

int main(int argc, char** argv)
try
{
    if (argc != 1 && argc != 2 && argc != 4)
    {
        std::cerr << "usage: gradient_comp [file.ppm [width height]]\n";
        return 2;
    }
    const std::string path = argc > 1 ? argv[1] : "gradient_comp.ppm";
    const int width = argc > 2 ? std::atoi(argv[2]) : 1920;
    const int height = argc > 2 ? std::atoi(argv[3]) : 1080;
    if (width < 1 || height < 1)
        throw std::invalid_argument("the width and the height are numbers above 0");
    const Rect frame(0, 0, width, height);

    const auto start = std::chrono::steady_clock::now();
    QUILT::RenderManager::SetPollPeriod(1000); // microseconds
    const ref_ptr<Preview> preview(new Preview(frame));
    QUILT::RenderManager::Render({{buildGraph(frame), frame, 0}}, preview, nullptr, false,
                                 QUILT::RenderManager::RenderTypePrimary);
    const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;
    if (preview->failed())
        return 1;

    preview->write(path);
    std::cout << path << ": " << width << " x " << height << " pixels in " << preview->tiles()
              << " tiles, rendered in " << std::lround(time.count()) << " ms\n";
    return 0;
}
catch (const std::exception& error)
{
    std::cerr << "gradient_comp: " << error.what() << '\n';
    return 1;
}
