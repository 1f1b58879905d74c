#include "Param.h"

namespace QuiltTool
{

namespace
{

Param param(ParamType type, std::string name, std::string sentence)
{
    Param made;
    made.name = std::move(name);
    made.type = type;
    made.sentence = std::move(sentence);
    return made;
}

}

const char* typeName(ParamType type)
{
    switch (type)
    {
    case ParamType::Bool:
        return "bool";
    case ParamType::Int:
        return "int";
    case ParamType::Float:
        return "float";
    case ParamType::String:
        return "string";
    case ParamType::Color:
        return "color";
    case ParamType::Vec2:
        return "vec2";
    case ParamType::Rect:
        return "rect";
    case ParamType::Region:
        return "region";
    case ParamType::Mask:
        return "mask";
    case ParamType::Enum:
        return "enum";
    case ParamType::Matrix:
        return "matrix";
    case ParamType::Curve:
        return "curve";
    case ParamType::List:
        return "list";
    case ParamType::Object:
        return "object";
    }
    return "";
}

Param& Param::defaultsTo(Json value)
{
    fallback = std::move(value);
    return *this;
}

Param& Param::isComputed()
{
    fallback = Json();
    return *this;
}

Param& Param::defaultsToFormat()
{
    isFormat = true;
    return isComputed();
}

Param& Param::atLeast(double least)
{
    min = least;
    return *this;
}

Param& Param::between(double least, double most)
{
    min = least;
    max = most;
    return *this;
}

Param& Param::ofCount(size_t entries)
{
    count = entries;
    return *this;
}

Param& Param::named(FileUse use)
{
    fileUse = use;
    return *this;
}

Param flag(std::string name, std::string sentence)
{
    return param(ParamType::Bool, std::move(name), std::move(sentence));
}

Param integer(std::string name, std::string sentence)
{
    return param(ParamType::Int, std::move(name), std::move(sentence));
}

Param number(std::string name, std::string sentence)
{
    return param(ParamType::Float, std::move(name), std::move(sentence));
}

Param text(std::string name, std::string sentence)
{
    return param(ParamType::String, std::move(name), std::move(sentence));
}

Param color(std::string name, std::string sentence)
{
    return param(ParamType::Color, std::move(name), std::move(sentence));
}

Param vec2(std::string name, std::string sentence)
{
    return param(ParamType::Vec2, std::move(name), std::move(sentence));
}

Param rect(std::string name, std::string sentence)
{
    return param(ParamType::Rect, std::move(name), std::move(sentence));
}

Param region(std::string name, std::string sentence)
{
    return param(ParamType::Region, std::move(name), std::move(sentence));
}

Param mask(std::string name, std::string sentence)
{
    return param(ParamType::Mask, std::move(name), std::move(sentence));
}

Param choice(std::string name, std::string sentence,
             std::vector<std::pair<std::string, int64_t>> choices)
{
    Param made = param(ParamType::Enum, std::move(name), std::move(sentence));
    made.choices = std::move(choices);
    return made;
}

Param matrix(std::string name, std::string sentence, size_t numbers)
{
    return param(ParamType::Matrix, std::move(name), std::move(sentence)).ofCount(numbers);
}

Param curve(std::string name, std::string sentence)
{
    return param(ParamType::Curve, std::move(name), std::move(sentence));
}

Param list(std::string name, std::string sentence, Param element)
{
    Param made = param(ParamType::List, std::move(name), std::move(sentence));
    made.element.push_back(std::move(element));
    return made;
}

Param object(std::string name, std::string sentence, std::vector<Param> params)
{
    Param made = param(ParamType::Object, std::move(name), std::move(sentence));
    made.params = std::move(params);
    // Each field has its own default, or is required.
    made.fallback = Json::object();
    return made;
}

Param entry(std::vector<Param> params)
{
    return object("", "", std::move(params));
}

}
