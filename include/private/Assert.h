#pragma once

#include <cstddef>

#include "UTIL/Exceptions.h"

namespace QUILT::Private
{

/// A source file's path without its extension, made at compile time. The compiler is told to give
/// __FILE__ relative to the root of the sources, so the path begins with "src/".
template <std::size_t N>
struct SourcePath
{
    char text[N] = {};

    consteval SourcePath(const char (&file)[N])
    {
        std::size_t end = N - 1;
        for (std::size_t i = 0; i < N - 1; ++i)
        {
            if (file[i] == '/')
                end = N - 1;
            else if (file[i] == '.')
                end = i;
        }
        for (std::size_t i = 0; i < end; ++i)
            text[i] = file[i];
    }
};

}

/// The path of this source file as failures name it, such as "src/renderSystem/core/Tile".
#define QUILT_SOURCE_PATH                                                                          \
    ([]() -> const char* {                                                                         \
        static constexpr ::QUILT::Private::SourcePath path(__FILE__);                              \
        return path.text;                                                                          \
    }())

/// Fails with UTIL::AssertException and the given text when the condition is false.
#define QUILT_ASSERT_TEXT(condition, text)                                                         \
    (static_cast<bool>(condition)                                                                  \
         ? static_cast<void>(0)                                                                    \
         : throw ::UTIL::AssertException(text, QUILT_SOURCE_PATH, __LINE__))

/// Fails with UTIL::AssertException and the condition as written when it is false.
#define QUILT_ASSERT(condition) QUILT_ASSERT_TEXT(condition, #condition)
