#pragma once

#include <mutex>
#include <string>
#include <vector>

#include <EMULSION/Image.h>
#include <QUILT/RenderManager.h>
#include <QUILT/RenderObserver.h>
#include <QUILT/RenderTask.h>

/// Renders a task and puts its tiles together.
namespace QUILT::Test
{

/// Pixels in memory, rows without gaps, bottom row first; missing channels are absent.
struct Picture
{
    UTIL::Rect bounds;
    unsigned long channels = 0;
    std::vector<float> pixels;

    Picture() = default;
    Picture(const UTIL::Rect& bounds, unsigned long channels);

    size_t channelCount() const;
    EMULSION::Image image(); ///< a view of the pixels
    const float* at(int64_t x, int64_t y) const;
};

/// Where two pictures differ, bit by bit; empty when they are the same.
std::string difference(const Picture& expected, const Picture& found);

/// Collects the tiles of one output, and what else an observer hears.
class Collector : public RenderObserver
{
public:
    struct Error
    {
        std::string taskName, kind, message;
        int code;

        friend bool operator==(const Error&, const Error&) = default;
    };

    void outputTileRendered(ImageBuffer image, const FinalTile& id) override;
    void outputFinished(unsigned long finalRenderTaskID) override;
    void renderSetupDone(unsigned long tileCount) override;
    void tileRendered(const std::string& taskName, const std::string& taskType,
                      double seconds) override;
    void renderError(const std::string& taskName, const std::string& errorKind,
                     const std::string& message, int code) override;
    void renderCancelled() override;

    std::mutex m_mutex; // guards the rest
    std::vector<std::pair<FinalTile, ImageBuffer>> m_tiles;
    std::vector<unsigned long> m_finished;
    unsigned long m_tileCount = 0;
    size_t m_renderedTiles = 0;
    std::vector<std::string> m_renderedTasks; // a name for each tile
    std::vector<Error> m_errors;
    size_t m_cancelled = 0;
};

/// The area of a task, with the task's background colour outside its data region, as a synchronous
/// render gives it. An error of the render fails the test.
Picture render(const ref_ptr<RenderTask>& task, const UTIL::Region& area,
               RenderManager::RenderType type = RenderManager::RenderTypePrimary);

}
