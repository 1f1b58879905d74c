// Links libQUILT.so and libEMULSION.so as a caller does: what is missing here is not exported.

#include <atomic>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include <EMULSION/Error.h>
#include <EMULSION/Plumbing.h>
#include <QUILT/CompositeTasks.h>
#include <QUILT/ProceduralTasks.h>
#include <QUILT/RefPtr.h>
#include <QUILT/RenderManager.h>
#include <UTIL/Exceptions.h>
#include <UTIL/Rect.h>

namespace
{

class Counted : public QUILT::ThreadSafeRefBase
{
public:
    explicit Counted(int& living) : m_living(living) { ++m_living; }

protected:
    ~Counted() override { --m_living; }

private:
    int& m_living;
};

// A caller's own operation: the input with its channels doubled in value.
class DoubleTask : public QUILT::RenderTask
{
public:
    explicit DoubleTask(const QUILT::ref_ptr<RenderTask>& input) : RenderTask("double", 0)
    {
        registerInputTask(input);
    }

    std::string getType() const override { return "Double"; }
    void computeCacheID(QUILT::CacheIDStream&) override {}
    unsigned long computeOutputChannels() override { return getDefinedInputChannels(0); }
    UTIL::Region computeOutputDataRegion() override { return getDefinedInputDataRegion(0); }
    void makeInputFormatRequests() override { addInputRequest(0, getRequiredOutputChannels()); }
    void computeRequiredInputRectangles(const UTIL::Rect& rect,
                                        std::vector<UTIL::Rect>& inputRects) override
    {
        inputRects[0] = rect;
    }

    using RenderTask::renderRect;
    void renderRect(const EMULSION::Image* output,
                    const std::vector<const EMULSION::Image*>& inputs) override
    {
        const UTIL::Rect& r = output->bounds;
        for (int64_t y = r.y0; y < r.y1; ++y)
        {
            for (int64_t x = r.x0; x < r.x1; ++x)
            {
                float rgba[4] = {};
                EMULSION::GetPixel(inputs[0], x, y, rgba);
                for (float& value : rgba)
                    value *= 2;
                EMULSION::SetPixel(output, x, y, rgba);
            }
        }
    }
};

// Counts the pixels that are (0.5, 1.25, 0, 1).
class Counter : public QUILT::RenderObserver
{
public:
    void outputTileRendered(QUILT::ImageBuffer tile, const QUILT::FinalTile&) override
    {
        tile.lock();
        const UTIL::Rect r = tile.getBounds();
        for (int64_t y = r.y0; y < r.y1; ++y)
        {
            for (int64_t x = r.x0; x < r.x1; ++x)
            {
                float rgba[4] = {};
                EMULSION::GetPixel(tile.getImage(), x, y, rgba);
                m_count += rgba[0] == 0.5f && rgba[1] == 1.25f && rgba[2] == 0 && rgba[3] == 1;
            }
        }
        tile.unlock();
    }

    void renderError(const std::string&, const std::string&, const std::string& message,
                     int) override
    {
        ADD_FAILURE() << message;
    }

    std::atomic<int> m_count = 0;
};

}

TEST(Public, AGraphIsBuiltDescribedAndRendered)
{
    using namespace QUILT;
    const UTIL::Rect frame(-300, -20, 400, 500);
    const auto red = createColorTask("red", 0, frame, {0.5f, 0, 0, 0.5f});
    const auto green = createColorTask("green", 0, frame, {0, 1.25f, 0, 0.5f});
    const ref_ptr<RenderTask> task(new DoubleTask(createMixTask("mix", 0, 0.5f, red, green)));
    unsigned long channels = 0;
    UTIL::Region region;
    task->getOutputDescription(&channels, &region);
    EXPECT_EQ(channels, 11u);
    EXPECT_EQ(region.getBounds(), frame);

    const ref_ptr<Counter> counter(new Counter);
    RenderManager::Render({{task, UTIL::Rect(0, 0, 1000, 1000)}}, counter, nullptr, false,
                          RenderManager::RenderTypePrimary);
    EXPECT_EQ(counter->m_count, 400 * 500);
}

TEST(Public, CallersDeriveFromTheRootOfSharedObjects)
{
    int living = 0;
    {
        const QUILT::ref_ptr<QUILT::ThreadSafeRefBase> object(new Counted(living));
        const QUILT::ref_ptr<QUILT::ThreadSafeRefBase> second = object;
        EXPECT_EQ(object->refCount(), 2);
        EXPECT_NE(dynamic_cast<Counted*>(object.get()), nullptr);
    }
    EXPECT_EQ(living, 0);
}

TEST(Public, ExceptionsAreCaughtByTheirBases)
{
    EXPECT_THROW(throw UTIL::OutOfMemoryException("text", "file", 7), UTIL::ErrorException);
    EXPECT_THROW(throw UTIL::AssertException("text", "file", 7), UTIL::ErrorException);
    EXPECT_THROW((void)UTIL::Rect(0, 0, 1, 1).pad(INT64_MAX, 0, true), std::runtime_error);
}

TEST(Public, ErrorsAreSetAsideForAScope)
{
    EMULSION::SetError(EMULSION::ERROR_FILE_READ, "first");
    {
        const EMULSION::ErrorScope scope;
        EXPECT_EQ(EMULSION::GetError(), EMULSION::ERROR_NONE);
        EMULSION::SetError(EMULSION::ERROR_UNKNOWN, "second");
    }
    EXPECT_EQ(EMULSION::GetErrorMessage(), "first");
    EMULSION::ClearError();
}
