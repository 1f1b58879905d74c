#pragma once

#include <algorithm>
#include <iterator>
#include <vector>

#include "QUILT/RefPtr.h"

namespace QUILT::Private
{

/// Lets go of references on objects that, when they die, let go of others of their kind in the same
/// way.
///
/// A chain of a hundred thousand of them must not take as many stack frames to go: the first call
/// on a thread works through whatever its objects' ends set free, instead of each waiting for the
/// next one's end.
template <class T, class References>
void releaseInTurn(References& references)
{
    thread_local std::vector<ref_ptr<T>>* s_open = nullptr;
    if (references.empty())
        return;
    if (s_open)
    {
        std::ranges::move(references, std::back_inserter(*s_open));
        references.clear();
        return;
    }
    std::vector<ref_ptr<T>> open(std::move_iterator(references.begin()),
                                 std::move_iterator(references.end()));
    references.clear();
    s_open = &open;
    while (!open.empty())
    {
        const ref_ptr<T> last = std::move(open.back());
        open.pop_back();
    }
    s_open = nullptr;
}

}
