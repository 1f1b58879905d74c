#pragma once

#include <algorithm>
#include <ctime>
#include <limits>

#include "Graphs.h"

namespace QUILT::Bench
{

inline double now(clockid_t clock)
{
    timespec time;
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

/// The least time that a render has taken, in seconds.
class LeastTime
{
public:
    explicit LeastTime(clockid_t clock) : m_clock(clock) {}

    void measure(const ref_ptr<RenderTask>& graph)
    {
        RenderManager::ClearRenderTaskCache();
        const double start = now(m_clock);
        render(graph);
        m_least = std::min(m_least, now(m_clock) - start);
    }
    double seconds() const { return m_least; }

private:
    const clockid_t m_clock;
    double m_least = std::numeric_limits<double>::infinity();
};

}
