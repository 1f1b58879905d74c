#include <algorithm>
#include <iterator>

#include <QUILT/ColorTasks.h>

#include "Operation.h"

namespace QuiltTool
{

namespace
{

Param processSpace(const char* name, const char* sentence)
{
    return choice(name, sentence,
                  {{"Linear", QUILT::ProcessSpaceLinear}, {"Log", QUILT::ProcessSpaceLog}});
}

std::vector<Operation> valueOperations()
{
    return {
        {"Bloom",
         "Makes highlights brighter, or darker by a negative amount.",
         {{"input"}},
         {flag("enabled", "False: nothing changes.").defaultsTo(true),
          number("threshold", "Values above it are highlights.").defaultsTo(1),
          number("amount", "50 makes what exceeds the threshold ten times as much; 0 changes "
                           "nothing.")
              .defaultsTo(25),
          flag("useLuminance", "True: by luminance; false: each channel by itself.")
              .defaultsTo(false)},
         [](const Arguments& a) {
             return QUILT::createBloomTask(a.name, a.time,
                                           {a.values.flag("enabled"), a.values.number("threshold"),
                                            a.values.number("amount"),
                                            a.values.flag("useLuminance")},
                                           a.input("input"));
         }},

        {"Clamp",
         "Limits values, channel by channel.",
         {{"input"}},
         {color("min", "The least that a value may be.").defaultsTo({0, 0, 0, 0}),
          color("max", "The most that it may be.").defaultsTo({1, 1, 1, 1}),
          flag("clampMin", "Whether min limits.").defaultsTo(true),
          flag("clampMax", "Whether max limits.").defaultsTo(true)},
         [](const Arguments& a) {
             return QUILT::createClampTask(a.name, a.time, a.values.color("min"),
                                           a.values.color("max"), a.values.flag("clampMin"),
                                           a.values.flag("clampMax"), a.input("input"));
         }},

        {"CleanupClamp",
         "Removes infinities and NaN, alpha outside 0..1 and, unless they are kept, negative "
         "colours.",
         {{"input"}},
         {flag("keepNegative",
               "True: negative colours stay, as behind a composite of a wide gamut; "
               "false: they become 0, as behind a filter.")
              .defaultsTo(false)},
         [](const Arguments& a) {
             return QUILT::createCleanupClampTask(a.name, a.time, a.values.flag("keepNegative"),
                                                  a.input("input"));
         }},

        {"Contrast",
         "Moves values away from a pivot, or towards it: (v - pivot) * contrast + pivot.",
         {{"input"}},
         {color("contrast", "The factor; 1 changes nothing.").defaultsTo({1, 1, 1, 1}),
          color("pivot", "The value that stays.").defaultsTo({0.18, 0.18, 0.18, 0.18})},
         [](const Arguments& a) {
             return QUILT::createContrastTask(a.name, a.time, a.values.color("contrast"),
                                              a.values.color("pivot"), a.input("input"));
         }},

        {"Fringe",
         "Leaves the soft edge of a matte: 1 at 0.5, and 0 from 0 and 1 on.",
         {{"input"}},
         {},
         [](const Arguments& a) {
             return QUILT::createFringeTask(a.name, a.time, a.input("input"));
         }},

        {"InPlaceCopy",
         "The input itself, as an operation on pixels.",
         {{"input"}},
         {},
         [](const Arguments& a) {
             return QUILT::createInPlaceCopyTask(a.name, a.time, a.input("input"));
         }},

        {"MultInverse",
         "One divided by each value; 0 stays 0.",
         {{"input"}},
         {},
         [](const Arguments& a) {
             return QUILT::createMultInverseTask(a.name, a.time, a.input("input"));
         }},

        {"NContrastBoost",
         "More contrast about 0.5, by an S-curve that keeps 0 and 1.",
         {{"input"}},
         {number("amount", "How much of the curve; 0 changes no colour.").defaultsTo(1),
          flag("boostAlpha", "True: alpha follows the curve; false: it becomes 1.")
              .defaultsTo(false)},
         [](const Arguments& a) {
             return QUILT::createNContrastBoostTask(a.name, a.time, a.values.number("amount"),
                                                    a.values.flag("boostAlpha"), a.input("input"));
         }},

        {"Posterize",
         "Turns gradations of red, green and blue into steps.",
         {{"input"}},
         {number("levelsR", "How many steps red has from 0 to 1; less than 2 leaves it.")
              .defaultsTo(4),
          number("levelsG", "The same of green.").defaultsTo(4),
          number("levelsB", "The same of blue.").defaultsTo(4),
          flag("clampRange", "True: values are clamped to 0..1; false: steps go on outside.")
              .defaultsTo(false),
          flag("nearest", "True: a value becomes the nearest step; false: steps are equally wide.")
              .defaultsTo(false)},
         [](const Arguments& a) {
             return QUILT::createPosterizeTask(
                 a.name, a.time, a.values.number("levelsR"), a.values.number("levelsG"),
                 a.values.number("levelsB"), a.values.flag("clampRange"), a.values.flag("nearest"),
                 a.input("input"));
         }},

        {"Threshold",
         "Replaces values below a threshold by one colour and the others by another.",
         {{"input"}},
         {color("threshold", "Where low ends and high begins.").defaultsTo({0.5, 0.5, 0.5, 0.5}),
          flag("replaceLow", "Whether values below the threshold are replaced.").defaultsTo(true),
          color("low", "What they become.").defaultsTo({0, 0, 0, 0}),
          flag("replaceHigh", "Whether the others are replaced.").defaultsTo(true),
          color("high", "What they become.").defaultsTo({1, 1, 1, 1})},
         [](const Arguments& a) {
             return QUILT::createThresholdTask(a.name, a.time, a.values.color("threshold"),
                                               a.values.flag("replaceLow"), a.values.color("low"),
                                               a.values.flag("replaceHigh"), a.values.color("high"),
                                               a.input("input"));
         }},
    };
}

std::vector<Operation> matrixOperations()
{
    return {
        {"ColorTransform",
         "Makes each channel from all four, by a matrix and constants.",
         {{"input"}},
         {matrix(
              "matrix",
              "Four rows, for red, green, blue and alpha of the result, each with the factors of "
              "the input's four channels and a constant.",
              20)
              .defaultsTo({1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0})},
         [](const Arguments& a) {
             return QUILT::createColorTransformTask(
                 a.name, a.time, a.values.matrix("matrix").data(), a.input("input"));
         }},

        {"Gain",
         "Multiplies each channel, as a change of exposure does.",
         {{"input"}},
         {color("gain", "The factors; 1 changes nothing.").defaultsTo({1, 1, 1, 1})},
         [](const Arguments& a) {
             return QUILT::createGainTask(a.name, a.time, a.values.color("gain"), a.input("input"));
         }},

        {"Luminance",
         "The luminance in all four channels, by the weights of the OpenColorIO config.",
         {{"input"}},
         {},
         [](const Arguments& a) {
             return QUILT::createLuminanceTask(a.name, a.time, a.input("input"));
         }},
    };
}

std::vector<Operation> colorSpaceOperations()
{
    return {
        {"BackgroundColor",
         "Replaces the colour that a picture has outside its data, and leaves its pixels alone.",
         {{"input"}},
         {color("color", "The new background colour.").defaultsTo({0, 0, 0, 0})},
         [](const Arguments& a) {
             return QUILT::createBackgroundColorTask(a.name, a.time, a.values.color("color"),
                                                     a.input("input"));
         }},

        {"HSVConvert",
         "Converts red, green and blue to hue, in turns, saturation and value, or back.",
         {{"input"}},
         {flag("toHSV", "True: to hue, saturation and value; false: back.").defaultsTo(true)},
         [](const Arguments& a) {
             return QUILT::createHSVConvertTask(a.name, a.time, a.values.flag("toHSV"),
                                                a.input("input"));
         }},

        {"OCIOColorSpace",
         "Converts from one colour space of the OpenColorIO config to another.",
         {{"input"}},
         {text("src", "The colour space, or role, of the input.").defaultsTo("scene_linear"),
          text("dst", "The colour space, or role, to convert to.").defaultsTo("scene_linear")},
         [](const Arguments& a) {
             return QUILT::createOCIOColorSpaceTask(a.name, a.time, a.values.text("src"),
                                                    a.values.text("dst"), a.input("input"));
         }},

        {"LogConvert",
         "Converts from scene linear to the config's logarithmic space for compositing, or back.",
         {{"input"}},
         {flag("toLog", "True: from linear to logarithmic; false: back.").defaultsTo(true)},
         [](const Arguments& a) {
             return QUILT::createLogConvertTask(a.name, a.time, a.values.flag("toLog"),
                                                a.input("input"));
         }},

        {"ProcessSpaceConvert",
         "Converts between the two spaces in which operations work; equal ones change nothing.",
         {{"input"}},
         {processSpace("from", "The space of the input.").defaultsTo("Linear"),
          processSpace("to", "The space to convert to.").defaultsTo("Linear")},
         [](const Arguments& a) {
             return QUILT::createProcessSpaceConvertTask(
                 a.name, a.time, a.values.choice<QUILT::ProcessSpace>("from"),
                 a.values.choice<QUILT::ProcessSpace>("to"), a.input("input"));
         }},
    };
}

}

std::vector<Operation> colorOperations()
{
    std::vector<Operation> all = valueOperations();
    std::ranges::move(matrixOperations(), std::back_inserter(all));
    std::ranges::move(colorSpaceOperations(), std::back_inserter(all));
    return all;
}

}
