#pragma once

#include <ImathColor.h>

#include "EMULSION/Image.h"

namespace EMULSION::Private
{

/// What an image function makes of one colour: `function(output, input)` gets two images of one
/// pixel at (0, 0) with all four channels, and the result is what it wrote. So a function's colour
/// form cannot differ from its image form.
template <class Function>
Imath::Color4f onOnePixel(const Imath::Color4f& color, const Function& function)
{
    float from[4] = {color.r, color.g, color.b, color.a};
    float to[4] = {};
    const Image input{15, 15, UTIL::Rect(0, 0, 1, 1), sizeof from, from};
    const Image output{15, 15, UTIL::Rect(0, 0, 1, 1), sizeof to, to};
    function(&output, &input);
    return Imath::Color4f(to[0], to[1], to[2], to[3]);
}

}
