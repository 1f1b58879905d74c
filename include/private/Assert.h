#pragma once

#include <cstddef>

#include "UTIL/Exceptions.h"

namespace QUILT::Private
{

/// A source file's path from the folder "src" on, without its extension, made at compile time: it
/// is the same wherever the sources lie and however the compiler was called.
template <std::size_t N>
struct SourcePath
{
    char text[N] = {};

    consteval SourcePath(const char (&file)[N])
    {
        std::size_t begin = 0;
        std::size_t end = N - 1;
        for (std::size_t i = 0; i < N - 1; ++i)
        {
            const bool startsFolder = i == 0 || file[i - 1] == '/';
            if (startsFolder && i + 4 < N && file[i] == 's' && file[i + 1] == 'r' &&
                file[i + 2] == 'c' && file[i + 3] == '/')
                begin = i;
            if (file[i] == '/')
                end = N - 1;
            else if (file[i] == '.')
                end = i;
        }
        for (std::size_t i = begin; i < end; ++i)
            text[i - begin] = file[i];
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
