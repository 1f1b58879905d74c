#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

namespace QuiltTool
{

using Json = nlohmann::json;

enum class ParamType
{
    Bool,
    Int,
    Float,
    String,
    Color,
    Vec2,
    Rect,
    Region,
    Mask,
    Enum,
    Matrix,
    Curve,
    List,
    Object
};

const char* typeName(ParamType type); ///< as `quilt ops` prints it

/// What a file name stands for.
enum class FileUse
{
    None,
    Read,
    Write,
    Other ///< a file of the graph's, but no picture
};

/// One parameter of an operation: what may stand in a graph file under its name.
///
/// Made by the functions below and completed by the members that return the parameter itself:
///
///     number("mix", "how much of the second image").defaultsTo(0.5).between(0, 1)
///
/// A parameter without a default is required.
struct Param
{
    std::string name;
    ParamType type = ParamType::Float;
    std::string sentence;

    /// In the form of a graph file. Null: worked out from other things, as the sentence tells.
    std::optional<Json> fallback;
    std::optional<double> min, max;
    std::vector<std::pair<std::string, int64_t>> choices; ///< of an enumeration: names and numbers
    size_t count = 0;                                     ///< of a matrix or list, when it is fixed
    std::vector<Param> params;                            ///< the fields of an object
    std::vector<Param> element;                           ///< of a list: what each entry is
    bool isFormat = false;                                ///< defaults to the graph's format
    FileUse fileUse = FileUse::None;

    Param& defaultsTo(Json value);
    Param& isComputed();       ///< a default that the operation works out
    Param& defaultsToFormat(); ///< that of the graph
    Param& atLeast(double least);
    Param& between(double least, double most);
    Param& ofCount(size_t entries);
    Param& named(FileUse use); ///< a file name; a relative one starts at the graph file's folder

    bool isRequired() const { return !fallback; }
};

Param flag(std::string name, std::string sentence);
Param integer(std::string name, std::string sentence);
Param number(std::string name, std::string sentence);
Param text(std::string name, std::string sentence);
Param color(std::string name, std::string sentence);
Param vec2(std::string name, std::string sentence);
Param rect(std::string name, std::string sentence);
Param region(std::string name, std::string sentence);
Param mask(std::string name, std::string sentence); ///< of channels
Param choice(std::string name, std::string sentence,
             std::vector<std::pair<std::string, int64_t>> choices);
Param matrix(std::string name, std::string sentence, size_t numbers);
Param curve(std::string name, std::string sentence);
Param list(std::string name, std::string sentence, Param element);
Param object(std::string name, std::string sentence, std::vector<Param> params);

/// An entry of a list of objects; it has no name of its own.
Param entry(std::vector<Param> params);

}
