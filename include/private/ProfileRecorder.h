#pragma once

#include <chrono>
#include <functional>
#include <iosfwd>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

namespace QUILT::Private
{

/// What the timings of one name come to, in milliseconds.
struct ProfileTotals
{
    unsigned long count = 0;
    double total = 0.0;
    float least = 0.0f; ///< 0 without timings, like the next one
    float greatest = 0.0f;
};

/// Named timings of the steps of a render, summed by name as they come, so that its size depends on
/// the number of names and not on how long the process runs.
///
/// Every operation is safe from any thread.
class ProfileRecorder
{
public:
    ProfileRecorder() = default;
    ProfileRecorder(const ProfileRecorder&) = delete;
    ProfileRecorder& operator=(const ProfileRecorder&) = delete;

    /// Prints to standard output when m_printAtDestruction is set.
    ~ProfileRecorder();

    void record(std::string_view name, float milliseconds);
    void clear();

    /// The sum in milliseconds and the number of the timings with exactly this name; both 0 when
    /// there are none.
    void sumByName(float* total, unsigned long* count, const std::string& name);
    ProfileTotals totalsOf(const std::string& name);

    /// One line a name, from the largest sum to the smallest, equal sums by name; nothing without
    /// timings. The text is the same whatever the stream's locale and flags.
    std::ostream& print(std::ostream& stream);

    bool m_printAtDestruction = false;

private:
    std::recursive_mutex m_mutex; // a leaf lock, recursive because print writes to any stream
    std::map<std::string, ProfileTotals, std::less<>> m_records; // guarded by m_mutex
};

/// Records the time from its construction to its destruction, in whole milliseconds rounded down.
class ProfileTimer
{
public:
    /// Neither the characters of `name` nor the recorder are copied: both outlive the timer.
    ProfileTimer(std::string_view name, ProfileRecorder* recorder)
        : m_name(name), m_recorder(recorder), m_start(std::chrono::steady_clock::now())
    {}
    ~ProfileTimer();
    ProfileTimer(const ProfileTimer&) = delete;
    ProfileTimer& operator=(const ProfileTimer&) = delete;

private:
    const std::string_view m_name;
    ProfileRecorder* const m_recorder;
    const std::chrono::steady_clock::time_point m_start;
};

/// A size for people, in the largest of B, KB, MB, GB and TB (powers of 1024) that gives at least
/// 1: "3 MB". With a `precision` of 0 the quotient is rounded down, above that it has that many
/// decimals. The same in every locale.
std::string formatByteSize(unsigned long bytes, int precision);

/// A duration for people: "12.50 us", "12.50 ms", "12.50 s", and from one minute on "2 min" or
/// "2 min 5 s". The same in every locale.
std::string formatMilliseconds(double milliseconds);

}
