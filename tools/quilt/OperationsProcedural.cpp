#include <algorithm>
#include <iterator>

#include <QUILT/ProceduralTasks.h>

#include "Operation.h"

namespace QuiltTool
{

namespace
{

using Imath::V2f;

const Json s_black{0, 0, 0, 1};
const Json s_white{1, 1, 1, 1};

Param rectParam()
{
    return rect("rect", "The pixels to paint; without it the graph's format.").defaultsToFormat();
}

Param colorSpaceParam()
{
    return text("colorspace", "The colour space of the colours; empty when they are linear.")
        .defaultsTo("");
}

Param aspectParam()
{
    return number("aspect", "Height over width: 1 is a circle.").defaultsTo(1).atLeast(0);
}

V2f middleOf(const UTIL::Rect& rect)
{
    return {(static_cast<float>(rect.x0) + static_cast<float>(rect.x1)) / 2,
            (static_cast<float>(rect.y0) + static_cast<float>(rect.y1)) / 2};
}

float shorterSide(const UTIL::Rect& rect)
{
    return static_cast<float>(std::min(rect.width(), rect.height()));
}

ref_ptr<RenderTask> buildGradient(const Arguments& a)
{
    const std::vector<Imath::C4f> colors = a.values.colors("colors");
    return QUILT::createGradientTask(a.name, a.time, a.values.rect("rect"),
                                     a.values.text("colorspace"), colors.data());
}

ref_ptr<RenderTask> buildRamp(const Arguments& a)
{
    QUILT::RampParams params;
    params.type = a.values.choice<int>("type");
    params.color0 = a.values.color("color0");
    params.color1 = a.values.color("color1");
    return QUILT::createRampTask(a.name, a.time, a.values.rect("rect"), a.values.text("colorspace"),
                                 params);
}

ref_ptr<RenderTask> buildRadialGradient(const Arguments& a)
{
    const UTIL::Rect rect = a.values.rect("rect");
    QUILT::RadialGradientParams params;
    params.color0 = a.values.color("color0");
    params.color1 = a.values.color("color1");
    params.centerX = a.values.numberOr("centerX", middleOf(rect).x);
    params.centerY = a.values.numberOr("centerY", middleOf(rect).y);
    params.innerRadius = a.values.number("innerRadius");
    params.outerRadius = a.values.numberOr("outerRadius", shorterSide(rect) / 2);
    params.gradientParam = a.values.number("gradientParam");
    params.aspect = a.values.number("aspect");
    params.limitToEllipse = a.values.flag("limitToEllipse");
    return QUILT::createRadialGradientTask(a.name, a.time, rect, a.values.text("colorspace"),
                                           params);
}

ref_ptr<RenderTask> buildDirectionalGradient(const Arguments& a)
{
    const UTIL::Rect rect = a.values.rect("rect");
    const float middle = middleOf(rect).y;
    QUILT::DirectionalGradientParams params;
    params.point0 = a.values.vec2Or("point0", {static_cast<float>(rect.x0), middle});
    params.color0 = a.values.color("color0");
    params.point1 = a.values.vec2Or("point1", {static_cast<float>(rect.x1), middle});
    params.color1 = a.values.color("color1");
    for (const auto& stop : a.values.objects("stops"))
        params.stops.push_back({stop->number("position"), stop->color("color")});
    return QUILT::createDirectionalGradientTask(a.name, a.time, rect, a.values.text("colorspace"),
                                                params);
}

ref_ptr<RenderTask> buildSuperGradient(const Arguments& a)
{
    QUILT::SuperGradientParams params;
    params.rbfFlag = a.values.flag("rbfFlag");
    params.rbfParameter = static_cast<uint8_t>(a.values.integer("rbfParameter"));
    params.rbfType = a.values.choice<UTIL::RBFType>("rbfType");
    for (const auto& point : a.values.objects("points"))
        params.points.push_back({point->number("x"), point->number("y"), point->color("color")});
    return QUILT::createSuperGradientTask(a.name, a.time, a.values.rect("rect"),
                                          a.values.text("colorspace"), params);
}

ref_ptr<RenderTask> buildHueWheel(const Arguments& a)
{
    const UTIL::Rect rect = a.values.rect("rect");
    QUILT::HueWheelParams params;
    params.centerX = a.values.numberOr("centerX", middleOf(rect).x);
    params.centerY = a.values.numberOr("centerY", middleOf(rect).y);
    params.radius = a.values.numberOr("radius", shorterSide(rect) / 2);
    params.aspect = a.values.number("aspect");
    params.value4 = a.values.number("value4");
    params.value5 = a.values.number("value5");
    params.value6 = a.values.number("value6");
    params.value7 = a.values.number("value7");
    return QUILT::createHueWheelTask(a.name, a.time, rect, params);
}

std::vector<Operation> gradients()
{
    return {
        {"Empty",
         "No data and no channels: a colour that lies everywhere, as a background.",
         {},
         {color("color", "The background colour.").defaultsTo({0, 0, 0, 0})},
         [](const Arguments& a) {
             return QUILT::createEmptyTask(a.name, a.time, a.values.color("color"));
         }},

        {"Gradient",
         "Four colours in the corners of a rectangle, and what lies between them.",
         {},
         {rectParam(), colorSpaceParam(),
          list("colors", "Bottom left, bottom right, top left, top right.", color("", ""))
              .ofCount(4)
              .defaultsTo({s_black, s_black, s_white, s_white})},
         buildGradient},

        {"Ramp",
         "From one colour to another, across a rectangle.",
         {},
         {rectParam(), colorSpaceParam(),
          choice("type",
                 "From left to right, from the bottom up, from the lower left corner to the upper "
                 "right one, or from the lower right corner to the upper left one.",
                 {{"Horizontal", 0}, {"Vertical", 1}, {"DiagonalUp", 2}, {"DiagonalDown", 3}})
              .defaultsTo("Horizontal"),
          color("color0", "The colour at the first edge or corner.").defaultsTo(s_black),
          color("color1", "The colour at the second.").defaultsTo(s_white)},
         buildRamp},

        {"RadialGradient",
         "From the centre of an ellipse outwards.",
         {},
         {rectParam(), colorSpaceParam(),
          color("color0", "The colour up to the inner radius.").defaultsTo(s_white),
          color("color1", "The colour from the outer radius on.").defaultsTo({0, 0, 0, 0}),
          number("centerX", "In pixels; without it the middle of rect.").isComputed(),
          number("centerY", "In pixels; without it the middle of rect.").isComputed(),
          number("innerRadius", "In pixels, along the longer axis.").defaultsTo(0).atLeast(0),
          number("outerRadius",
                 "In pixels, along the longer axis; without it half the shorter side of rect.")
              .isComputed()
              .atLeast(0),
          number("gradientParam", "The slope: 0 is linear, 1 smooth at both ends.")
              .defaultsTo(0)
              .between(0, 1),
          aspectParam(),
          flag("limitToEllipse", "Nothing outside the outer radius, whatever rect is.")
              .defaultsTo(false)},
         buildRadialGradient},

        {"DirectionalGradient",
         "Along the line between two points, with any number of colours between its ends.",
         {},
         {rectParam(), colorSpaceParam(),
          vec2("point0", "Where it starts, in pixels; without it the middle of rect's left edge.")
              .isComputed(),
          color("color0", "The colour at point0 and before it.").defaultsTo(s_black),
          vec2("point1", "Where it ends, in pixels; without it the middle of rect's right edge.")
              .isComputed(),
          color("color1", "The colour at point1 and behind it.").defaultsTo(s_white),
          list("stops", "Colours between the ends, in any order.",
               entry({number("position", "0 is point0, 1 is point1."),
                      color("color", "The colour there.")}))
              .defaultsTo(Json::array())},
         buildDirectionalGradient},

        {"SuperGradient",
         "Spreads the colours of scattered points over a rectangle.",
         {},
         {rectParam(), colorSpaceParam(),
          flag("rbfFlag", "False: by the distance to the points; true: by radial basis functions.")
              .defaultsTo(false),
          integer("rbfParameter", "The power of the distance, 0 standing for 2; with functions "
                                  "their width, 64 being the mean distance between neighbours.")
              .defaultsTo(0)
              .between(0, 255),
          choice("rbfType", "Which radial basis function.",
                 {{"Linear", UTIL::RBF_LINEAR},
                  {"Cubic", UTIL::RBF_CUBIC},
                  {"ThinPlate", UTIL::RBF_THIN_PLATE},
                  {"Gaussian", UTIL::RBF_GAUSSIAN},
                  {"Multiquadric", UTIL::RBF_MULTIQUADRIC},
                  {"InverseMultiquadric", UTIL::RBF_INVERSE_MULTIQUADRIC}})
              .defaultsTo("Linear"),
          list("points", "The points; without any the picture is empty.",
               entry({number("x", "In pixels."), number("y", "In pixels."),
                      color("color", "The colour there.")}))
              .defaultsTo(Json::array())},
         buildSuperGradient},
    };
}

std::vector<Operation> patterns()
{
    return {
        {"Color",
         "A rectangle of one colour.",
         {},
         {rectParam(),
          color("color", "The colour; black and opaque has no channels.").defaultsTo(s_white)},
         [](const Arguments& a) {
             return QUILT::createColorTask(a.name, a.time, a.values.rect("rect"),
                                           a.values.color("color"));
         }},

        {"Checkerboard",
         "Cells of two colours, from the lower left corner of a rectangle.",
         {},
         {rectParam(),
          color("color0", "The cell in the lower left corner.").defaultsTo({0.1, 0.1, 0.1, 1}),
          color("color1", "Its neighbours.").defaultsTo({0.5, 0.5, 0.5, 1}),
          vec2("size", "Width and height of a cell, in pixels.").defaultsTo({64, 64})},
         [](const Arguments& a) {
             return QUILT::createCheckerboardTask(a.name, a.time, a.values.rect("rect"),
                                                  a.values.color("color0"),
                                                  a.values.color("color1"), a.values.vec2("size"));
         }},

        {"Bars",
         "Eight colour bars: white, yellow, cyan, green, magenta, red, blue, black.",
         {},
         {rectParam(),
          flag("flag", "True: full amplitude; false: three quarters of it.").defaultsTo(false)},
         [](const Arguments& a) {
             return QUILT::createBarsTask(a.name, a.time, a.values.rect("rect"),
                                          a.values.flag("flag"));
         }},

        {"HueWheel",
         "All hues around a centre.",
         {},
         {rectParam(), number("centerX", "In pixels; without it the middle of rect.").isComputed(),
          number("centerY", "In pixels; without it the middle of rect.").isComputed(),
          number("radius",
                 "In pixels, along the longer axis; without it half the shorter side of rect.")
              .isComputed()
              .atLeast(0),
          aspectParam(), number("value4", "The saturation in the centre.").defaultsTo(0),
          number("value5", "The saturation at the rim.").defaultsTo(1),
          number("value6", "The value of all colours, as in HSV.").defaultsTo(1),
          number("value7", "Degrees by which the hues turn.").defaultsTo(0)},
         buildHueWheel},
    };
}

}

std::vector<Operation> proceduralOperations()
{
    std::vector<Operation> all = gradients();
    std::ranges::move(patterns(), std::back_inserter(all));
    return all;
}

}
