#pragma once

#include <utility>
#include <vector>

#include "QUILT/RenderTask.h"

namespace QUILT::Private
{

/// Makes one task of a list that is not empty, by combine(first, second, number), as a balanced
/// tree: neighbours are combined in passes until one is left. The numbers count the calls from 0.
/// What all calls but the last return is new, and its tiles stay out of the cache.
template <class Combine>
ref_ptr<RenderTask> foldInPairs(std::vector<ref_ptr<RenderTask>> tasks, const Combine& combine)
{
    for (int number = 0; tasks.size() > 1;)
    {
        std::vector<ref_ptr<RenderTask>> combined;
        for (size_t i = 0; i + 1 < tasks.size(); i += 2)
        {
            combined.push_back(combine(tasks[i], tasks[i + 1], number++));
            if (tasks.size() > 2)
                combined.back()->setCaching(false);
        }
        if (tasks.size() % 2 != 0)
            combined.push_back(tasks.back());
        tasks = std::move(combined);
    }
    return tasks.front();
}

}
