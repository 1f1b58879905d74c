#include "JsonValues.h"

#include <cmath>
#include <limits>
#include <string_view>

namespace QuiltTool
{

std::optional<int64_t> wholeNumber(const Json& json)
{
    if (json.is_number_unsigned())
    {
        const auto number = json.get<uint64_t>();
        if (number > static_cast<uint64_t>(std::numeric_limits<int64_t>::max()))
            return std::nullopt;
        return static_cast<int64_t>(number);
    }
    if (json.is_number_integer())
        return json.get<int64_t>();
    constexpr double limit = 9007199254740992.0; // above it a double says nothing about units
    if (json.is_number_float())
        if (const auto number = json.get<double>();
            number == std::floor(number) && std::abs(number) <= limit)
            return static_cast<int64_t>(number);
    return std::nullopt;
}

std::optional<double> floatNumber(const Json& json)
{
    if (!json.is_number())
        return std::nullopt;
    const auto number = json.get<double>();
    if (std::abs(number) > std::numeric_limits<float>::max())
        return std::nullopt;
    return number;
}

std::optional<std::vector<double>> floatNumbers(const Json& json)
{
    if (!json.is_array())
        return std::nullopt;
    std::vector<double> numbers;
    for (const Json& entry : json)
    {
        const std::optional<double> number = floatNumber(entry);
        if (!number)
            return std::nullopt;
        numbers.push_back(*number);
    }
    return numbers;
}

std::optional<UTIL::Rect> rectangle(const Json& json)
{
    if (!json.is_array() || json.size() != 4)
        return std::nullopt;
    int64_t sides[4];
    for (size_t i = 0; i < 4; ++i)
    {
        const std::optional<int64_t> side = wholeNumber(json[i]);
        if (!side)
            return std::nullopt;
        sides[i] = *side;
    }
    return UTIL::Rect(sides[0], sides[1], sides[2], sides[3]);
}

std::optional<std::vector<UTIL::Rect>> rectangles(const Json& json)
{
    if (!json.is_array())
        return std::nullopt;
    std::vector<UTIL::Rect> all;
    for (const Json& entry : json)
    {
        const std::optional<UTIL::Rect> rect = rectangle(entry);
        if (!rect)
            return std::nullopt;
        all.push_back(*rect);
    }
    return all;
}

std::optional<int64_t> channelMask(const Json& json)
{
    if (!json.is_string())
    {
        const std::optional<int64_t> number = wholeNumber(json);
        return number && *number >= 0 && *number <= 15 ? number : std::nullopt;
    }
    constexpr std::string_view letters = "rgba";
    int64_t mask = 0;
    for (const char letter : json.get_ref<const std::string&>())
    {
        const size_t channel = letters.find(letter);
        if (channel == std::string_view::npos)
            return std::nullopt;
        mask |= int64_t{1} << channel;
    }
    return mask;
}

namespace
{

// Whichever of the two forms there is.
std::optional<std::vector<double>> pointsOf(const Json& json)
{
    if (auto numbers = floatNumbers(json))
        return numbers->size() % 2 == 0 ? numbers : std::nullopt;
    std::vector<double> points;
    if (!json.is_array())
        return std::nullopt;
    for (const Json& entry : json)
    {
        const auto point = floatNumbers(entry);
        if (!point || point->size() != 2)
            return std::nullopt;
        points.insert(points.end(), point->begin(), point->end());
    }
    return points;
}

}

std::optional<Curve> curveOf(const Json& json)
{
    const auto points = pointsOf(json);
    if (!points)
        return std::nullopt;
    for (size_t i = 2; i < points->size(); i += 2)
    {
        if ((*points)[i] < (*points)[i - 2])
            return std::nullopt;
    }
    return Curve{std::vector<float>(points->begin(), points->end())};
}

}
