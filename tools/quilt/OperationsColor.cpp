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

}

std::vector<Operation> colorOperations()
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
