#pragma once

#include <cstdio>
#include <exception>

#include "QUILT/RenderObserver.h"

namespace QUILT::Private
{

/// Calls an observer, if there is one. What it throws ends here, in a line on standard error: a
/// caller's mistake must not end a thread of the pool or a render.
template <class Call>
void notify(RenderObserver* observer, Call&& call) noexcept
{
    if (!observer)
        return;
    try
    {
        call(*observer);
    }
    catch (const std::exception& error)
    {
        std::fprintf(stderr, "QUILT: a render observer has thrown: %s\n", error.what());
    }
    catch (...)
    {
        std::fprintf(stderr, "QUILT: a render observer has thrown an unknown exception\n");
    }
}

}
