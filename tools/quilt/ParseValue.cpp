#include "ParseValue.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <map>

#include "JsonValues.h"
#include "Text.h"

namespace QuiltTool
{

namespace
{

constexpr const char* s_keys = "keys";

std::string rangeText(const Param& param)
{
    if (param.min && param.max)
        return " from " + numberText(*param.min) + " to " + numberText(*param.max);
    if (param.min)
        return " of " + numberText(*param.min) + " or more";
    return "";
}

std::string expectation(const Param& param)
{
    switch (param.type)
    {
    case ParamType::Bool:
        return "true or false";
    case ParamType::Int:
        return "a whole number" + rangeText(param);
    case ParamType::Float:
        return "a number" + rangeText(param);
    case ParamType::String:
        return param.fileUse == FileUse::None ? "a text" : "a file name";
    case ParamType::Color:
        return "a colour: four numbers, or one for all four";
    case ParamType::Vec2:
        return "two numbers";
    case ParamType::Rect:
        return "a rectangle [x0, y0, x1, y1] of whole numbers";
    case ParamType::Region:
        return "a list of rectangles [x0, y0, x1, y1]";
    case ParamType::Mask:
        return "a channel mask: letters out of \"rgba\", or a number from 0 to 15";
    case ParamType::Enum:
        return "a name or a number";
    case ParamType::Matrix:
        return std::to_string(param.count) + " numbers, row by row";
    case ParamType::Curve:
        return "points [[x, y], ...] by growing x, or the same numbers in a row";
    case ParamType::List:
        return "a list" + (param.count ? " of " + std::to_string(param.count) : "");
    case ParamType::Object:
        return "an object";
    }
    return "";
}

// A value that goes on in place of a wrong one.
Value neutral(const Param& param)
{
    switch (param.type)
    {
    case ParamType::Bool:
        return {false};
    case ParamType::Int:
    case ParamType::Mask:
    case ParamType::Enum:
        return {int64_t{0}};
    case ParamType::Float:
        return {0.0};
    case ParamType::String:
        return {std::string()};
    case ParamType::Color:
    case ParamType::Vec2:
    case ParamType::Matrix:
        return {std::vector<double>(std::max<size_t>(param.count, 4))};
    case ParamType::Rect:
    case ParamType::Region:
        return {std::vector<UTIL::Rect>(1)};
    case ParamType::Curve:
        return {Curve()};
    case ParamType::List:
        return {std::vector<Value>()};
    case ParamType::Object:
        return {std::make_shared<Values>()};
    }
    return {};
}

bool isNumeric(ParamType type)
{
    switch (type)
    {
    case ParamType::Int:
    case ParamType::Float:
    case ParamType::Color:
    case ParamType::Vec2:
    case ParamType::Rect:
    case ParamType::Region:
    case ParamType::Matrix:
    case ParamType::Curve:
        return true;
    default:
        return false;
    }
}

// Reads one parameter's value.
class ValueParser
{
public:
    ValueParser(const Param& param, std::string place, const ParseContext& context)
        : m_param(param), m_place(std::move(place)), m_context(context)
    {}

    Value parse(const Json& json) const
    {
        if (json.is_null() && m_param.fallback && m_param.fallback->is_null())
            return computedDefault();
        if (json.is_object() && json.contains(s_keys) && m_param.type != ParamType::Object)
            return parseAnimated(json);
        return parsePlain(json);
    }

private:
    Value computedDefault() const
    {
        if (!m_param.isFormat)
            return {};
        if (m_context.format)
            return {std::vector<UTIL::Rect>{*m_context.format}};
        add("missing; expected a rectangle here, or a \"format\" in the graph file, or a FileIn "
            "node");
        return neutral(m_param);
    }

    Value parsePlain(const Json& json) const
    {
        switch (m_param.type)
        {
        case ParamType::Bool:
            return json.is_boolean() ? Value{json.get<bool>()} : refuse(json);
        case ParamType::Int:
            return withinRange(json, wholeNumber(json));
        case ParamType::Float:
            return withinRange(json, floatNumber(json));
        case ParamType::String:
            return json.is_string() ? parseText(json.get_ref<const std::string&>()) : refuse(json);
        case ParamType::Color:
            return parseColor(json);
        case ParamType::Vec2:
            return parseNumbers(json, 2);
        case ParamType::Matrix:
            return parseNumbers(json, m_param.count);
        case ParamType::Rect:
            if (const auto rect = rectangle(json))
                return {std::vector<UTIL::Rect>{*rect}};
            return refuse(json);
        case ParamType::Region:
            if (const auto rects = rectangles(json))
                return {*rects};
            return refuse(json);
        case ParamType::Mask:
            if (const auto mask = channelMask(json))
                return {*mask};
            return refuse(json);
        case ParamType::Enum:
            return parseEnum(json);
        case ParamType::Curve:
            if (const auto curve = curveOf(json))
                return {*curve};
            return refuse(json);
        case ParamType::List:
            return parseList(json);
        case ParamType::Object:
            if (!json.is_object())
                return refuse(json);
            return {std::make_shared<Values>(parseParams(
                m_param.params, json, m_place,
                m_param.name.empty() ? "an entry of this list" : m_param.name, m_context))};
        }
        return {};
    }

    template <class Number>
    Value withinRange(const Json& json, const std::optional<Number>& number) const
    {
        if (!number)
            return refuse(json);
        const auto value = static_cast<double>(*number);
        if ((m_param.min && value < *m_param.min) || (m_param.max && value > *m_param.max))
            return refuse(json);
        return {*number};
    }

    Value parseText(const std::string& text) const
    {
        const std::string withNumber = withFrame(text, m_context.frame);
        if (m_param.fileUse == FileUse::None || withNumber.empty())
            return {withNumber};
        return {resolved(withNumber, m_context.folder)};
    }

    Value parseColor(const Json& json) const
    {
        if (const auto all = floatNumber(json))
            return {std::vector<double>(4, *all)};
        return parseNumbers(json, 4);
    }

    Value parseNumbers(const Json& json, size_t count) const
    {
        const auto numbers = floatNumbers(json);
        if (!numbers || numbers->size() != count)
            return refuse(json);
        return {*numbers};
    }

    Value parseEnum(const Json& json) const
    {
        std::vector<std::string> names;
        for (const auto& [name, number] : m_param.choices)
        {
            if (json == name || wholeNumber(json) == number)
                return {number};
            names.push_back(name);
        }
        const std::string found = describe(json);
        if (json.is_string())
            add("found " + found + suggestion(json.get_ref<const std::string&>(), names));
        else
            add("found " + found + ", expected one of \"" + joined(names, "\", \"") + '"');
        return neutral(m_param);
    }

    Value parseList(const Json& json) const
    {
        if (!json.is_array() || (m_param.count > 0 && json.size() != m_param.count))
            return refuse(json);
        std::vector<Value> list;
        for (size_t i = 0; i < json.size(); ++i)
            list.push_back(
                parseValue(m_param.element.front(), json[i], below(m_place, i), m_context));
        return {list};
    }

    // Frames and values, in the order of frames.
    std::map<int64_t, Value> parseKeys(const Json& keys, const std::string& place) const
    {
        std::map<int64_t, Value> values;
        for (const auto& [frameText, json] : keys.items())
        {
            int64_t frame = 0;
            const char* const end = frameText.data() + frameText.size();
            const auto [stop, error] = std::from_chars(frameText.data(), end, frame);
            const std::string keyPlace = below(place, frameText);
            if (error != std::errc() || stop != end)
                m_context.problems->add(keyPlace, "found " + inQuotes(frameText) +
                                                      ", expected a frame number");
            else
                values[frame] = ValueParser(m_param, keyPlace, m_context).parsePlain(json);
        }
        return values;
    }

    Value parseAnimated(const Json& json) const
    {
        if (!isNumeric(m_param.type))
        {
            add("cannot be animated; expected " + expectation(m_param));
            return neutral(m_param);
        }
        for (const auto& [key, value] : json.items())
            if (key != s_keys)
                m_context.problems->add(below(m_place, key),
                                        "no such key of an animation" + suggestion(key, {s_keys}));
        const Json& keys = json[s_keys];
        const size_t problems = m_context.problems->size();
        if (!keys.is_object() || keys.empty())
        {
            m_context.problems->add(below(m_place, s_keys),
                                    "found " + describe(keys) +
                                        ", expected values by frame: { \"1\": ..., \"24\": ... }");
            return neutral(m_param);
        }
        const std::map<int64_t, Value> values = parseKeys(keys, below(m_place, s_keys));
        if (m_context.problems->size() > problems)
            return neutral(m_param);
        for (const auto& [frame, value] : values)
            if (!canInterpolate(values.begin()->second, value))
            {
                m_context.problems->add(below(below(m_place, s_keys), std::to_string(frame)),
                                        "found another number of numbers than in the first key");
                return neutral(m_param);
            }
        return at(values, m_context.frame);
    }

    static Value at(const std::map<int64_t, Value>& values, int64_t frame)
    {
        const auto after = values.lower_bound(frame);
        if (after == values.end())
            return values.rbegin()->second;
        if (after == values.begin() || after->first == frame)
            return after->second;
        const auto before = std::prev(after);
        const double t = (static_cast<double>(frame) - static_cast<double>(before->first)) /
                         (static_cast<double>(after->first) - static_cast<double>(before->first));
        return interpolated(before->second, after->second, t);
    }

    Value refuse(const Json& json) const
    {
        add("found " + describe(json) + ", expected " + expectation(m_param));
        return neutral(m_param);
    }

    void add(const std::string& text) const { m_context.problems->add(m_place, text); }

    const Param& m_param;
    const std::string m_place;
    const ParseContext& m_context;
};

}

Value parseValue(const Param& param, const Json& json, const std::string& place,
                 const ParseContext& context)
{
    return ValueParser(param, place, context).parse(json);
}

Values parseParams(const std::vector<Param>& params, const Json& object, const std::string& place,
                   const std::string& owner, const ParseContext& context)
{
    Values values;
    std::vector<std::string> names;
    std::ranges::transform(params, std::back_inserter(names), &Param::name);
    const std::vector<std::string> keys = keysOf(object);
    for (const std::string& key : keys)
        if (std::ranges::find(names, key) == names.end())
            context.problems->add(below(place, key),
                                  "no such parameter of " + owner + suggestion(key, names));
    for (const Param& param : params)
    {
        const std::string paramPlace = below(place, param.name);
        const auto given = object.find(param.name);
        if (given != object.end())
            values.set(param.name, parseValue(param, *given, paramPlace, context));
        else if (param.fallback)
            values.set(param.name, parseValue(param, *param.fallback, paramPlace, context));
        else
        {
            if (!isMisspelt(param.name, keys, names))
                context.problems->add(paramPlace, "missing; expected " + expectation(param));
            values.set(param.name, neutral(param));
        }
    }
    return values;
}

std::vector<UTIL::Rect> parseArea(const Json& json, const std::string& place,
                                  const ParseContext& context)
{
    if (const auto rect = rectangle(json))
        return {*rect};
    if (const auto rects = rectangles(json))
        return *rects;
    context.problems->add(place, "found " + describe(json) +
                                     ", expected a rectangle [x0, y0, x1, y1] or a list of them");
    return {};
}

std::vector<std::string> keysOf(const Json& object)
{
    std::vector<std::string> keys;
    for (const auto& [key, value] : object.items())
        keys.push_back(key);
    return keys;
}

std::string describe(const Json& json)
{
    constexpr size_t most = 60;
    if (json.is_object())
        return "an object";
    std::string text = json.dump(-1, ' ', false, Json::error_handler_t::replace);
    if (text.size() <= most)
        return text;
    if (json.is_array())
        return "a list of " + std::to_string(json.size());
    size_t end = most;
    while ((static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) // inside of a character
        --end;
    return text.substr(0, end) + "...";
}

std::string resolved(const std::string& filename, const std::filesystem::path& folder)
{
    const std::filesystem::path path(filename);
    return path.is_absolute() || folder.empty() ? filename : (folder / path).string();
}

}
