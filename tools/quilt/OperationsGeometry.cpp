#include <QUILT/GeometryTasks.h>

#include "Operation.h"

namespace QuiltTool
{

namespace
{

Param orientOperation()
{
    return choice("operation", "What becomes of the picture; turns are quarter turns.",
                  {{"None", EMULSION::OrientNone},
                   {"CounterClockwise", EMULSION::OrientCounterClockwise},
                   {"HalfTurn", EMULSION::OrientHalfTurn},
                   {"Clockwise", EMULSION::OrientClockwise},
                   {"Flip", EMULSION::OrientFlip},
                   {"Flop", EMULSION::OrientFlop},
                   {"FlipFlop", EMULSION::OrientFlipFlop}});
}

}

std::vector<Operation> geometryOperations()
{
    return {
        {"Crop",
         "Cuts a picture to a rectangle, moves the rectangle's corner to the origin, or both.",
         {{"input"}},
         {rect("rect", "What is kept; without it the graph's format.").defaultsToFormat(),
          flag("clipRegion", "Whether the data ends at rect.").defaultsTo(true),
          flag("moveToOrigin", "Whether the lower left corner of rect becomes (0, 0).")
              .defaultsTo(false)},
         [](const Arguments& a) {
             return QUILT::createCropTask(a.name, a.time, a.values.rect("rect"),
                                          a.values.flag("clipRegion"),
                                          a.values.flag("moveToOrigin"), a.input("input"));
         }},

        {"DataWindow",
         "Makes the data reach over a rectangle, with the background colour where there is none.",
         {{"input"}},
         {rect("rect", "Added to the data region; without it the graph's format.")
              .defaultsToFormat()},
         [](const Arguments& a) {
             return QUILT::createDataWindowTask(a.name, a.time, a.values.rect("rect"),
                                                a.input("input"));
         }},

        {"Orient",
         "Turns a picture by quarter turns, or mirrors it.",
         {{"input"}},
         {orientOperation().defaultsTo("None"),
          rect("displayRect",
               "The picture, whose lower left corner stays the corner; without it the format.")
              .defaultsToFormat()},
         [](const Arguments& a) {
             return QUILT::createOrientTask(a.name, a.time,
                                            a.values.choice<EMULSION::OrientOperation>("operation"),
                                            a.values.rect("displayRect"), a.input("input"));
         }},

        {"Reposition",
         "Moves a picture by whole pixels.",
         {{"input"}},
         {integer("x", "How far to the right.").defaultsTo(0),
          integer("y", "How far up.").defaultsTo(0)},
         [](const Arguments& a) {
             return QUILT::createRepositionTask(a.name, a.time, a.values.integer("x"),
                                                a.values.integer("y"), a.input("input"));
         }},
    };
}

}
