#include <algorithm>
#include <iterator>

#include <QUILT/ColorTasks.h>

#include "Operation.h"

namespace QuiltTool
{

namespace
{

std::vector<Param> powerParams(const char* name, const char* sentence)
{
    return {color(name, sentence).defaultsTo({1, 1, 1, 1}),
            color("pivot", "The value that stays; 0 counts as 1.").defaultsTo({1, 1, 1, 1})};
}

std::vector<Operation> curveOperations()
{
    return {
        {"AnalyticalLogConvert",
         "Converts from linear to the logarithmic curve of film scans, or back.",
         {{"input"}},
         {color("black", "The code that is 0 in linear.").defaultsTo({95, 95, 95, 0}),
          color("white", "The code that is 1 in linear.").defaultsTo({685, 685, 685, 0}),
          color("gamma", "That of the film; not 0.").defaultsTo({0.6, 0.6, 0.6, 1}),
          flag("toLog", "True: from linear to logarithmic; false: back.").defaultsTo(true),
          flag("tenBit", "True: black and white are codes of 0 to 1023; false: of 0 to 1.")
              .defaultsTo(true)},
         [](const Arguments& a) {
             return QUILT::createAnalyticalLogConvertTask(
                 a.name, a.time, a.values.color("black"), a.values.color("white"),
                 a.values.color("gamma"), a.values.flag("toLog"), a.values.flag("tenBit"),
                 a.input("input"));
         }},

        {"Exponential",
         "Raises values to a power about a pivot; negative ones mirror positive ones.",
         {{"input"}},
         powerParams("exponent", "The power; 1 changes nothing."),
         [](const Arguments& a) {
             return QUILT::createExponentialTask(a.name, a.time, a.values.color("exponent"),
                                                 a.values.color("pivot"), a.input("input"));
         }},

        {"Gamma",
         "Raises values to the power 1 / gamma about a pivot: above 1 the middle tones brighten.",
         {{"input"}},
         powerParams("gamma", "One divided by the power; 1 changes nothing."),
         [](const Arguments& a) {
             return QUILT::createGammaTask(a.name, a.time, a.values.color("gamma"),
                                           a.values.color("pivot"), a.input("input"));
         }},

        {"Lab",
         "Converts from linear red, green and blue of Rec. 709 to L*, a*, b* by 100, or back.",
         {{"input"}},
         {flag("toLab", "True: to L*, a*, b*; false: back.").defaultsTo(true)},
         [](const Arguments& a) {
             return QUILT::createLabTask(a.name, a.time, a.values.flag("toLab"), a.input("input"));
         }},
    };
}

std::vector<Operation> rangeOperations()
{
    return {
        {"CompressRange",
         "Compresses colours above a knee and keeps their hue, or expands them again.",
         {{"input"}},
         {number("knee", "The brightness up to which colours stay.").defaultsTo(0.18),
          number("from", "The brightness that becomes to.").defaultsTo(16),
          number("to", "What it becomes, above the knee and below from.").defaultsTo(1),
          flag("expand", "True: the way back, from to to from.").defaultsTo(false)},
         [](const Arguments& a) {
             return QUILT::createCompressRangeTask(a.name, a.time, a.values.number("knee"),
                                                   a.values.number("from"), a.values.number("to"),
                                                   a.values.flag("expand"), a.input("input"));
         }},

        {"StandardCompressRange",
         "Compresses colours brighter than middle grey, so that 16 becomes 1.",
         {{"input"}},
         {},
         [](const Arguments& a) {
             return QUILT::createStandardCompressRangeTask(a.name, a.time, a.input("input"));
         }},

        {"StandardExpandRange",
         "Expands what StandardCompressRange has compressed.",
         {{"input"}},
         {},
         [](const Arguments& a) {
             return QUILT::createStandardExpandRangeTask(a.name, a.time, a.input("input"));
         }},
    };
}

}

std::vector<Operation> toneOperations()
{
    std::vector<Operation> all = curveOperations();
    std::ranges::move(rangeOperations(), std::back_inserter(all));
    return all;
}

}
