#include "Text.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>

namespace QuiltTool
{

namespace
{

char lower(char letter)
{
    return static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
}

bool isDigit(char letter)
{
    return letter >= '0' && letter <= '9';
}

template <class Number>
std::string shortest(Number number)
{
    std::array<char, 32> text{};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), number).ptr;
    return {text.data(), end};
}

std::string padded(int64_t number, size_t digits)
{
    const std::string text = std::to_string(number);
    const size_t sign = number < 0 ? 1 : 0;
    const size_t missing = digits > text.size() - sign ? digits - (text.size() - sign) : 0;
    return text.substr(0, sign) + std::string(missing, '0') + text.substr(sign);
}

}

size_t editDistance(std::string_view a, std::string_view b)
{
    // Rows of the table of distances between all beginnings; a swap looks two rows back.
    std::vector<size_t> beforeLast(b.size() + 1), last(b.size() + 1), row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j)
        row[j] = j;
    for (size_t i = 1; i <= a.size(); ++i)
    {
        beforeLast.swap(last);
        last.swap(row);
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j)
        {
            const bool same = lower(a[i - 1]) == lower(b[j - 1]);
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (same ? 0 : 1)});
            if (i > 1 && j > 1 && lower(a[i - 1]) == lower(b[j - 2]) &&
                lower(a[i - 2]) == lower(b[j - 1]))
                row[j] = std::min(row[j], beforeLast[j - 2] + 1);
        }
    }
    return row[b.size()];
}

std::string nearestName(std::string_view wrong, const std::vector<std::string>& names)
{
    std::string nearest;
    size_t least = std::max<size_t>(2, wrong.size() / 3) + 1;
    for (const std::string& name : names)
        // A distance of a whole name says nothing about it.
        if (const size_t distance = editDistance(wrong, name);
            distance < least && distance < std::max(name.size(), wrong.size()))
        {
            least = distance;
            nearest = name;
        }
    // An abbreviation is far from its name.
    if (nearest.empty() && wrong.size() > 1)
        for (const std::string& name : names)
            if (name.starts_with(wrong))
                return name;
    return nearest;
}

std::string suggestion(std::string_view wrong, const std::vector<std::string>& names)
{
    constexpr size_t few = 12;
    if (const std::string nearest = nearestName(wrong, names); !nearest.empty())
        return "; did you mean " + inQuotes(nearest) + "?";
    if (names.empty() || names.size() > few)
        return "";
    std::vector<std::string> all;
    std::ranges::transform(names, std::back_inserter(all),
                           [](auto& name) { return inQuotes(name); });
    return (all.size() == 1 ? "; expected " : "; expected one of ") + joined(all, ", ");
}

bool isMisspelt(const std::string& name, const std::vector<std::string>& keys,
                const std::vector<std::string>& names)
{
    return std::ranges::any_of(keys, [&](const std::string& key) {
        return std::ranges::find(names, key) == names.end() && nearestName(key, names) == name;
    });
}

std::string inQuotes(std::string_view text)
{
    return '"' + std::string(text) + '"';
}

std::string joined(const std::vector<std::string>& texts, std::string_view separator)
{
    std::string all;
    for (const std::string& text : texts)
    {
        if (!all.empty())
            all += separator;
        all += text;
    }
    return all;
}

std::string trimmed(std::string text)
{
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back())))
        text.pop_back();
    return text;
}

std::string withFrame(const std::string& text, int64_t frame)
{
    constexpr size_t mostDigits = 18;
    std::string result;
    for (size_t i = 0; i < text.size(); ++i)
    {
        if (text.compare(i, 2, "$F") != 0)
        {
            result += text[i];
            continue;
        }
        ++i;
        size_t digits = 0;
        while (i + 1 < text.size() && isDigit(text[i + 1]) && digits < mostDigits)
            digits = digits * 10 + static_cast<size_t>(text[++i] - '0');
        result += padded(frame, std::min(digits, mostDigits));
    }
    return result;
}

std::string numberText(double number)
{
    return shortest(number);
}

std::string numberText(float number)
{
    return shortest(number);
}

std::string below(const std::string& place, std::string_view step)
{
    std::string escaped;
    for (const char letter : step)
    {
        if (letter == '~')
            escaped += "~0";
        else if (letter == '/')
            escaped += "~1";
        else
            escaped += letter;
    }
    return place + '/' + escaped;
}

std::string below(const std::string& place, size_t index)
{
    return place + '/' + std::to_string(index);
}

}
