#include <EMULSION/Extend.h>

#include <algorithm>
#include <limits>

#include "emulsion/TestImage.h"

using namespace EMULSION;
using namespace EmulsionTest;
using QUILT::Test::forEachRandomCase;

namespace
{

__extension__ typedef __int128 Wide;

constexpr int64_t s_lowest = std::numeric_limits<int64_t>::min();
constexpr int64_t s_highest = std::numeric_limits<int64_t>::max();

// The coordinate of the picture that coordinate c shows.
int64_t originOf(ExtendMethod method, int64_t c, int64_t e0, int64_t e1)
{
    if (method == ExtendClamp)
        return std::min(std::max(c, e0), e1 - 1);
    const Wide width = Wide(e1) - e0;
    const Wide i = ((Wide(c) - e0) % (2 * width) + 2 * width) % (2 * width);
    return static_cast<int64_t>(i < width ? e0 + i : e0 + 2 * width - 1 - i);
}

// A rectangle of this size at most, near one of several places of the plane, two of which are
// corners.
Rect randomRect(Random& random, int64_t widest, int64_t highest, int64_t place)
{
    const auto interval = [&](int64_t longest, int64_t where) {
        const int64_t size = random.between(1, longest);
        const int64_t begin = where == s_lowest    ? s_lowest + random.between(0, 9)
                              : where == s_highest ? s_highest - size - random.between(0, 9)
                                                   : where + random.between(-15, 15);
        return std::pair(begin, begin + size);
    };
    const auto [x0, x1] = interval(widest, place);
    const auto [y0, y1] = interval(highest, random.oneIn(2) ? place : 0);
    return Rect(x0, y0, x1, y1);
}

int64_t randomPlace(Random& random)
{
    return random.pick(std::vector<int64_t>{0, 0, 0, 12, int64_t{1} << 40, -(int64_t{1} << 40),
                                            s_lowest, s_highest});
}

// The part of an action whose source is that part of its own, as a tile of the picture sees it.
ExtendAction partOf(const ExtendAction& action, const Rect& r)
{
    const Rect& s = action.source;
    const Rect& t = action.destination;
    const auto along = [](int64_t base, int64_t plus, int64_t minus) {
        return static_cast<int64_t>(Wide(base) + plus - minus);
    };
    const auto forwards = [&](int64_t r0, int64_t t0, int64_t s0) { return along(r0, t0, s0); };
    const bool xBack = action.type == ExtendMirrorX || action.type == ExtendMirrorBoth;
    const bool yBack = action.type == ExtendMirrorY || action.type == ExtendMirrorBoth;
    Rect d(forwards(r.x0, t.x0, s.x0), forwards(r.y0, t.y0, s.y0), forwards(r.x1, t.x1, s.x1),
           forwards(r.y1, t.y1, s.y1));
    if (xBack)
        d.x0 = along(s.x1, t.x0, r.x1), d.x1 = along(s.x0, t.x1, r.x0);
    if (yBack)
        d.y0 = along(s.y1, t.y0, r.y1), d.y1 = along(s.y0, t.y1, r.y0);
    if (action.type == ExtendStretchX || action.type == ExtendCorner)
        d.x0 = t.x0, d.x1 = t.x1;
    if (action.type == ExtendStretchY || action.type == ExtendCorner)
        d.y0 = t.y0, d.y1 = t.y1;
    return {action.type, r, d};
}

// Cuts `whole` into tiles and calls work(tile) for each.
void forEachTile(const Rect& whole, int64_t width, int64_t height, const auto& work)
{
    for (int64_t y = whole.y0; y < whole.y1; y += std::min(height, whole.y1 - y))
        for (int64_t x = whole.x0; x < whole.x1; x += std::min(width, whole.x1 - x))
            work(Rect(x, y, x + std::min(width, whole.x1 - x), y + std::min(height, whole.y1 - y)));
}

struct Case
{
    ExtendMethod method;
    Rect rect, extendRect;
    std::vector<ExtendAction> actions;

    explicit Case(Random& random)
        : method(random.oneIn(2) ? ExtendClamp : ExtendMirror),
          rect(randomRect(random, 30, 12, randomPlace(random))),
          extendRect(randomRect(random, random.oneIn(4) ? 1 : 20, random.oneIn(4) ? 1 : 8,
                                randomPlace(random)))
    {
        (method == ExtendClamp ? SplitRectToClampExtendActions
                               : SplitRectToMirrorExtendActions)(rect, extendRect, actions);
    }
    Rect required() const
    {
        return (method == ExtendClamp ? GetRequiredClampInputRect
                                      : GetRequiredMirroredInputRect)(rect, extendRect);
    }
    int64_t originX(int64_t x) const { return originOf(method, x, extendRect.x0, extendRect.x1); }
    int64_t originY(int64_t y) const { return originOf(method, y, extendRect.y0, extendRect.y1); }
};

}

TEST(Extend, CutsARectangleIntoDisjointActionsThatReadInsideThePicture)
{
    forEachRandomCase(20000, [](Random& random) {
        const Case c(random);
        Rect sources;
        int64_t area = 0;
        for (size_t i = 0; i < c.actions.size(); ++i)
        {
            const ExtendAction& action = c.actions[i];
            EXPECT_FALSE(action.source.isNull());
            EXPECT_TRUE(c.extendRect.contains(action.source));
            EXPECT_TRUE(c.rect.contains(action.destination));
            sources = sources.unite(action.source);
            area += action.destination.width() * action.destination.height();
        }
        EXPECT_EQ(area, c.rect.width() * c.rect.height()); // and the pixels are tested below
        EXPECT_EQ(sources, c.required());
        if (c.method == ExtendClamp)
        {
            EXPECT_LE(c.actions.size(), 9u);
            EXPECT_EQ(c.actions[0].type == ExtendCopy, !c.rect.intersect(c.extendRect).isNull());
            EXPECT_TRUE(std::is_sorted(c.actions.begin() + 1, c.actions.end(),
                                       [](auto& a, auto& b) { return a.type < b.type; }));
        }
    });
}

// The picture is there in tiles, some of which are missing, and the output is not the rectangle
// asked for: each pixel is what the formula says or, without an origin or outside of the output, as
// before.
TEST(Extend, EveryPixelIsItsOriginWhateverTheTiles)
{
    forEachRandomCase(6000, [](Random& random) {
        const Case c(random);
        Rect bounds = c.rect;
        if (random.oneIn(3) && bounds.width() > 2 && bounds.height() > 1)
            bounds = Rect(bounds.x0 + 1, bounds.y0 + 1, bounds.x1 - 1, bounds.y1);
        TestImage output(random, static_cast<uint64_t>(random.between(0, 15)), bounds);
        std::vector<float> expected = output.floats();
        const auto channels = static_cast<uint64_t>(random.between(0, 15));
        SCOPED_TRACE("output " + testing::PrintToString(output.image) + ", rectangle " +
                     testing::PrintToString(c.rect) + ", picture " +
                     testing::PrintToString(c.extendRect) + ", method " + std::to_string(c.method) +
                     ", channels " + std::to_string(channels));

        const int64_t tileWidth = random.between(3, 25), tileHeight = random.between(2, 9);
        forEachTile(c.extendRect, tileWidth, tileHeight, [&](const Rect& tile) {
            if (random.oneIn(6))
                return;
            const TestImage input(random, channels, tile);
            for (int64_t y = bounds.y0; y < bounds.y1; ++y)
                for (int64_t x = bounds.x0; x < bounds.x1; ++x)
                    for (uint64_t channel = 1; channel <= 8; channel *= 2)
                    {
                        const int64_t fromX = c.originX(x), fromY = c.originY(y);
                        const int64_t to = output.find(x, y, channel);
                        const int64_t from = input.find(fromX, fromY, channel);
                        if (to >= 0 && tile.contains(Rect(fromX, fromY, fromX + 1, fromY + 1)))
                            expected[static_cast<size_t>(to)] =
                                from >= 0 ? input.floats()[static_cast<size_t>(from)] : 0.0f;
                    }
            // Whole actions that the tile covers in part must come to the same as parts of them.
            std::vector<ExtendAction> actions;
            const bool whole = random.oneIn(2);
            for (const ExtendAction& action : c.actions)
                if (const Rect r = action.source.intersect(tile); !r.isNull())
                    actions.push_back(whole ? action : partOf(action, r));
            DoExtendActions(&output.image, &input.image, actions);
        });
        EXPECT_TRUE(sameBits(output.floats(), expected));
        EXPECT_EQ(GetError(), ERROR_NONE) << GetErrorMessage();
    });
}

TEST(Extend, TakesNoMoreActionsThanNeeded)
{
    std::vector<ExtendAction> actions;
    const Rect picture(0, 0, 100, 100),
        far((int64_t{1} << 40) + 10, 10, (int64_t{1} << 40) + 90, 90);
    SplitRectToMirrorExtendActions(far, picture, actions);
    EXPECT_LE(actions.size(), 2u);
    actions.clear();
    SplitRectToMirrorExtendActions(Rect(-2000, -1000, 2000, 1000), Rect(5, 5, 6, 6), actions);
    EXPECT_LE(actions.size(), 9u);
    actions.clear();
    SplitRectToMirrorExtendActions(Rect(0, 0, 5, 0), picture, actions);
    SplitRectToMirrorExtendActions(picture, Rect(), actions);
    SplitRectToClampExtendActions(Rect(), picture, actions);
    SplitRectToClampExtendActions(picture, Rect(3, 3, 3, 9), actions);
    EXPECT_TRUE(actions.empty());
    EXPECT_TRUE(GetRequiredClampInputRect(picture, Rect(3, 3, 3, 9)).isNull());
    EXPECT_TRUE(GetRequiredMirroredInputRect(Rect(), picture).isNull());
    const Rect everything(s_lowest, s_lowest, s_highest, s_highest);
    EXPECT_EQ(GetRequiredMirroredInputRect(everything, picture), picture);
    EXPECT_EQ(GetRequiredClampInputRect(everything, picture), picture);
}

TEST(Extend, RefusesActionsThatMakeNoSense)
{
    Random random(1);
    TestImage image(random, 15, Rect(0, 0, 9, 9));
    const TestImage input(random, 15, Rect(0, 0, 9, 9));
    const std::vector<float> before = image.floats();
    const Rect part(0, 0, 4, 4);
    const ExtendAction sound{ExtendCopy, part, part};
    const auto expectRefused = [&](const ExtendAction& action, const std::string& text) {
        DoExtendActions(&image.image, &input.image, {sound, action});
        expectError(ERROR_INVALID_ARGUMENT, text);
        EXPECT_TRUE(sameBits(image.floats(), before));
    };
    expectRefused({7, part, part}, "no action has the type 7");
    expectRefused({-1, part, part}, "no action has the type -1");
    expectRefused({ExtendCopy, part, Rect(0, 0, 4, 5)}, "cannot fill (0,0,4,5) from (0,0,4,4)");
    expectRefused({ExtendCorner, part, part}, "cannot fill");
    DoExtendActions(&image.image, nullptr, {sound});
    expectError(ERROR_INVALID_ARGUMENT, "DoExtendActions: the source is null");
}
