#include <EMULSION/Error.h>
#include <EMULSION/ImageFile.h>
#include <EMULSION/WriteImage.h>
#include <QUILT/Exceptions.h>
#include <QUILT/FileTasks.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>
#include <OpenColorIO/OpenColorIO.h>
#include <unistd.h>

#include "private/ImageAllocator.h"
#include "support/Random.h"
#include "support/Render.h"
#include "support/Tasks.h"

using namespace QUILT;
using namespace QUILT::Test;
using UTIL::Rect;
namespace fs = std::filesystem;

namespace
{

constexpr int s_seed = 3;

class FileTasksTest : public testing::Test
{
protected:
    FileTasksTest() : m_folder(fs::temp_directory_path() / ("files" + std::to_string(::getpid())))
    {
        fs::create_directories(m_folder);
        ::setenv("LANTERN_RELEASE", "1.0", 1);
        RenderManager::SetPollPeriod(500);
        RenderManager::setRenderThreads(2);
        RenderManager::setGlobalTileSize(64, 64);
        RenderManager::setSpeculativeCachingEnable(false);
    }

    ~FileTasksTest() override
    {
        newGraph();
        fs::remove_all(m_folder);
    }

    static void newGraph()
    {
        RenderManager::ClearRenderTaskCache();
        ImageHeaderCache_Clear();
    }

    std::string path(const std::string& name) const { return (m_folder / name).string(); }

    static ref_ptr<RenderTask> pattern(const UTIL::Region& region, unsigned long channels = 15)
    {
        return new PatternTask("pattern", {region, channels, {0, 0, 0, 0}, s_seed});
    }

    // A float file, uncompressed, so that every bit comes back and sizes are known.
    FileOutParams outParams(const std::string& name, const Rect& window) const
    {
        FileOutParams params;
        params.filename = path(name);
        params.fileDisplayWindow = window;
        params.displayWindow = window;
        params.type3OptionA = 0;
        params.type3OptionB = 1;
        return params;
    }

    static ref_ptr<Collector> run(const ref_ptr<RenderTask>& task, const UTIL::Region& area)
    {
        ref_ptr<Collector> collector(new Collector);
        RenderManager::Render({{task, area, 0}}, collector, nullptr, false,
                              RenderManager::RenderTypePrimary);
        newGraph();
        return collector;
    }

    // Writes the pattern, and fails the test when that fails.
    void write(const FileOutParams& params, const ref_ptr<RenderTask>& input)
    {
        const auto task = createFileOutTask("out", 0, params, input);
        UTIL::Region data;
        task->getOutputDescription(nullptr, &data);
        const ref_ptr<Collector> collector = run(task, data);
        for (const Collector::Error& error : collector->m_errors)
            ADD_FAILURE() << error.message;
    }

    static ref_ptr<RenderTask> read(const std::string& filename)
    {
        FileInParams params;
        params.filename = filename;
        return createFileInTask("in", 0, params);
    }

    static std::string failureOf(const auto& work)
    {
        try
        {
            work();
        }
        catch (const std::exception& error)
        {
            return error.what();
        }
        return "nothing was thrown";
    }

    const fs::path m_folder;
};

// What the process has read from files so far.
uint64_t bytesRead()
{
    std::ifstream file("/proc/self/io");
    std::string key;
    uint64_t value = 0;
    file >> key >> value;
    return value;
}

}

TEST_F(FileTasksTest, WhatIsWrittenComesBackToTheBitWhateverTheTiles)
{
    forEachRandomCase(40, [&](Random& random) {
        const Rect data(random.between(-90, 0), random.between(-90, 0), random.between(1, 200),
                        random.between(1, 200));
        const unsigned long channels = random.pick(std::array{1ul, 7ul, 8ul, 9ul, 15ul});
        FileOutParams params = outParams("a.exr", Rect(-20, -30, 150, 160));
        params.outputDataWindow = static_cast<OutputDataWindow>(random.between(0, 2));
        params.dataWindowBounds = Rect(-50, -60, 40, 170);
        params.tiled = random.oneIn(2);
        params.tileWidth = random.between(7, 100);
        params.tileHeight = random.between(7, 100);
        params.type3OptionA = static_cast<int>(random.between(0, 4)); // all of them lossless
        RenderManager::setGlobalTileSize(random.between(5, 130), random.between(5, 130));
        RenderManager::setRenderThreads(static_cast<unsigned long>(random.between(1, 4)));
        RenderManager::SetTileOrder(random.oneIn(2) ? RenderManager::TileOrder::Waves
                                                    : RenderManager::TileOrder::Streaming);
        write(params, pattern(data, channels));

        const auto file = read(params.filename);
        UTIL::Region window;
        unsigned long found = 0;
        file->getOutputDescription(&found, &window);
        const Rect expectedWindow = params.outputDataWindow == OutputDataWindowManual
                                        ? params.dataWindowBounds
                                    : params.outputDataWindow == OutputDataWindowDisplay
                                        ? params.displayWindow
                                        : params.displayWindow.intersect(data);
        EXPECT_EQ(window.getBounds(), expectedWindow);
        EXPECT_EQ(found & channels, channels);

        const Rect area(-100, -100, 220, 220);
        const Picture picture = render(file, area);
        for (int64_t y = area.y0; y < area.y1; ++y)
        {
            for (int64_t x = area.x0; x < area.x1; ++x)
            {
                const Rect pixel(x, y, x + 1, y + 1);
                const bool inside = data.contains(pixel) && expectedWindow.contains(pixel);
                const float* value = picture.at(x, y);
                for (int c = 0; c < 4; ++c)
                {
                    if (!(found >> c & 1))
                        continue;
                    if (channels >> c & 1)
                    {
                        ASSERT_EQ(*value, inside ? patternAt(x, y, c, s_seed) : 0) << x << ',' << y;
                    }
                    ++value;
                }
            }
        }
        newGraph();
    });
    RenderManager::SetTileOrder(RenderManager::TileOrder::Waves);
}

// Pixels of the file are read once, whichever tiles on whichever threads ask for them, and go as
// they are used up.
TEST_F(FileTasksTest, EachPixelIsReadOnceAndGoesWhenItIsUsed)
{
    const Rect window(0, 0, 2048, 512);
    for (const bool tiled : {false, true})
    {
        FileOutParams params = outParams("b.exr", window);
        params.tiled = tiled;
        params.tileWidth = params.tileHeight = 96;
        write(params, pattern(window));
        const auto size = static_cast<double>(fs::file_size(params.filename));
        for (const unsigned long threads : {1, 4})
        {
            RenderManager::setRenderThreads(threads);
            RenderManager::SetTileOrder(RenderManager::TileOrder::Streaming);
            Private::ImageAllocator& allocator = *Private::ImageAllocator::instance();
            RenderManager::resetStatistics();
            const uint64_t before = bytesRead();
            const ref_ptr<Collector> collector = run(read(params.filename), window);
            const double amount = static_cast<double>(bytesRead() - before) / size;
            EXPECT_TRUE(collector->m_errors.empty());
            EXPECT_GT(amount, 0.9);
            EXPECT_LT(amount, 1.6); // not twice
            EXPECT_EQ(allocator.getFileInMemUsage(), 0);
            EXPECT_GT(allocator.getPeakFileInMemUsage(), 0);
            // Of eight bands (six rows of file tiles) few were there at a time.
            EXPECT_LT(allocator.getPeakFileInMemUsage(), 2048 * 512 * 16 / 2);
        }
    }
    RenderManager::SetTileOrder(RenderManager::TileOrder::Waves);
}

TEST_F(FileTasksTest, ASecondRenderWritesTheWholeFileAgain)
{
    const Rect window(0, 0, 200, 150);
    RenderManager::setSpeculativeCachingEnable(true);
    std::string first;
    for (int i = 0; i < 2; ++i)
    {
        FileOutParams params = outParams("c.exr", window);
        const auto out = createFileOutTask("out", 0, params, pattern(window));
        EXPECT_TRUE(run(out, window)->m_errors.empty());
        std::ifstream file(params.filename, std::ios::binary);
        const std::string contents(std::istreambuf_iterator<char>(file), {});
        if (i == 0)
            first = contents;
        EXPECT_TRUE(contents == first);
        EXPECT_GT(contents.size(), 200u * 150 * 16);
        fs::remove(params.filename);
        // Tiles of what is above it may stay; its own may not.
        Private::ImageAllocator::instance()->getSpeculativeCache().freeMemory(200 * 64 * 16);
    }
}

TEST_F(FileTasksTest, AFileHasAtLeastOnePixel)
{
    FileOutParams params = outParams("d.exr", Rect(10, 20, 40, 50));
    write(params, pattern(Rect(100, 100, 120, 120)));
    EMULSION::ImageDescription description;
    EXPECT_TRUE(ImageHeaderCache_GetImageDescription(&description, params.filename, true));
    EXPECT_EQ(description.dataRegion.getBounds(), Rect(10, 20, 11, 21));

    params.writeFile = false;
    UTIL::Region region;
    createFileOutTask("out", 0, params, pattern(Rect(100, 100, 120, 120)))
        ->getOutputDescription(nullptr, &region);
    EXPECT_TRUE(region.isEmpty());
}

TEST_F(FileTasksTest, RefusalsOfTheFileOutTaskSayWhatIsWrong)
{
    const auto refusal = [&](const auto& change) {
        FileOutParams params = outParams("e.exr", Rect(0, 0, 4, 4));
        change(params);
        return failureOf(
            [&] { createFileOutTask("out", 0, params, pattern(Rect(0, 0, 4, 4)))->getCacheID(); });
    };
    const std::string missing = path("nowhere/e.exr");
    EXPECT_EQ(refusal([&](FileOutParams& p) { p.filename = missing; }),
              "Can't write to file " + missing + " (No such file or directory).");
    EXPECT_EQ(refusal([](FileOutParams& p) { p.displayWindow = Rect(); }),
              "Parameter 'dataWindow' is 'displayWindow', but displayWindow is null (eg 0,0 - "
              "0,0).");
    EXPECT_EQ(refusal([](FileOutParams& p) { p.outputDataWindow = OutputDataWindowManual; }),
              "Parameter 'dataWindow' is 'manual', but area defined by dataWindowBounds is null "
              "(eg 0,0 - 0,0).");
    EXPECT_NE(refusal([](FileOutParams& p) {
                  p.outputDataWindow = static_cast<OutputDataWindow>(3);
              }).find("Unrecognised outputDataWindow option."),
              std::string::npos);

    ::unsetenv("LANTERN_RELEASE");
    const FileOutParams params = outParams("e.exr", Rect(0, 0, 4, 4));
    const auto collector =
        run(createFileOutTask("out", 0, params, pattern(Rect(0, 0, 4, 4))), Rect(0, 0, 4, 4));
    ASSERT_EQ(collector->m_errors.size(), 1u);
    EXPECT_NE(collector->m_errors[0].message.find("LANTERN_RELEASE"), std::string::npos);
    EXPECT_TRUE(fs::is_empty(m_folder));
}

TEST_F(FileTasksTest, TheHeaderCacheRemembersWhatItCouldRead)
{
    const std::string name = path("f.exr");
    EMULSION::ImageDescription description;
    const auto get = [&] { ImageHeaderCache_GetImageDescription(&description, name, true); };
    EXPECT_EQ(failureOf([] { ImageHeaderCache_GetImageDescription(nullptr, "", true); }),
              "No filename provided.");
    EXPECT_EQ(failureOf(get), "File not found: " + name);
    fs::create_directory(name);
    EXPECT_EQ(failureOf(get), "Not a file: " + name);
    fs::remove(name);
    std::ofstream(name) << "no picture";
    EXPECT_NE(failureOf(get).find(name), std::string::npos);
    EXPECT_FALSE(ImageHeaderCache_GetImageDescription(&description, name, false));
    EXPECT_EQ(EMULSION::GetError(), EMULSION::ERROR_NONE);

    write(outParams("f.exr", Rect(0, 0, 4, 4)), pattern(Rect(0, 0, 4, 4)));
    EXPECT_TRUE(ImageHeaderCache_GetImageDescription(nullptr, name, true));
    fs::remove(name);
    get(); // known, though the file has gone
    EXPECT_EQ(description.displayRect, Rect(0, 0, 4, 4));
    ImageHeaderCache_Clear();
    EXPECT_FALSE(ImageHeaderCache_GetImageDescription(&description, name, false));
}

TEST_F(FileTasksTest, AChangedFileIsNoticed)
{
    const Rect window(0, 0, 32, 32);
    const FileOutParams params = outParams("g.exr", window);
    write(params, pattern(window));
    const std::string before = read(params.filename)->getCacheID();
    const auto stale = read(params.filename);

    // The same size, other pixels.
    fs::remove(params.filename);
    const ref_ptr<RenderTask> other(
        new PatternTask("pattern", {window, 15, {0, 0, 0, 0}, s_seed + 1}));
    const auto out = createFileOutTask("out", 0, params, other);
    RenderManager::Render({{out, window, 0}}, nullptr, nullptr, false,
                          RenderManager::RenderTypePrimary);
    const auto collector = run(stale, window);
    ASSERT_FALSE(collector->m_errors.empty());
    EXPECT_EQ(collector->m_errors[0].message,
              "The file '" + params.filename + "' has changed since its header was read.");
    EXPECT_NE(read(params.filename)->getCacheID(), before);
}

TEST_F(FileTasksTest, ATruncatedFileFailsTheRenderAndLeavesNothing)
{
    const Rect window(0, 0, 300, 300);
    for (const bool tiled : {false, true})
    {
        FileOutParams params = outParams("h.exr", window);
        params.tiled = tiled;
        params.tileWidth = params.tileHeight = 50;
        write(params, pattern(window));
        fs::resize_file(params.filename, fs::file_size(params.filename) * 2 / 3);
        const auto collector = run(read(params.filename), window);
        ASSERT_FALSE(collector->m_errors.empty());
        EXPECT_EQ(collector->m_errors[0].kind, "an EMULSION error");
        EXPECT_NE(collector->m_errors[0].message.find(params.filename), std::string::npos);
        EXPECT_EQ(Private::ImageAllocator::instance()->getFileInMemUsage(), 0);
    }
}

TEST_F(FileTasksTest, APartOfAFileIsNamedBehindItsPath)
{
    write(outParams("parts.exr", Rect(0, 0, 4, 4)), pattern(Rect(0, 0, 4, 4)));
    // The file is found, the part is not: that is the file layer's to say.
    const std::string failure = failureOf([&] { read(path("parts.exr?part=nowhere")); });
    EXPECT_NE(failure.find("nowhere"), std::string::npos) << failure;
    EXPECT_EQ(failure.find("File not found"), std::string::npos) << failure;
    EXPECT_EQ(failureOf([&] { read(path("none.exr?part=a")); }),
              "File not found: " + path("none.exr?part=a"));
}

TEST_F(FileTasksTest, TheColourSpaceComesFromTheNameOrIsNone)
{
    const Rect window(0, 0, 4, 4);
    write(outParams("plate_raw.exr", window), pattern(window));
    const auto config = OCIO_NAMESPACE::Config::CreateRaw()->createEditableCopy();
    config->setStrictParsingEnabled(true);
    config->setRole(OCIO_NAMESPACE::ROLE_SCENE_LINEAR, "raw");
    OCIO_NAMESPACE::SetCurrentConfig(config);

    FileInParams params;
    params.filename = path("plate_raw.exr");
    const auto task = createFileInTask("in", 0, params);
    EXPECT_EQ(task->getName(), "in.bgcolor");
    EXPECT_EQ(task->getType(), "BackgroundColor");
    params.colorspace = "auto";
    EXPECT_NE(createFileInTask("in", 0, params)->getCacheID(), task->getCacheID());
    write(outParams("plate.exr", window), pattern(window));
    params.filename = path("plate.exr");
    EXPECT_EQ(failureOf([&] { createFileInTask("in", 0, params); }),
              "A valid OCIO ColorSpace could not be determined from file '" + params.filename +
                  "'.\n");
}
