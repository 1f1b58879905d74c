#include <EMULSION/Error.h>
#include <EMULSION/Orient.h>
#include <EMULSION/Plumbing.h>
#include <EMULSION/Raw.h>

#include <algorithm>
#include <bit>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

using namespace EMULSION;

// Every benchmark runs memcpy over as many bytes beside its own work. "ratio" is its own time by
// that of memcpy: 1 is the speed of a plain copy, below 1 is faster.
namespace
{

struct Picture
{
    Picture(uint64_t channels, int64_t width, int64_t height)
        : floats(static_cast<size_t>(std::popcount(channels) * width * height), 1.0f)
    {
        image.channels = channels;
        image.bounds = UTIL::Rect(0, 0, width, height);
        image.rowBytes = static_cast<uint64_t>(std::popcount(channels) * width) * sizeof(float);
        image.pixelPtr = floats.data();
    }

    std::vector<float> floats;
    Image image;
};

double secondsOf(const auto& work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Runs memcpy over as many bytes as the work writes beside it. "ratio" is the time of the work by
// that of memcpy: 1 is the speed of a plain copy, below 1 is faster.
void runBesideCopy(benchmark::State& state, size_t bytes, const auto& work)
{
    const std::vector<char> from(bytes, 1);
    std::vector<char> to(bytes, 2);
    double ours = 1e9, plain = 1e9;
    for ([[maybe_unused]] auto _ : state)
    {
        const double seconds = secondsOf(work);
        state.SetIterationTime(seconds);
        ours = std::min(ours, seconds);
        plain = std::min(plain, secondsOf([&] {
                             std::memcpy(to.data(), from.data(), bytes);
                             benchmark::ClobberMemory();
                         }));
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes));
    state.counters["ratio"] = ours / plain;
}

// Arguments: channels of the output, channels of the input, side of the square in pixels.
void copies(benchmark::State& state)
{
    const int64_t side = state.range(2);
    Picture output(static_cast<uint64_t>(state.range(0)), side, side);
    Picture input(static_cast<uint64_t>(state.range(1)), side, side);
    runBesideCopy(state, output.floats.size() * sizeof(float),
                  [&] { CopyInto(&output.image, &input.image); });
}

void fills(benchmark::State& state)
{
    const float colour[4] = {0.1f, 0.2f, 0.3f, 1.0f};
    Picture output(static_cast<uint64_t>(state.range(0)), state.range(1), state.range(1));
    runBesideCopy(state, output.floats.size() * sizeof(float),
                  [&] { Fill(&output.image, colour); });
}

void channelCopies(benchmark::State& state)
{
    const int64_t side = state.range(2);
    const auto mask = static_cast<unsigned long>(state.range(0));
    Picture output(15, side, side);
    Picture input(static_cast<uint64_t>(state.range(1)), side, side);
    runBesideCopy(state, output.floats.size() * sizeof(float), [&] {
        ChannelCopy(&output.image, &input.image, mask, static_cast<unsigned long>(state.range(1)));
    });
}

// Arguments: the operation, channels of both images. A frame of 4096 x 2160 pixels.
void orients(benchmark::State& state)
{
    const auto operation = static_cast<int32_t>(state.range(0));
    const auto channels = static_cast<uint64_t>(state.range(1));
    const bool turns = operation == OrientCounterClockwise || operation == OrientClockwise;
    Picture input(channels, 4096, 2160), output(channels, turns ? 2160 : 4096, turns ? 4096 : 2160);
    runBesideCopy(state, output.floats.size() * sizeof(float), [&] {
        if (turns)
            Orient(&output.image, &input.image, operation);
        else
            (operation == OrientFlip   ? Flip
             : operation == OrientFlop ? Flop
                                       : FlipFlop)(&output.image, &input.image);
    });
}

// Argument: side of the square of RGBA pixels. Files go to QUILT_BENCH_FOLDER, or to memory.
struct SwapFile
{
    explicit SwapFile(benchmark::State& state) : picture(15, state.range(0), state.range(0))
    {
        const char* folder = std::getenv("QUILT_BENCH_FOLDER");
        path = std::string(folder ? folder : "/dev/shm") + "/emulsion-bench-" +
               std::to_string(::getpid());
    }
    ~SwapFile() { ::unlink(path.c_str()); }

    // The same bytes by one call of the system; false when that did not do.
    bool plainWrite() const
    {
        const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        const ssize_t count = ::write(file, picture.floats.data(), bytes());
        return ::close(file) == 0 && count == static_cast<ssize_t>(bytes());
    }
    bool plainRead()
    {
        const int file = ::open(path.c_str(), O_RDONLY);
        const ssize_t count = ::read(file, picture.floats.data(), bytes());
        return ::close(file) == 0 && count == static_cast<ssize_t>(bytes());
    }
    size_t bytes() const { return picture.floats.size() * sizeof(float); }

    Picture picture;
    std::string path;
};

// "ratio" is the time of the swap file by that of plain calls of the system for the same bytes.
void swaps(benchmark::State& state)
{
    SwapFile file(state);
    double written = 1e9, plainWritten = 1e9, read = 1e9, plainRead = 1e9;
    bool sound = true;
    for ([[maybe_unused]] auto _ : state)
    {
        plainWritten = std::min(plainWritten, secondsOf([&] { sound &= file.plainWrite(); }));
        plainRead = std::min(plainRead, secondsOf([&] { sound &= file.plainRead(); }));
        ::unlink(file.path.c_str());
        written =
            std::min(written, secondsOf([&] { WriteRAW(file.path.c_str(), &file.picture.image); }));
        read = std::min(read, secondsOf([&] { ReadRAW(&file.picture.image, file.path.c_str()); }));
        ::unlink(file.path.c_str());
    }
    if (!sound || GetError() != ERROR_NONE)
        state.SkipWithError("a file could not be written or read back");
    const double gigabytes = static_cast<double>(file.bytes()) * 1e-9;
    state.counters["write GB/s"] = gigabytes / written;
    state.counters["write ratio"] = written / plainWritten;
    state.counters["read GB/s"] = gigabytes / read;
    state.counters["read ratio"] = read / plainRead;
}

}

BENCHMARK(swaps)->Arg(256)->Arg(1024)->Arg(3000);
BENCHMARK(copies)
    ->UseManualTime()
    ->ArgsProduct({{15}, {15, 7, 8}, {256, 3000}})
    ->ArgsProduct({{7, 8}, {15}, {256, 3000}});
BENCHMARK(fills)->UseManualTime()->ArgsProduct({{15, 7, 3, 1}, {256, 3000}});
BENCHMARK(orients)->UseManualTime()->ArgsProduct({{1, 3, 4, 5, 6}, {15, 7, 8}});
BENCHMARK(channelCopies)
    ->UseManualTime()
    ->ArgsProduct({{15, 8}, {8}, {256, 3000}})
    ->ArgsProduct({{7}, {7}, {256, 3000}});
