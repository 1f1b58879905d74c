#include <EMULSION/Error.h>
#include <EMULSION/ImageFile.h>
#include <EMULSION/WriteImage.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

#include <unistd.h>

#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfInputFile.h>
#include <ImfOutputFile.h>
#include <ImfThreading.h>

#include <benchmark/benchmark.h>

using namespace EMULSION;

// Whole frames of 4096 x 2160 RGBA halves, beside OpenEXR called directly for the same file with
// the same threads: floats from and to memory, since that is what images hold. "ratio" is our time
// by OpenEXR's, the least of all rounds each. Files go to QUILT_BENCH_FOLDER, or to memory.
namespace
{

constexpr size_t s_width = 4096, s_height = 2160;

struct Frame
{
    Frame() : floats(s_width * s_height * 4)
    {
        // A smooth picture with some grain, so that it compresses as pictures do.
        uint32_t noise = 1;
        for (size_t i = 0; i < floats.size(); ++i)
        {
            noise = noise * 1664525 + 1013904223;
            const auto x = static_cast<float>(i / 4 % s_width);
            floats[i] = 0.5f + 0.4f * std::sin(x * 0.01f) + static_cast<float>(noise >> 24) * 1e-4f;
        }
        image.channels = 15;
        image.bounds = UTIL::Rect(0, 0, int64_t{s_width}, int64_t{s_height});
        image.rowBytes = s_width * 16;
        image.pixelPtr = floats.data();
    }

    std::vector<float> floats;
    Image image;
};

Frame& frame()
{
    static Frame shared;
    return shared;
}

std::string benchFile()
{
    const char* const folder = std::getenv("QUILT_BENCH_FOLDER");
    return std::string(folder ? folder : "/dev/shm") + "/emulsion-files-bench-" +
           std::to_string(::getpid()) + ".exr";
}

double secondsOf(const auto& work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

constexpr const char* s_names[4] = {"R", "G", "B", "A"};

void readDirectly(const std::string& file, std::vector<float>& floats)
{
    Imf::InputFile input(file.c_str());
    Imf::FrameBuffer buffer;
    for (size_t i = 0; i < 4; ++i)
        buffer.insert(s_names[i], Imf::Slice(Imf::FLOAT, reinterpret_cast<char*>(&floats[i]), 16,
                                             s_width * 16));
    input.setFrameBuffer(buffer);
    input.readPixels(0, int{s_height} - 1);
}

void writeDirectly(const std::string& file, const std::vector<float>& floats, int compression)
{
    std::vector<half> halves(floats.size());
    for (size_t i = 0; i < floats.size(); ++i)
        halves[i] = floats[i];
    Imf::Header header(int{s_width}, int{s_height});
    header.compression() = static_cast<Imf::Compression>(compression);
    Imf::FrameBuffer buffer;
    for (size_t i = 0; i < 4; ++i)
    {
        header.channels().insert(s_names[i], Imf::Channel(Imf::HALF));
        buffer.insert(s_names[i],
                      Imf::Slice(Imf::HALF, reinterpret_cast<char*>(&halves[i]), 8, s_width * 8));
    }
    Imf::OutputFile output(file.c_str(), header);
    output.setFrameBuffer(buffer);
    output.writePixels(int{s_height});
}

void writeOurs(const std::string& file, int compression, bool tiled = false)
{
    OutputImageOptions options;
    options.type3OptionA = compression;
    options.tiled = tiled;
    options.tileWidth = options.tileHeight = 256;
    WriteImage(file.c_str(), &frame().image, "exr", options);
}

void report(benchmark::State& state, double ours, double direct)
{
    if (GetError() != ERROR_NONE)
        state.SkipWithError(GetErrorMessage().c_str());
    ::unlink(benchFile().c_str());
    state.counters["ours ms"] = ours * 1e3;
    state.counters["OpenEXR ms"] = direct * 1e3;
    state.counters["ratio"] = ours / direct;
}

// Argument: compression by OpenEXR's number. A frame in one call.
void decodes(benchmark::State& state)
{
    const std::string file = benchFile();
    writeOurs(file, static_cast<int>(state.range(0)));
    double ours = 1e9, direct = 1e9;
    for ([[maybe_unused]] auto _ : state)
    {
        direct = std::min(direct, secondsOf([&] { readDirectly(file, frame().floats); }));
        ours = std::min(ours, secondsOf([&] {
                            if (const auto function = createReadImageFunction(file.c_str(), {}))
                                (*function)(&frame().image);
                        }));
    }
    report(state, ours, direct);
}

// The same in bands of 64 rows from the bottom, as a render asks for them.
void decodesBands(benchmark::State& state)
{
    const std::string file = benchFile();
    writeOurs(file, static_cast<int>(state.range(0)));
    double ours = 1e9, direct = 1e9;
    for ([[maybe_unused]] auto _ : state)
    {
        direct = std::min(direct, secondsOf([&] { readDirectly(file, frame().floats); }));
        ours = std::min(ours, secondsOf([&] {
                            const auto function = createReadImageFunction(file.c_str(), {});
                            Image band = frame().image;
                            for (int64_t y = 0; function && y < int64_t{s_height}; y += 64)
                            {
                                band.bounds.y0 = y;
                                band.bounds.y1 = std::min(y + 64, int64_t{s_height});
                                band.pixelPtr =
                                    &frame().floats[static_cast<size_t>(y) * s_width * 4];
                                (*function)(&band);
                            }
                        }));
    }
    report(state, ours, direct);
}

// The same of a file in tiles of 256.
void decodesTiles(benchmark::State& state)
{
    const std::string file = benchFile();
    writeOurs(file, static_cast<int>(state.range(0)), true);
    double ours = 1e9, direct = 1e9;
    for ([[maybe_unused]] auto _ : state)
    {
        direct = std::min(direct, secondsOf([&] { readDirectly(file, frame().floats); }));
        ours = std::min(ours, secondsOf([&] {
                            if (const auto function = createReadImageFunction(file.c_str(), {}))
                                (*function)(&frame().image);
                        }));
    }
    report(state, ours, direct);
}

void encodes(benchmark::State& state)
{
    const std::string file = benchFile();
    const auto compression = static_cast<int>(state.range(0));
    double ours = 1e9, direct = 1e9;
    for ([[maybe_unused]] auto _ : state)
    {
        direct =
            std::min(direct, secondsOf([&] { writeDirectly(file, frame().floats, compression); }));
        ours = std::min(ours, secondsOf([&] { writeOurs(file, compression); }));
    }
    report(state, ours, direct);
}

}

BENCHMARK(decodes)->Arg(0)->Arg(3)->Unit(benchmark::kMillisecond)->Iterations(7);
BENCHMARK(decodesBands)->Arg(0)->Arg(3)->Unit(benchmark::kMillisecond)->Iterations(7);
BENCHMARK(decodesTiles)->Arg(0)->Arg(3)->Unit(benchmark::kMillisecond)->Iterations(7);
BENCHMARK(encodes)->Arg(0)->Arg(3)->Unit(benchmark::kMillisecond)->Iterations(5);
