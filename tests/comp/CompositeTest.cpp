#include <EMULSION/Composite.h>
#include <QUILT/ColorTasks.h>
#include <QUILT/CompositeTasks.h>

#include <bit>
#include <limits>

#include <gtest/gtest.h>

#include "comp/Combined.h"
#include "private/RenderTask_Imp.h"
#include "QUILT/Exceptions.h"
#include "support/SmallTiles.h"

using namespace QUILT;
using namespace QUILT::Test;
using Imath::Color4f;
using UTIL::Rect;
using UTIL::Region;

namespace
{

// What becomes of the input that is there where the other has neither data nor background.
enum Rest
{
    Calculated,
    Copied,
    Cleared
};

struct CompositeCase
{
    CompositeOp op;
    const char* type;
    Rest withoutA, withoutB; // of the factory's inputs
    Color4f (*formula)(const Color4f& a, const Color4f& b, bool flagA, bool flagB);
};

void PrintTo(const CompositeCase& tested, std::ostream* stream)
{
    *stream << tested.op << ' ' << tested.type;
}

using Color = const Color4f&;

const CompositeCase s_composites[] = {
    {COMPOSITEOP_Add, "Add", Copied, Copied,
     [](Color a, Color b, bool, bool) { return EMULSION::Add(a, b); }},
    {COMPOSITEOP_Atop, "Atop", Copied, Cleared,
     [](Color a, Color b, bool, bool flagB) { return EMULSION::Atop(a, b, flagB); }},
    {COMPOSITEOP_Average, "Average", Calculated, Calculated,
     [](Color a, Color b, bool, bool) { return EMULSION::Average(a, b); }},
    {COMPOSITEOP_Difference, "Difference", Calculated, Calculated,
     [](Color a, Color b, bool, bool) { return EMULSION::Difference(a, b); }},
    {COMPOSITEOP_Divide, "Divide", Copied, Cleared,
     [](Color a, Color b, bool, bool) { return EMULSION::Divide(b, a); }},
    {COMPOSITEOP_Exclusion, "Exclusion", Copied, Copied,
     [](Color a, Color b, bool, bool) { return EMULSION::Exclusion(a, b); }},
    {COMPOSITEOP_SubtractAB, "Subtract", Calculated, Calculated,
     [](Color a, Color b, bool, bool) { return EMULSION::Subtract(a, b); }},
    {COMPOSITEOP_Geometric, "Geometric", Calculated, Calculated,
     [](Color a, Color b, bool, bool) { return EMULSION::Geometric(a, b); }},
    {COMPOSITEOP_Hypotenuse, "Hypotenuse", Calculated, Calculated,
     [](Color a, Color b, bool, bool) { return EMULSION::Hypotenuse(a, b); }},
    {COMPOSITEOP_Max, "Max", Calculated, Calculated,
     [](Color a, Color b, bool flagA, bool) { return EMULSION::Max(a, b, flagA); }},
    {COMPOSITEOP_OverPlain, "Over", Copied, Copied,
     [](Color a, Color b, bool, bool) { return EMULSION::Over(a, b, false); }},
    {COMPOSITEOP_Min, "Min", Calculated, Calculated,
     [](Color a, Color b, bool flagA, bool) { return EMULSION::Min(a, b, flagA); }},
    {COMPOSITEOP_Multiply, "Multiply", Cleared, Cleared,
     [](Color a, Color b, bool, bool) { return EMULSION::Multiply(a, b); }},
    {COMPOSITEOP_In, "In", Cleared, Cleared,
     [](Color a, Color b, bool, bool flagB) { return EMULSION::In(b, a, flagB); }},
    {COMPOSITEOP_Out, "Out", Copied, Cleared,
     [](Color a, Color b, bool, bool flagB) { return EMULSION::Out(b, a, flagB); }},
    {COMPOSITEOP_Over, "Over", Copied, Copied,
     [](Color a, Color b, bool, bool flagB) { return EMULSION::Over(a, b, flagB); }},
    {COMPOSITEOP_Under, "Under", Copied, Copied,
     [](Color a, Color b, bool, bool flagB) { return EMULSION::Over(b, a, flagB); }},
    {COMPOSITEOP_Screen, "Screen", Calculated, Calculated,
     [](Color a, Color b, bool, bool flagB) { return EMULSION::Screen(a, b, flagB); }},
    {COMPOSITEOP_SubtractBA, "Subtract", Calculated, Calculated,
     [](Color a, Color b, bool, bool) { return EMULSION::Subtract(b, a); }},
};

class EveryComposite : public testing::TestWithParam<CompositeCase>, QUILT::Test::SmallTiles
{
protected:
    static bool readsAlpha()
    {
        const std::string type = GetParam().type;
        return isPartOfB() || type == "Over" || type == "Under" || type == "Atop";
    }
    static bool isPartOfB()
    {
        return GetParam().op == COMPOSITEOP_In || GetParam().op == COMPOSITEOP_Out;
    }
    static unsigned long channelsOf(unsigned long a, unsigned long b)
    {
        return (isPartOfB() ? b : a | b) | (readsAlpha() ? 8 : 0);
    }

    // Shortcuts may change the sign of a zero.
    static Picture withoutSigns(Picture picture)
    {
        for (float& value : picture.pixels)
            value += 0.0f;
        return picture;
    }
};

ref_ptr<RenderTask> composite(CompositeOp op, bool flagA, bool flagB, bool cleanup, float mix,
                              const ref_ptr<RenderTask>& a, const ref_ptr<RenderTask>& b)
{
    return createCompositeTask("comp", 0, op, flagA, flagB, cleanup, mix, a, b);
}

}

// In tiles that hold one, both or none of them, within the stated data region and outside.
TEST_P(EveryComposite, FollowsItsFormulaWherePicturesAreAndWhereNot)
{
    forEachRandomCase(40, [](Random& random) {
        RenderManager::ClearRenderTaskCache();
        const bool wild = random.oneIn(3);
        const PatternParams a = anyPattern(random, wild), b = anyPattern(random, wild);
        const bool flagA = random.oneIn(2), flagB = random.oneIn(2);
        const ref_ptr<RenderTask> task =
            composite(GetParam().op, flagA, flagB, false, 1, new PatternTask("a", a),
                      new PatternTask("b", b));
        const auto formula = [&](Color x, Color y) {
            return GetParam().formula(x, y, flagA, flagB);
        };
        const Picture found = withoutSigns(render(task, Rect(-20, -20, 85, 85)));
        EXPECT_EQ(found.channels, channelsOf(a.channels, b.channels));
        const Picture expected =
            withoutSigns(combined(a, b, found.bounds, found.channels, formula, readsAlpha()));
        EXPECT_EQ(difference(expected, found), "") << "flags " << flagA << flagB;
    });
}

// Values that are not finite, and negative zeros, tell a shortcut from the kernel.
TEST_P(EveryComposite, CopiesOrClearsWhereOneInputIsMissing)
{
    const PatternParams present{Rect(0, 0, 16, 16), 15, {0, 0, 0, 0}, 1, true};
    const PatternParams missing{Rect(64, 64, 80, 80), 15, {0, 0, 0, 0}, 2, true};
    for (const bool withoutA : {true, false})
    {
        const ref_ptr<RenderTask> here(new PatternTask("here", present));
        const ref_ptr<RenderTask> away(new PatternTask("away", missing));
        const ref_ptr<RenderTask> task = composite(GetParam().op, false, false, false, 1,
                                                   withoutA ? away : here, withoutA ? here : away);
        const Picture found = render(task, present.region);
        RenderManager::ClearRenderTaskCache();
        const Picture source = render(new PatternTask("here", present), present.region);
        RenderManager::ClearRenderTaskCache();
        Picture expected(source.bounds, 15);
        const Rest rest = withoutA ? GetParam().withoutA : GetParam().withoutB;
        for (size_t i = 0; rest != Cleared && i < source.pixels.size(); i += 4)
        {
            const float* const p = source.pixels.data() + i;
            Color4f color(p[0], p[1], p[2], p[3]);
            const Color4f zero(0, 0, 0, 0);
            if (rest == Calculated)
                color = GetParam().formula(withoutA ? zero : color, withoutA ? color : zero, false,
                                           false);
            std::copy_n(color.getValue(), 4, expected.pixels.begin() + static_cast<ptrdiff_t>(i));
        }
        EXPECT_EQ(difference(expected, found), "") << (withoutA ? "without a" : "without b");
    }
}

TEST_P(EveryComposite, HasAnIdentity)
{
    const CompositeCase& tested = GetParam();
    const ref_ptr<RenderTask> a(new PatternTask("a", {Rect(0, 0, 9, 9)}));
    const ref_ptr<RenderTask> b(new PatternTask("b", {Rect(0, 0, 9, 9), 15, {}, 1}));
    const std::string idA = a->getCacheID(), idB = b->getCacheID();
    const bool swaps = tested.op == COMPOSITEOP_Divide || tested.op == COMPOSITEOP_In ||
                       tested.op == COMPOSITEOP_Out || tested.op == COMPOSITEOP_SubtractBA;
    const std::string inputs = swaps ? idB + "," + idA : idA + "," + idB;
    for (const bool flagA : {false, true})
    {
        for (const bool flagB : {false, true})
        {
            // The flag counts where one changes what the formula gives for some colour.
            const Color4f x(3, -2, 0.5f, 1.5f), y(-4, 0.25f, 2, -0.5f);
            const bool usesA =
                tested.formula(x, y, true, false) != tested.formula(x, y, false, false);
            const bool usesB =
                tested.formula(x, y, false, true) != tested.formula(x, y, false, false);
            std::string flag = usesA ? (flagA ? "1," : "0,") : usesB ? (flagB ? "1," : "0,") : "";
            if (tested.op == COMPOSITEOP_OverPlain)
                flag = "0,";
            const ref_ptr<RenderTask> task = composite(tested.op, flagA, flagB, false, 1, a, b);
            EXPECT_EQ(task->getCacheID(),
                      compressCacheID(std::string(tested.type) + " {" + flag + inputs + ",}"));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, EveryComposite, testing::ValuesIn(s_composites),
                         [](const auto& info) {
                             return std::string(info.param.type) + std::to_string(info.param.op);
                         });

TEST(Composite, HasDataOnlyWhereAProductCanDiffer)
{
    const Rect rectA(0, 0, 20, 20), rectB(10, 10, 30, 30);
    Region both(rectA);
    both.add(rectB);
    const auto regionOf = [&](CompositeOp op, const Color4f& colorA, const Color4f& colorB) {
        RenderManager::ClearRenderTaskCache();
        const ref_ptr<RenderTask> task =
            composite(op, false, false, false, 1, new PatternTask("a", {rectA, 15, colorA}),
                      new PatternTask("b", {rectB, 15, colorB}));
        task->getCacheID();
        return task->getDefinedOutputDataRegion();
    };
    const auto expectRegion = [](const Region& found, const Region& expected) {
        EXPECT_TRUE(found.subtracted(expected).isEmpty() && expected.subtracted(found).isEmpty())
            << found << " is not " << expected;
    };
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const Color4f zero(0, -0.0f, 0, 0), lucid(1, 0, 0, 0), solid(0, 0, 0, 1), wild(0, 0, 0, nan);
    const Rect common = rectA.intersect(rectB);
    expectRegion(regionOf(COMPOSITEOP_Multiply, zero, zero), common);
    expectRegion(regionOf(COMPOSITEOP_Multiply, lucid, zero), rectB);
    expectRegion(regionOf(COMPOSITEOP_Multiply, zero, wild), rectA);
    expectRegion(regionOf(COMPOSITEOP_Multiply, lucid, solid), both);
    // b's colour times a's alpha
    expectRegion(regionOf(COMPOSITEOP_In, lucid, zero), common);
    expectRegion(regionOf(COMPOSITEOP_In, wild, zero), rectB);
    expectRegion(regionOf(COMPOSITEOP_In, lucid, solid), rectA);
    expectRegion(regionOf(COMPOSITEOP_In, solid, lucid), both);
    expectRegion(regionOf(COMPOSITEOP_Out, zero, zero), both);
    RenderManager::ClearRenderTaskCache();
}

TEST(Composite, ClampsAndMixesBehindTheOperator)
{
    const ref_ptr<RenderTask> a(new PatternTask("a", {Rect(0, 0, 9, 9)}));
    const ref_ptr<RenderTask> b(new PatternTask("b", {Rect(0, 0, 9, 9), 15, {}, 1}));
    const auto inputsOf = [](const ref_ptr<RenderTask>& task) {
        return Private::RenderTask_Imp::of(*task).inputTasks();
    };
    const ref_ptr<RenderTask> mix = composite(COMPOSITEOP_In, false, false, true, 0.5f, a, b);
    const auto mixed = inputsOf(mix);
    EXPECT_EQ(mix->getName(), "comp.Mix");
    EXPECT_EQ(mixed[0], b);
    EXPECT_EQ(mixed[1]->getName(), "comp.clamp");
    const ref_ptr<RenderTask> plain = inputsOf(mixed[1])[0];
    EXPECT_EQ(plain->getName(), "comp");
    EXPECT_FALSE(mixed[1]->getCaching() || plain->getCaching());
    EXPECT_TRUE(mix->getCaching() && b->getCaching());
    EXPECT_EQ(mixed[1]->getCacheID(), createCleanupClampTask("", 0, true, plain)->getCacheID());
    EXPECT_EQ(composite(COMPOSITEOP_Add, false, false, true, 2, a, b)->getName(), "comp.clamp");
    for (const float nothing : {0.0f, -1.0f, std::numeric_limits<float>::quiet_NaN()})
        EXPECT_EQ(composite(COMPOSITEOP_Add, false, false, true, nothing, a, b), b);
    RenderManager::ClearRenderTaskCache();
}

TEST(Composite, RefusesNumbersWithoutAnOperator)
{
    for (const uint32_t number : {8u, 20u, 0xffffffffu})
    {
        try
        {
            composite(static_cast<CompositeOp>(number), false, false, false, 0, nullptr, nullptr);
            FAIL() << number << " passed";
        }
        catch (const RenderTaskRenderingException& error)
        {
            EXPECT_STREQ(error.what(), "Couldn't create a composite task of the requested type.");
            EXPECT_EQ(error.getName() + ' ' + error.getType(), "comp createCompositeTask");
            EXPECT_EQ(error.errorCode(), -1);
        }
    }
}
