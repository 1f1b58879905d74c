// What the memory of images costs: locking new ones with and without kept memory, swapping against
// plain writing and reading of the same bytes, and the cache with 100000 members.

#include <cstdlib>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <Bramble3/Configuration.h>
#include <EMULSION/Plumbing.h>

#include "private/ImageAllocator.h"
#include "private/ImageBuffer_Imp.h"

using namespace QUILT;
using namespace QUILT::Private;
using UTIL::Rect;

namespace
{

const Rect s_tile(0, 0, 256, 256);
const Rect s_frame(0, 0, 4096, 2160);
const float s_color[4] = {0.1f, 0.2f, 0.3f, 1.0f};

ImageBuffer make(ImageAllocator& allocator, const Rect& bounds)
{
    return ImageBuffer(
        ref_ptr<ImageBuffer::Impl>(new ImageBuffer::Impl(15, bounds, "", &allocator, 15)));
}

void countBytes(benchmark::State& state, std::size_t bytes)
{
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(bytes));
}

// So many new images are locked, filled or not, unlocked and dropped together, as a wave of tiles
// is; in the memory of the wave before, or each time in memory that is new to the process.
void newImages(benchmark::State& state, int number, const Rect& bounds, bool kept, bool filled)
{
    auto allocator = std::make_unique<ImageAllocator>();
    std::vector<ImageBuffer> images;
    for ([[maybe_unused]] auto _ : state)
    {
        allocator->setMaxMemUsage(int64_t(2) << 30);
        for (int i = 0; i < number; ++i)
        {
            images.push_back(make(*allocator, bounds));
            images.back().lock();
            if (filled)
                EMULSION::Fill(images.back().getImage(), s_color);
            images.back().unlock();
        }
        images.clear();
        if (!kept)
            allocator = std::make_unique<ImageAllocator>();
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * number);
    countBytes(state, std::size_t(number) * make(*allocator, bounds).getSize());
}
BENCHMARK_CAPTURE(newImages, tiles_kept, 64, s_tile, true, false);
BENCHMARK_CAPTURE(newImages, tiles_kept_filled, 64, s_tile, true, true);
BENCHMARK_CAPTURE(newImages, tiles_fresh_filled, 64, s_tile, false, true);
BENCHMARK_CAPTURE(newImages, frame_kept_filled, 1, s_frame, true, true);
BENCHMARK_CAPTURE(newImages, frame_fresh_filled, 1, s_frame, false, true);

// Lock and unlock of an image that is in memory, among many others, by threads at once.
void lockAndUnlock(benchmark::State& state)
{
    static ImageAllocator* const allocator = new ImageAllocator;
    std::vector<ImageBuffer> others;
    for (int i = 0; i < 10000; ++i)
    {
        others.push_back(make(*allocator, Rect(0, 0, 1, 1)));
        others.back().lock();
        others.back().unlock();
    }
    ImageBuffer image = make(*allocator, s_tile);
    image.lock();
    image.unlock();
    for ([[maybe_unused]] auto _ : state)
    {
        image.lock();
        image.unlock();
    }
}
BENCHMARK(lockAndUnlock)->ThreadRange(1, 2);

// One tile in, one tile out: half of the bytes are written, half are read.
void swapping(benchmark::State& state)
{
    Bramble3::BzConfiguration::v1::Config().set("LANTERN_TMPDIR", "/dev/shm");
    ImageAllocator allocator;
    ImageBuffer images[2] = {make(allocator, s_tile), make(allocator, s_tile)};
    allocator.setMaxMemUsage(int64_t(images[0].getSize()));
    for (ImageBuffer& image : images)
    {
        image.lock();
        EMULSION::Fill(image.getImage(), s_color);
        image.unlock();
    }
    for ([[maybe_unused]] auto _ : state)
    {
        for (ImageBuffer& image : images)
        {
            image.lock();
            image.unlock();
        }
    }
    countBytes(state, 4 * images[0].getSize());
}
BENCHMARK(swapping);

// What the system takes for the same: a file written, read back and removed.
void plainFiles(benchmark::State& state)
{
    const std::string path = "/dev/shm/quilt_bench_" + std::to_string(getpid());
    const std::size_t size = std::size_t(256) * 256 * 16;
    std::vector<char> pixels(size, 'x');
    for ([[maybe_unused]] auto _ : state)
    {
        const int file = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        if (write(file, pixels.data(), size) != ssize_t(size) ||
            pread(file, pixels.data(), size, 0) != ssize_t(size))
            state.SkipWithError("no room in /dev/shm");
        close(file);
        unlink(path.c_str());
    }
    countBytes(state, 2 * size);
}
BENCHMARK(plainFiles);

constexpr int s_members = 100000;

std::string cacheID(int index)
{
    return "$ennbmijnpiaacleajoaijaij" + std::to_string(index * 7919 % s_members + 10000000);
}

std::unique_ptr<ImageAllocator> fullCache()
{
    auto allocator = std::make_unique<ImageAllocator>();
    for (int i = 0; i < s_members; ++i)
    {
        ImageBuffer image = make(*allocator, Rect(0, 0, 1, 1));
        image.getImpl()->setCacheData(new CacheData(CacheKey{cacheID(i), TileID(1, 2, 256, 256)},
                                                    "task" + std::to_string(i % 1000), "Type", 1.0f,
                                                    float(i % 977)));
        image.lock();
        image.unlock();
    }
    return allocator;
}

void cacheMiss(benchmark::State& state)
{
    const auto allocator = fullCache();
    const CacheKey key{cacheID(0), TileID(2, 1, 256, 256)};
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(allocator->getCachedImage(key).isNull());
}
BENCHMARK(cacheMiss);

std::vector<CacheKey> someKeys()
{
    std::vector<CacheKey> keys;
    for (int i = 0; i < 4096; ++i)
        keys.push_back({cacheID(i * 23), TileID(1, 2, 256, 256)});
    return keys;
}

// Takes many members out, one after the other.
void cacheHits(benchmark::State& state)
{
    const auto allocator = fullCache();
    const std::vector<CacheKey> keys = someKeys();
    std::vector<ImageBuffer> found(keys.size());
    for ([[maybe_unused]] auto _ : state)
    {
        for (std::size_t i = 0; i < keys.size(); ++i)
            found[i] = allocator->getCachedImage(keys[i]);
        state.PauseTiming();
        for (ImageBuffer& image : found)
        {
            if (image.isNull())
                state.SkipWithError("a member is missing");
            image.setNull();
        }
        state.ResumeTiming();
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(keys.size()));
}
BENCHMARK(cacheHits);

// Takes a member out, which then is offered again and taken.
void cacheHitAndReturn(benchmark::State& state)
{
    const auto allocator = fullCache();
    const std::vector<CacheKey> keys = someKeys();
    std::size_t next = 0;
    for ([[maybe_unused]] auto _ : state)
        if (allocator->getCachedImage(keys[next++ % keys.size()]).isNull())
            state.SkipWithError("a member is missing");
}
BENCHMARK(cacheHitAndReturn);

void updatePriorities(benchmark::State& state)
{
    const auto allocator = fullCache();
    SpeculativeCache::TaskProbabilities tasks;
    for (int i = 0; i < 500; ++i)
        tasks.emplace_back("task" + std::to_string(i), float(i % 3) / 2.0f);
    std::vector<std::string> ids;
    for (int i = 0; i < s_members; i += 2)
        ids.push_back(cacheID(i));
    const SpeculativeCache::Identities current(ids.begin(), ids.end());
    for ([[maybe_unused]] auto _ : state)
    {
        allocator->updateCachePriorities(tasks, 0.0f, &current);
        std::swap(tasks.front().second, tasks.back().second);
    }
}
BENCHMARK(updatePriorities)->Unit(benchmark::kMillisecond);

}
