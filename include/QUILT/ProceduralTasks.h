#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <ImathColor.h>
#include <ImathVec.h>

#include <UTIL/RBFType.h>

#include "QUILT/Export.h"
#include "QUILT/RefPtr.h"
#include "QUILT/RenderTask.h"
#include "UTIL/Rect.h"

/// Images without inputs: colours, gradients, test patterns.
///
/// A factory is called on the thread that builds the graph; its task renders on any number of
/// threads. Positions and lengths are in pixels of the whole plane, y pointing up; a pixel has its
/// centre at (x + 0.5, y + 0.5). Outside its data region such an image is zero. The data region is
/// `rect` unless said otherwise, and a null rectangle gives an image without data. Four channels
/// are defined unless said otherwise. Colours take any values; no parameter is refused.
namespace QUILT
{

/// A rectangle of one colour.
///
/// The channels are those of red, green and blue that are not 0, and alpha unless it is 1: an
/// opaque colour gives no alpha channel.
QUILT_API ref_ptr<RenderTask> createColorTask(const std::string& name, float time,
                                              const UTIL::Rect& rect,
                                              const Imath::Color4<float>& color);

// Gradients
//
// Each takes the colour space that its colours are given in, a name in OpenColorIO's current
// config. The empty name says that they are linear already, and is the choice for colours that were
// picked in linear light.
//
// With any other name two conversions to linear are part of what a gradient is: that of each colour
// by itself, and after painting that of the whole picture, which is read as one in that space once
// more. Alpha takes part in neither. A name that the config lacks leaves EMULSION's
// ERROR_COLORSPACE pending on the thread that calls the factory, and fails the render.

/// Bilinear between the corners of `rect`.
///
/// \param colors  four: bottom left, bottom right, top left, top right
QUILT_API ref_ptr<RenderTask> createGradientTask(const std::string& name, float time,
                                                 const UTIL::Rect& rect,
                                                 const std::string& colorspace,
                                                 const Imath::Color4<float>* colors);

struct RampParams
{
    int type = 0; ///< from left to right 0, upwards 1, from the lower left corner to the upper
                  ///< right one 2, from the lower right corner to the upper left one any other
    Imath::Color4<float> color0{0, 0, 0, 0}; ///< at the first edge or corner
    Imath::Color4<float> color1{1, 1, 1, 1}; ///< at the second
};

/// Changes in one direction across `rect`.
///
/// A channel that is 0 at both ends, as converted, is not defined.
QUILT_API ref_ptr<RenderTask> createRampTask(const std::string& name, float time,
                                             const UTIL::Rect& rect, const std::string& colorspace,
                                             const RampParams& params);

struct RadialGradientParams
{
    Imath::Color4<float> color0{1, 1, 1, 1}; ///< up to the inner radius
    Imath::Color4<float> color1{0, 0, 0, 0}; ///< from the outer radius on
    float centerX = 0, centerY = 0;
    float innerRadius = 0;   ///< along the longer axis
    float outerRadius = 0;   ///< likewise. Not above innerRadius: an edge instead of a slope
    float gradientParam = 0; ///< 0 a linear slope, 1 a smooth one (smoothstep), a blend between
    float aspect = 1;        ///< height over width: below 1 the radii hold along x, else along y
    bool limitToEllipse = false; ///< zero outside of the outer radius, with an anti-aliased rim
};

/// Changes from the centre of an ellipse outwards.
///
/// With `limitToEllipse` the data region is the box around the ellipse, whatever `rect` is.
QUILT_API ref_ptr<RenderTask> createRadialGradientTask(const std::string& name, float time,
                                                       const UTIL::Rect& rect,
                                                       const std::string& colorspace,
                                                       const RadialGradientParams& params);

struct GradientStop
{
    float position = 0; ///< 0 at point0, 1 at point1
    Imath::Color4<float> color{0, 0, 0, 0};
};

struct DirectionalGradientParams
{
    Imath::Vec2<float> point0{0, 0};
    Imath::Color4<float> color0{0, 0, 0, 0};
    Imath::Vec2<float> point1{0, 0}; ///< at point0: color1 everywhere
    Imath::Color4<float> color1{1, 1, 1, 1};
    std::vector<GradientStop> stops; ///< in any order; two at one position make a hard edge
};

/// Changes along the line between two points and not across it: linear from stop to stop, held
/// beyond the ends.
QUILT_API ref_ptr<RenderTask>
createDirectionalGradientTask(const std::string& name, float time, const UTIL::Rect& rect,
                              const std::string& colorspace,
                              const DirectionalGradientParams& params);

struct GradientPoint
{
    float x = 0, y = 0;
    Imath::Color4<float> color{0, 0, 0, 0};
};

struct SuperGradientParams
{
    bool rbfFlag = false;     ///< interpolate by radial basis functions instead of by distance
    uint8_t rbfParameter = 0; ///< rbfFlag false: the power of the distance, 0 standing for 2; true:
                              ///< the width of the functions that have one, 64 (or 0) being the
                              ///< mean distance between neighbours
    UTIL::RBFType rbfType = UTIL::RBF_LINEAR;
    std::vector<GradientPoint> points;
};

/// Spreads the colours of scattered points over `rect`; EMULSION::SuperGradient tells how. Without
/// points the picture is zero. The time for a pixel grows with the number of points.
QUILT_API ref_ptr<RenderTask> createSuperGradientTask(const std::string& name, float time,
                                                      const UTIL::Rect& rect,
                                                      const std::string& colorspace,
                                                      const SuperGradientParams& params);

// Test patterns, in linear light

/// Cells of `size` pixels, `color0` in the cell at the lower left corner of `rect`, `color1` in its
/// neighbours, with anti-aliased edges. A side of 0 or less gives `color0` everywhere.
QUILT_API ref_ptr<RenderTask> createCheckerboardTask(const std::string& name, float time,
                                                     const UTIL::Rect& rect,
                                                     const Imath::Color4<float>& color0,
                                                     const Imath::Color4<float>& color1,
                                                     const Imath::Vec2<float>& size);

/// Eight equal bars across `rect`, as the EBU colour bars: white, yellow, cyan, green, magenta,
/// red, blue, black, opaque. Their amplitude is 0.75, with `flag` 1.
QUILT_API ref_ptr<RenderTask> createBarsTask(const std::string& name, float time,
                                             const UTIL::Rect& rect, bool flag);

struct HueWheelParams
{
    float centerX = 0, centerY = 0;
    float radius = 0; ///< along the longer axis
    float aspect = 1; ///< height over width: below 1 the radius holds along x, else along y
    float value4 = 0; ///< saturation at the centre
    float value5 = 1; ///< saturation at the rim
    float value6 = 1; ///< value of all colours, in the sense of HSV
    float value7 = 0; ///< degrees by which the hues turn; without them red lies towards +x and hues
                      ///< grow counter-clockwise
};

/// All hues around a centre, opaque, with an anti-aliased rim.
///
/// The data region is the box around the wheel; `rect` is part of the identity and nothing else.
QUILT_API ref_ptr<RenderTask> createHueWheelTask(const std::string& name, float time,
                                                 const UTIL::Rect& rect,
                                                 const HueWheelParams& params);

/// No data and no channels: `color` is all there is, as the background colour.
///
/// What reads it finds that colour everywhere. It has no tiles: a render of it brings none.
QUILT_API ref_ptr<RenderTask> createEmptyTask(const std::string& name, float time,
                                              const Imath::Color4<float>& color);

}
