#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <string>

#include <QUILT/CompositeTasks.h>

#include "Operation.h"

namespace QuiltTool
{

namespace
{

Param compositeOp()
{
    return choice("op", "The operator, on each channel of premultiplied pixels.",
                  {{"Add", QUILT::COMPOSITEOP_Add},
                   {"Atop", QUILT::COMPOSITEOP_Atop},
                   {"Average", QUILT::COMPOSITEOP_Average},
                   {"Difference", QUILT::COMPOSITEOP_Difference},
                   {"Divide", QUILT::COMPOSITEOP_Divide},
                   {"Exclusion", QUILT::COMPOSITEOP_Exclusion},
                   {"SubtractAB", QUILT::COMPOSITEOP_SubtractAB},
                   {"Geometric", QUILT::COMPOSITEOP_Geometric},
                   {"Hypotenuse", QUILT::COMPOSITEOP_Hypotenuse},
                   {"Max", QUILT::COMPOSITEOP_Max},
                   {"OverPlain", QUILT::COMPOSITEOP_OverPlain},
                   {"Min", QUILT::COMPOSITEOP_Min},
                   {"Multiply", QUILT::COMPOSITEOP_Multiply},
                   {"In", QUILT::COMPOSITEOP_In},
                   {"Out", QUILT::COMPOSITEOP_Out},
                   {"Over", QUILT::COMPOSITEOP_Over},
                   {"Under", QUILT::COMPOSITEOP_Under},
                   {"Screen", QUILT::COMPOSITEOP_Screen},
                   {"SubtractBA", QUILT::COMPOSITEOP_SubtractBA}});
}

ref_ptr<RenderTask> buildZComposite(const Arguments& a)
{
    const std::vector<ref_ptr<RenderTask>> colors = a.inputList("colorTasks");
    const std::vector<ref_ptr<RenderTask>> depths = a.inputList("depthTasks");
    if (colors.size() != depths.size())
        throw std::invalid_argument("colorTasks has " + std::to_string(colors.size()) +
                                    " nodes and depthTasks " + std::to_string(depths.size()) +
                                    "; each colour needs its depth");
    return QUILT::createZCompositeTask(a.name, a.time, colors, depths,
                                       a.values.mask("depthChannel"));
}

Param flagA()
{
    return flag("flagA", "Max, Min: the value that is larger (smaller) in magnitude.")
        .defaultsTo(false);
}

Param flagB()
{
    return flag("flagB", "Over, Under, Atop, In, Out: alpha as a weight is clamped to 0..1; "
                         "Screen: the larger value where one is outside 0..1.")
        .defaultsTo(false);
}

Param cleanupClamp()
{
    return flag("cleanupClamp", "Removes infinities, NaN and alpha outside 0..1 from the result.")
        .defaultsTo(false);
}

std::vector<Operation> blendOperations()
{
    return {
        {"Copy",
         "The input itself, as a node of its own.",
         {{"input"}},
         {},
         [](const Arguments& a) {
             return QUILT::createCopyTask(a.name, a.time, a.input("input"));
         }},

        {"Mix",
         "Blends two pictures: first * (1 - mix) + second * mix, channel by channel.",
         {{"first"}, {"second"}},
         {number("mix", "How much of the second picture; 0 is the first one, 1 the second.")
              .defaultsTo(0.5)
              .between(0, 1)},
         [](const Arguments& a) {
             return QUILT::createMixTask(a.name, a.time, a.values.number("mix"), a.input("first"),
                                         a.input("second"));
         }},

        {"AddMix",
         "Lays a on b with weights that are curves of the alpha of a: a wA + b (1 - wB).",
         {{"a"}, {"b"}},
         {curve("pointsA", "From the alpha of a to wA; without points it is alpha itself.")
              .defaultsTo(Json::array()),
          curve("pointsB", "From the alpha of a to wB; without points it is alpha itself.")
              .defaultsTo(Json::array()),
          flag("premultiplied", "Whether a is divided by its alpha first.").defaultsTo(true)},
         [](const Arguments& a) {
             return QUILT::createAddMixTask(a.name, a.time, a.values.curve("pointsA"),
                                            a.values.curve("pointsB"), a.input("a"), a.input("b"),
                                            a.values.flag("premultiplied"));
         }},

        {"MatteMix",
         "Blends two pictures by a matte: by the alpha of matte + mix, from 0 the first one to 1 "
         "the second.",
         {{"first"}, {"second"}, {"matte"}},
         {number("mix", "Added to the matte: 1 is the second picture everywhere, -1 the first.")
              .defaultsTo(0)
              .between(-1, 1)},
         [](const Arguments& a) {
             return QUILT::createMatteMixTask(a.name, a.time, a.values.number("mix"),
                                              a.input("first"), a.input("second"),
                                              a.input("matte"));
         }},

        {"MatteCombiner",
         "Makes one matte of many, channel by channel.",
         {{"inputs", false, true}},
         {choice("op",
                 "First: the first one alone; Screen: one minus the product of what each lets "
                 "through; Multiply: the product.",
                 {{"First", QUILT::MATTECOMBINER_First},
                  {"Screen", QUILT::MATTECOMBINER_Screen},
                  {"Multiply", QUILT::MATTECOMBINER_Multiply}})
              .defaultsTo("Screen")},
         [](const Arguments& a) {
             return QUILT::createMatteCombinerTask(a.name, a.time,
                                                   a.values.choice<QUILT::MatteCombinerOp>("op"),
                                                   a.inputList("inputs"));
         }},

        {"ClearNansAndInfs",
         "Replaces NaN by 0, and infinities by 0 or the largest half.",
         {{"input"}},
         {flag("keepInfinities", "True: infinities become +-65504; false: they become 0.")
              .defaultsTo(false)},
         [](const Arguments& a) {
             return QUILT::createClearNansAndInfsTask(a.name, a.time, a.input("input"),
                                                      a.values.flag("keepInfinities"));
         }},
    };
}

std::vector<Operation> operatorOperations()
{
    return {
        {"Composite",
         "Combines two pictures by an operator such as Over, which lays a on b.",
         {{"a"}, {"b"}},
         {compositeOp().defaultsTo("Over"), flagA(), flagB(), cleanupClamp(),
          number("mix", "How much of the result; 0 is b, 1 the plain result.")
              .defaultsTo(1)
              .between(0, 1)},
         [](const Arguments& a) {
             return QUILT::createCompositeTask(
                 a.name, a.time, a.values.choice<QUILT::CompositeOp>("op"), a.values.flag("flagA"),
                 a.values.flag("flagB"), a.values.flag("cleanupClamp"), a.values.number("mix"),
                 a.input("a"), a.input("b"));
         }},

        {"ZComposite",
         "Merges layers by depth, pixel by pixel, the nearest in front.",
         {{"colorTasks", false, true}, {"depthTasks", false, true}},
         {mask("depthChannel", "Where the depth inputs hold the depth; the lowest channel counts.")
              .defaultsTo("r")},
         buildZComposite},

        {"MultiComposite",
         "Combines any number of pictures by an operator, the last of the list on top.",
         {{"inputs", false, true}},
         {compositeOp().defaultsTo("Over"), flagA(), flagB(), cleanupClamp()},
         [](const Arguments& a) {
             return QUILT::createMultiCompositeTask(
                 a.name, a.time, a.values.choice<QUILT::CompositeOp>("op"), a.values.flag("flagA"),
                 a.values.flag("flagB"), a.values.flag("cleanupClamp"), a.inputList("inputs"));
         }},
    };
}

}

std::vector<Operation> compositeOperations()
{
    std::vector<Operation> all = blendOperations();
    std::ranges::move(operatorOperations(), std::back_inserter(all));
    return all;
}

}
