#include <QUILT/ColorTasks.h>
#include <QUILT/CompositeTasks.h>

#include "Operation.h"

namespace QuiltTool
{

namespace
{

Param hsvComponent()
{
    return choice("component", "What alpha becomes.",
                  {{"Hue", QUILT::HSVComponentHue},
                   {"Saturation", QUILT::HSVComponentSaturation},
                   {"Value", QUILT::HSVComponentValue}});
}

}

std::vector<Operation> alphaOperations()
{
    return {
        {"HSVComponentToAlpha",
         "Makes alpha of a colour's hue, in turns, its saturation or its value.",
         {{"input"}},
         {hsvComponent().defaultsTo("Saturation")},
         [](const Arguments& a) {
             return QUILT::createHSVComponentToAlphaTask(
                 a.name, a.time, a.values.choice<QUILT::HSVComponent>("component"),
                 a.input("input"));
         }},

        {"MinRGBToAlpha",
         "Makes alpha the smallest of red, green and blue.",
         {{"input"}},
         {},
         [](const Arguments& a) {
             return QUILT::createMinRGBToAlphaTask(a.name, a.time, a.input("input"));
         }},

        {"MaxRGBToAlpha",
         "Makes alpha the largest of red, green and blue.",
         {{"input"}},
         {},
         [](const Arguments& a) {
             return QUILT::createMaxRGBToAlphaTask(a.name, a.time, a.input("input"));
         }},

        {"ScreenRGBToAlpha",
         "Makes alpha less where a screen's colour exceeds the other two: 0 in a pure screen.",
         {{"input"}},
         {choice("channel", "The screen's colour.", {{"Red", 1}, {"Green", 2}, {"Blue", 4}})
              .defaultsTo("Green")},
         [](const Arguments& a) {
             return QUILT::createScreenRGBToAlphaTask(
                 a.name, a.time, a.values.choice<unsigned long>("channel"), a.input("input"));
         }},

        {"Premultiply",
         "Multiplies red, green and blue by alpha, that of another picture if one is given.",
         {{"input"}, {"alpha", true}},
         {},
         [](const Arguments& a) {
             return QUILT::createPremultiplyTask(a.name, a.time, a.input("input"),
                                                 a.input("alpha"));
         }},

        {"Unpremultiply",
         "Divides red, green and blue by alpha, that of another picture if one is given.",
         {{"input"}, {"alpha", true}},
         {},
         [](const Arguments& a) {
             return QUILT::createUnpremultiplyTask(a.name, a.time, a.input("input"),
                                                   a.input("alpha"));
         }},
    };
}

}
