#pragma once

#include <cstdint>
#include <type_traits>

#include <ImathColor.h>
#include <ImathVec.h>

#include "QUILT/CacheIDStream.h"
#include "UTIL/Rect.h"

/// How parameters are written into a task's identity.
namespace QUILT::Private
{

/// `count` floats as "<count> [ <value> <value> ]" and a line end.
inline void writeFloats(CacheIDStream& stream, const float* values, std::size_t count)
{
    stream << count << " [ ";
    for (std::size_t i = 0; i < count; ++i)
        stream << values[i] << ' ';
    stream << "]\n";
}

/// Numbers, bools, enumerators and texts as "<value>,". A byte does not compile: it would print as
/// a letter.
template <class Number>
requires(std::is_arithmetic_v<Number> ||
         std::is_enum_v<Number>) void writeItem(CacheIDStream& stream, Number value)
{
    static_assert(sizeof(Number) > 1 || std::is_same_v<Number, bool>, "a byte prints as a letter");
    if constexpr (std::is_enum_v<Number>)
        stream << static_cast<int64_t>(value) << ',';
    else
        stream << value << ',';
}

inline void writeItem(CacheIDStream& stream, const std::string& text)
{
    stream << text << ',';
}

inline void writeItem(CacheIDStream& stream, const UTIL::Rect& rect)
{
    stream << rect << ',';
}

inline void writeItem(CacheIDStream& stream, const Imath::Color4<float>& color)
{
    const float values[] = {color.r, color.g, color.b, color.a};
    writeFloats(stream, values, 4);
}

inline void writeItem(CacheIDStream& stream, const Imath::Vec2<float>& vector)
{
    writeFloats(stream, vector.getValue(), 2);
}

/// Every parameter in its form, in the order given.
template <class... Items>
void writeItems(CacheIDStream& stream, const Items&... items)
{
    (writeItem(stream, items), ...);
}

/// The components of colours and vectors, each as an item of its own.
template <class... Vectors>
void writeComponents(CacheIDStream& stream, const Vectors&... vectors)
{
    const auto write = [&](const auto& vector) {
        for (unsigned int i = 0; i < vector.dimensions(); ++i)
            writeItem(stream, vector[static_cast<int>(i)]);
    };
    (write(vectors), ...);
}

}
