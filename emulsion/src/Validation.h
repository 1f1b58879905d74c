#pragma once

#include <string>

#include "EMULSION/Image.h"

// What every kernel asks of its images before it touches a pixel:
//
//     if (!checkOutput("Contrast", output) || !checkInput("Contrast", input) || isEmpty(*output))
//         return;
namespace EMULSION::Private
{

/// True when `image` can be worked on, a null pointer counting as a failure.
///
/// Otherwise sets ERROR_INVALID_CHANNELS for a mask above 15, ERROR_INVALID_ARGUMENT for a null
/// image, an inverted rectangle, a null pixel pointer on an image that has bytes, and rows that
/// overlap or are not whole floats apart. The text names `function`, calls the image by `role`
/// ("output", "matte") and says what is wrong with it. An image without pixels or without channels
/// passes.
bool checkImage(const char* function, const char* role, const Image* image);

inline bool checkOutput(const char* function, const Image* output)
{
    return checkImage(function, "output", output);
}

inline bool checkInput(const char* function, const Image* input)
{
    return checkImage(function, "input", input);
}

/// For an input that may be null because a colour stands for it.
inline bool checkInputIfAny(const char* function, const Image* input)
{
    return !input || checkImage(function, "input", input);
}

/// True when there is no pixel or no channel to write: the kernel has nothing to do. An input
/// without channels is another matter, its pixels read as 0.
inline bool isEmpty(const Image& output)
{
    return output.bounds.isNull() || output.channels == 0;
}

/// Sets ERROR_INVALID_ARGUMENT with "function: what"; false, so that a check can return it.
bool invalidArgument(const char* function, const std::string& what);

/// "(x0,y0,x1,y1)", for error texts.
std::string textOf(const UTIL::Rect& rect);

}
