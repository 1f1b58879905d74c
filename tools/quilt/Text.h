#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace QuiltTool
{

/// The number of letters to insert, drop, change or swap with their neighbour, whatever their case.
size_t editDistance(std::string_view a, std::string_view b);

/// The name that was probably meant; empty when none is near.
std::string nearestName(std::string_view wrong, const std::vector<std::string>& names);

/// `; did you mean "x"?`, or `; expected one of "a", "b"` when no name is near and they are few.
std::string suggestion(std::string_view wrong, const std::vector<std::string>& names);

/// True when a key that is none of `names` was probably meant to be `name`.
bool isMisspelt(const std::string& name, const std::vector<std::string>& keys,
                const std::vector<std::string>& names);

std::string inQuotes(std::string_view text);
std::string joined(const std::vector<std::string>& texts, std::string_view separator);

/// Without white space at the end, which some messages of libraries have.
std::string trimmed(std::string text);

/// `$F` becomes the frame number, `$F4` the same with zeros in front up to 4 digits.
std::string withFrame(const std::string& text, int64_t frame);

/// The shortest text that gives the number back.
std::string numberText(double number);
std::string numberText(float number);

/// A JSON pointer, one step further (RFC 6901).
std::string below(const std::string& place, std::string_view step);
std::string below(const std::string& place, size_t index);

}
