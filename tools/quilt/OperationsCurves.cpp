#include <algorithm>
#include <iterator>

#include <QUILT/CurveTasks.h>

#include "Operation.h"

namespace QuiltTool
{

namespace
{

Imath::C3f rgb(const Arguments& a, const char* name)
{
    const Imath::C4f color = a.values.color(name);
    return {color.r, color.g, color.b};
}

Imath::C3f threeNumbers(const Arguments& a, const char* name)
{
    const std::vector<float> numbers = a.values.numbers(name);
    return {numbers[0], numbers[1], numbers[2]};
}

Param lumaCoefficients(const char* sentence)
{
    return list("lumaCoefficients", sentence, number("", ""))
        .ofCount(3)
        .defaultsTo({0.2126, 0.7152, 0.0722});
}

Param channelCurve(const char* name)
{
    return curve(name, "The curve of this channel; without points it stays.")
        .defaultsTo(Json::array());
}

Param hueTable(const char* name, const char* sentence)
{
    return list(name, sentence, number("", "")).defaultsTo(Json::array());
}

// Tables that are left out change nothing; the factory wants them all of one size.
ref_ptr<RenderTask> buildHueCurves(const Arguments& a)
{
    struct Table
    {
        std::vector<float> values;
        float neutral;
    };
    const auto given = [&](const char* name, float neutral) {
        return Table{a.values.numbers(name), neutral};
    };
    Table tables[] = {given("saturation", 1), given("suppression", 0), given("luminance", 0),
                      given("red", 0),        given("green", 0),       given("blue", 0)};
    size_t size = 0;
    for (const Table& table : tables)
        size = std::max(size, table.values.size());
    for (Table& table : tables)
    {
        if (table.values.empty())
            table.values.assign(size, table.neutral);
    }
    return QUILT::createHueCurvesTask(
        a.name, a.time, a.values.flag("stops"), threeNumbers(a, "lumaCoefficients"),
        rgb(a, "color"), tables[0].values, tables[1].values, tables[2].values, tables[3].values,
        tables[4].values, tables[5].values, a.input("input"));
}

Param rangeKeyType()
{
    return choice("type", "Which range; all three go into red, green and blue.",
                  {{"Shadows", QUILT::RangeKeyShadows},
                   {"Midtones", QUILT::RangeKeyMidtones},
                   {"Highlights", QUILT::RangeKeyHighlights},
                   {"SMHInRGB", QUILT::RangeKeySMHInRGB}})
        .defaultsTo("SMHInRGB");
}

std::vector<Param> rangeKeyParams()
{
    return {number("low", "Where the transition begins, a linear value.").defaultsTo(0),
            number("high", "Where it ends.").defaultsTo(1),
            number("shadowSlope", "The slope of the shadows' curve at the low end.").defaultsTo(0),
            number("highlightSlope", "The slope of the highlights' curve at the high end.")
                .defaultsTo(0),
            flag("useLog", "Whether luminance is made logarithmic, as low and high always are.")
                .defaultsTo(true),
            rangeKeyType()};
}

QUILT::RangeKeyParams rangeKeyOf(const Arguments& a)
{
    return {a.values.number("low"), a.values.number("high"), a.values.number("shadowSlope"),
            a.values.number("highlightSlope"), a.values.flag("useLog")};
}

// Hue, and what depends on it.
std::vector<Operation> hueOperations()
{
    return {
        {"HueShift",
         "Turns hues, and scales saturation.",
         {{"input"}},
         {number("hue", "In degrees; red goes towards green.").defaultsTo(0),
          number("saturation", "A factor; 1 changes nothing.").defaultsTo(1),
          choice("mode", "By a matrix, or by way of HSV, which keeps value.",
                 {{"Matrix", 0}, {"HSV", 1}})
              .defaultsTo("Matrix"),
          lumaCoefficients("The weights in the luma that the matrix scales saturation about.")},
         [](const Arguments& a) {
             const QUILT::HueShiftParams params{
                 a.values.number("hue"), a.values.number("saturation"),
                 a.values.choice<int32_t>("mode"), threeNumbers(a, "lumaCoefficients")};
             return QUILT::createHueShiftTask(a.name, a.time, params, a.input("input"));
         }},

        {"HueSuppress",
         "Takes colours around one hue towards grey.",
         {{"input"}},
         {color("color", "Its hue is the one that is suppressed; alpha does not count.")
              .defaultsTo({0, 1, 0, 1}),
          number("amount", "1 takes that hue to grey, 0 changes nothing.").defaultsTo(1),
          number("width", "Of the hues that change, in turns; 1 reaches all.").defaultsTo(0.25)},
         [](const Arguments& a) {
             return QUILT::createHueSuppressTask(a.name, a.time, rgb(a, "color"),
                                                 a.values.number("amount"),
                                                 a.values.number("width"), a.input("input"));
         }},

        {"HueCurves",
         "Changes saturation and brightness by hue. Tables of n values, all of one size, stand for "
         "the hues 0, 1/n and so on, in turns.",
         {{"input"}},
         {flag("stops", "Whether luminance, red, green and blue are in stops; otherwise they are "
                        "added.")
              .defaultsTo(true),
          lumaCoefficients("Not used: the weights of the OpenColorIO config take their place."),
          color("color", "The channels above 0 lose what they exceed the others by, times "
                         "suppression and this; alpha does not count.")
              .defaultsTo({0, 0, 0, 0}),
          hueTable("saturation", "Factors of saturation; 1, or no values, change nothing."),
          hueTable("suppression", "From 0, or no values, for nothing to 1 for all."),
          hueTable("luminance", "Added to the next three."),
          hueTable("red", "0, or no values, change nothing."),
          hueTable("green", "0, or no values, change nothing."),
          hueTable("blue", "0, or no values, change nothing.")},
         buildHueCurves},
    };
}

std::vector<Operation> rangeKeyOperations()
{
    return {
        {"RangeKey",
         "Makes a matte of how far brightness makes a pixel shadow, midtone or highlight.",
         {{"input"}},
         rangeKeyParams(),
         [](const Arguments& a) {
             return QUILT::createRangeKeyTask(a.name, a.time, rangeKeyOf(a),
                                              a.values.choice<QUILT::RangeKeyType>("type"),
                                              a.input("input"));
         }},

        {"RangeKeyPreview",
         "The same as RangeKey.",
         {{"input"}},
         rangeKeyParams(),
         [](const Arguments& a) {
             return QUILT::createRangeKeyPreviewTask(a.name, a.time, rangeKeyOf(a),
                                                     a.values.choice<QUILT::RangeKeyType>("type"),
                                                     a.input("input"));
         }},
    };
}

std::vector<Operation> pointOperations()
{
    return {
        {"RGBACurves",
         "Changes each channel by a curve of its own.",
         {{"input"}},
         {channelCurve("red"), channelCurve("green"), channelCurve("blue"), channelCurve("alpha")},
         [](const Arguments& a) {
             return QUILT::createRGBACurvesTask(a.name, a.time, a.values.curve("red"),
                                                a.values.curve("green"), a.values.curve("blue"),
                                                a.values.curve("alpha"), a.input("input"));
         }},

        {"LumaCurves",
         "Changes luma by a curve, and scales the colour along with it.",
         {{"input"}},
         {lumaCoefficients("The weights of red, green and blue in luma."),
          curve("curve", "From luma to luma; without points nothing changes.")
              .defaultsTo(Json::array())},
         [](const Arguments& a) {
             return QUILT::createLumaCurvesTask(a.name, a.time, threeNumbers(a, "lumaCoefficients"),
                                                a.values.curve("curve"), a.input("input"));
         }},
    };
}

}

std::vector<Operation> curveAndHueOperations()
{
    std::vector<Operation> all;
    for (const auto part : {pointOperations, hueOperations, rangeKeyOperations})
        std::ranges::move(part(), std::back_inserter(all));
    return all;
}

}
