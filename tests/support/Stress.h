#pragma once

#include <chrono>
#include <cstdlib>

namespace QUILT::Test
{

/// How long a stress test goes on: the seconds in QUILT_STRESS_SECONDS, or the given number.
class StressTime
{
public:
    explicit StressTime(double standardSeconds)
    {
        const char* text = std::getenv("QUILT_STRESS_SECONDS");
        const double seconds = text ? std::strtod(text, nullptr) : standardSeconds;
        m_end +=
            std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    }

    bool isLeft() const { return Clock::now() < m_end; }

private:
    using Clock = std::chrono::steady_clock;
    Clock::time_point m_end = Clock::now();
};

}
