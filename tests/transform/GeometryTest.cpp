#include <QUILT/Exceptions.h>
#include <QUILT/GeometryTasks.h>

#include <limits>
#include <optional>

#include <gtest/gtest.h>

#include "support/Random.h"
#include "support/Render.h"
#include "support/SmallTiles.h"
#include "support/Tasks.h"

using namespace QUILT;
using namespace QUILT::Test;
using EMULSION::OrientOperation;
using UTIL::Rect;
using UTIL::Region;

namespace
{

constexpr int64_t s_lowest = std::numeric_limits<int64_t>::min();

class Geometry : public testing::Test, QUILT::Test::SmallTiles
{};

struct Point
{
    int64_t x, y;
};

// One of the tasks: what it makes of an image, where the pixel at a place comes from, and the task
// that undoes it.
struct Move
{
    std::function<ref_ptr<RenderTask>(const ref_ptr<RenderTask>&input)> apply, undo;
    std::function<Point(Point)> origin;
};

Rect anyRect(Random& random)
{
    const int64_t x = random.between(-40, 20), y = random.between(-40, 20);
    return Rect(x, y, x + random.between(1, 37), y + random.between(1, 37));
}

Move reposition(int64_t dx, int64_t dy)
{
    const auto by = [](int64_t x, int64_t y) {
        return [=](auto& input) { return createRepositionTask("move", 0, x, y, input); };
    };
    return {by(dx, dy), by(-dx, -dy), [=](Point p) { return Point{p.x - dx, p.y - dy}; }};
}

// Without clipping: what is moved to the origin is moved back by a crop from the opposite corner.
Move crop(const Rect& rect)
{
    const auto from = [](const Rect& r) {
        return [=](auto& input) { return createCropTask("crop", 0, r, false, true, input); };
    };
    return {from(rect), from(Rect(-rect.x0, -rect.y0, 0, 0)), [=](Point p) {
                return Point{p.x + rect.x0, p.y + rect.y0};
            }};
}

Move orient(int operation, const Rect& d)
{
    static constexpr int s_opposite[] = {0, 3, 2, 1, 4, 5, 6};
    const bool turns = operation == 1 || operation == 3;
    const int64_t w = d.width(), h = d.height();
    const Rect oriented(d.x0, d.y0, d.x0 + (turns ? h : w), d.y0 + (turns ? w : h));
    const auto by = [](int op, const Rect& display) {
        return [=](auto& input) {
            return createOrientTask("orient", 0, OrientOperation(op), display, input);
        };
    };
    // A pixel's place counted from the corner, back to where it was: the last pixel of w is w - 1.
    const auto origin = [=](Point p) {
        const int64_t x = p.x - d.x0, y = p.y - d.y0;
        const Point before = operation == 1   ? Point{y, h - 1 - x}
                             : operation == 3 ? Point{w - 1 - y, x}
                             : operation == 4 ? Point{x, h - 1 - y}
                             : operation == 5 ? Point{w - 1 - x, y}
                             : operation == 0 ? Point{x, y}
                                              : Point{w - 1 - x, h - 1 - y};
        return Point{before.x + d.x0, before.y + d.y0};
    };
    return {by(operation, d), by(s_opposite[operation], oriented), origin};
}

Move anyMove(Random& random)
{
    switch (random.between(0, 3))
    {
    case 0:
        return reposition(random.between(-30, 30), random.between(-30, 30));
    case 1:
        return crop(anyRect(random));
    default:
        return orient(static_cast<int>(random.between(0, 6)), anyRect(random));
    }
}

bool samePixels(const Region& a, const Region& b)
{
    return a.subtracted(b).isEmpty() && b.subtracted(a).isEmpty();
}

Picture expectedPicture(const PatternParams& pattern, const Rect& area,
                        const std::function<Point(Point)>& origin)
{
    Picture picture(area, pattern.channels);
    const EMULSION::Image image = picture.image();
    for (int64_t y = area.y0; y < area.y1; ++y)
        for (int64_t x = area.x0; x < area.x1; ++x)
        {
            const auto [fromX, fromY] = origin({x, y});
            float rgba[4];
            for (int c = 0; c < 4; ++c)
                rgba[c] = pattern.region.contains(Rect(fromX, fromY, fromX + 1, fromY + 1))
                              ? patternAt(fromX, fromY, c, pattern.seed)
                              : pattern.background[c];
            EMULSION::SetPixel(&image, x, y, rgba);
        }
    return picture;
}

}

TEST_F(Geometry, MovesComposeAndAreUndoneExactly)
{
    forEachRandomCase(60, [](Random& random) {
        RenderManager::ClearRenderTaskCache();
        PatternParams pattern;
        pattern.region = anyRect(random);
        pattern.region.add(anyRect(random));
        pattern.channels = static_cast<unsigned long>(random.between(1, 15));
        pattern.background = {0.25f, -1, 3, 0.5f};
        const ref_ptr<RenderTask> source(new PatternTask("source", pattern));
        ref_ptr<RenderTask> task = source;
        std::vector<Move> moves;
        for (int64_t i = random.between(1, 4); i > 0; --i)
        {
            moves.push_back(anyMove(random));
            task = moves.back().apply(task);
        }
        const auto origin = [&](Point p) {
            for (auto move = moves.rbegin(); move != moves.rend(); ++move)
                p = move->origin(p);
            return p;
        };
        const Rect area = anyRect(random).pad(9, 9, true);
        Region data;
        task->getOutputDescription(nullptr, &data);
        for (int i = 0; i < 50; ++i)
        {
            const Point p{random.between(-90, 90), random.between(-90, 90)};
            const auto [x, y] = origin(p);
            EXPECT_EQ(data.contains(Rect(p.x, p.y, p.x + 1, p.y + 1)),
                      pattern.region.contains(Rect(x, y, x + 1, y + 1)));
        }
        EXPECT_EQ(difference(expectedPicture(pattern, area, origin), render(task, area)), "");

        RenderManager::ClearRenderTaskCache();
        task = new PatternTask("source", pattern);
        for (const Move& move : moves)
            task = move.apply(task);
        for (auto move = moves.rbegin(); move != moves.rend(); ++move)
            task = move->undo(task);
        task->getOutputDescription(nullptr, &data);
        EXPECT_TRUE(samePixels(data, pattern.region)) << data;
        EXPECT_EQ(difference(expectedPicture(pattern, area, [](Point p) { return p; }),
                             render(task, area)),
                  "");
    });
}

TEST_F(Geometry, CropAndDataWindowFrameTheData)
{
    const PatternParams pattern{Rect(-5, -3, 30, 20), 15, {1, 2, 3, 4}, 1};
    const auto source = [&] { return ref_ptr<RenderTask>(new PatternTask("source", pattern)); };
    const auto regionOf = [](const ref_ptr<RenderTask>& task) {
        Region region;
        task->getOutputDescription(nullptr, &region);
        return region;
    };
    const Rect cut(-2, 1, 11, 60);
    const auto crop = [&](const Rect& rect, bool clip, bool move) {
        return createCropTask("crop", 0, rect, clip, move, source());
    };
    EXPECT_TRUE(samePixels(regionOf(crop(cut, true, false)), Rect(-2, 1, 11, 20)));
    EXPECT_TRUE(samePixels(regionOf(crop(cut, true, true)), Rect(0, 0, 13, 19)));
    EXPECT_TRUE(samePixels(regionOf(crop(cut, false, true)), Rect(-3, -4, 32, 19)));
    EXPECT_TRUE(regionOf(crop(Rect(50, 50, 60, 60), true, false)).isEmpty());
    EXPECT_NE(crop(cut, false, false)->getCacheID(), source()->getCacheID());

    PatternParams clipped = pattern;
    clipped.region = Rect(-2, 1, 11, 20);
    const Rect area(-20, -20, 40, 40);
    const auto itself = [](Point p) { return p; };
    EXPECT_EQ(
        difference(expectedPicture(clipped, area, itself), render(crop(cut, true, false), area)),
        "");

    const auto window = [&](const Rect& rect) {
        return createDataWindowTask("window", 0, rect, source());
    };
    EXPECT_TRUE(samePixels(regionOf(window(Rect(0, 0, 5, 5))), pattern.region));
    Region both = pattern.region;
    both.add(Rect(25, 10, 70, 70));
    EXPECT_TRUE(samePixels(regionOf(window(Rect(25, 10, 70, 70))), both));
    RenderManager::ClearRenderTaskCache();
    EXPECT_EQ(difference(expectedPicture(pattern, area, itself),
                         render(window(Rect(25, 10, 70, 70)), area)),
              "");
}

TEST_F(Geometry, RefusesWhatItCannotDo)
{
    const ref_ptr<RenderTask> source(new PatternTask("source", {Rect(0, 0, 9, 9)}));
    const auto refusal = [](auto make) -> std::string {
        try
        {
            make();
        }
        catch (const RenderTaskRenderingException& error)
        {
            EXPECT_EQ(error.errorCode(), -1);
            return error.what();
        }
        return "";
    };
    const Rect rect(0, 0, 4, 4);
    const auto orient = [&](int operation, const Rect& display, const ref_ptr<RenderTask>& input) {
        return createOrientTask("t", 0, OrientOperation(operation), display, input);
    };
    EXPECT_EQ(refusal([&] { createCropTask("t", 0, rect, true, true, nullptr); }),
              "Crop node requires a connected input.");
    EXPECT_EQ(refusal([&] { createDataWindowTask("t", 0, rect, nullptr); }),
              "DataWindow node requires a connected input.");
    EXPECT_EQ(refusal([&] { createRepositionTask("t", 0, 0, 1, nullptr); }),
              "Reposition requires a connected input.");
    EXPECT_EQ(refusal([&] { orient(7, rect, nullptr); }), "Orient requires an input.");
    for (const int operation : {7, 8, -1})
        EXPECT_EQ(refusal([&] { orient(operation, rect, source); }), "Unknown orient Operation");
    EXPECT_EQ(createRepositionTask("t", 0, 0, 0, nullptr), nullptr);
    EXPECT_EQ(createRepositionTask("t", 0, 0, 0, source), source);

    const auto describe = [&](const ref_ptr<RenderTask>& task) {
        return refusal([&] { task->getCacheID(); });
    };
    const Rect lowest(s_lowest, 0, 0, 4);
    EXPECT_NE(describe(createRepositionTask("t", 0, std::numeric_limits<int64_t>::max(), 0, source))
                  .find("Overflow detected."),
              std::string::npos);
    EXPECT_NE(describe(createCropTask("t", 0, lowest, false, true, source)).find("Overflow"),
              std::string::npos);
    EXPECT_EQ(describe(createCropTask("t", 0, lowest, true, false, source)), "");
    EXPECT_THROW(orient(5, Rect(s_lowest, 0, s_lowest + 4, 4), source)->getCacheID(),
                 RenderTaskRenderingException);
    EXPECT_THROW(orient(1, Rect(0, s_lowest, 4, 4), source), EmulsionRenderingException);
}

TEST_F(Geometry, TheWayBackToTheInputIsChecked)
{
    // The data can be moved there; what a tile needs of the input cannot be said.
    const ref_ptr<RenderTask> source(new PatternTask("source", {Rect(0, 0, 9, 9)}));
    const ref_ptr<RenderTask> task = createRepositionTask("t", 0, s_lowest, 0, source);
    task->getCacheID();
    std::vector<Rect> inputRects(1);
    EXPECT_THROW(
        task->computeRequiredInputRectangles(Rect(s_lowest, 0, s_lowest + 4, 4), inputRects),
        std::runtime_error);
}
