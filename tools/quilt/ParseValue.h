#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <UTIL/Rect.h>

#include "Param.h"
#include "Problems.h"
#include "Values.h"

namespace QuiltTool
{

/// What values are read against.
struct ParseContext
{
    int64_t frame = 1;
    std::optional<UTIL::Rect> format;
    std::filesystem::path folder; ///< where relative file names start
    Problems* problems = nullptr;
};

/// The value of one parameter at the context's frame.
///
/// What is wrong is added to the problems, under `place`; the result is then any value of the
/// parameter's type. Of an animated parameter all keys are checked, whatever the frame.
Value parseValue(const Param& param, const Json& json, const std::string& place,
                 const ParseContext& context);

/// The values of all parameters: those of the object and the defaults of the others. An unknown
/// name is "no such parameter of <owner>".
Values parseParams(const std::vector<Param>& params, const Json& object, const std::string& place,
                   const std::string& owner, const ParseContext& context);

/// A rectangle or a list of rectangles.
std::vector<UTIL::Rect> parseArea(const Json& json, const std::string& place,
                                  const ParseContext& context);

/// The keys of an object.
std::vector<std::string> keysOf(const Json& object);

/// What was found, in few words.
std::string describe(const Json& json);

/// The path that a file name of the graph file stands for.
std::string resolved(const std::string& filename, const std::filesystem::path& folder);

}
