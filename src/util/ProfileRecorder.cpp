#include "private/ProfileRecorder.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iostream>
#include <utility>
#include <vector>

namespace QUILT::Private
{

namespace
{

// The form of printf's "%.<decimals>f" in the locale "C", whatever the process's locale is.
std::string fixed(double value, int decimals)
{
    std::string text(330 + static_cast<std::size_t>(decimals), '\0');
    const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), value,
                                            std::chars_format::fixed, decimals);
    text.resize(static_cast<std::size_t>(end - text.data()));
    return text;
}

}

ProfileRecorder::~ProfileRecorder()
{
    if (!m_printAtDestruction)
        return;
    try
    {
        print(std::cout);
    }
    catch (...)
    {
        // A report that cannot be written is no reason to end the process.
    }
}

void ProfileRecorder::record(std::string_view name, float milliseconds)
{
    const std::lock_guard lock(m_mutex);
    auto found = m_records.find(name);
    if (found == m_records.end())
        found = m_records.emplace(name, ProfileTotals{0, 0.0, milliseconds, milliseconds}).first;
    ProfileTotals& totals = found->second;
    totals.count += 1;
    totals.total += static_cast<double>(milliseconds);
    totals.least = std::min(totals.least, milliseconds);
    totals.greatest = std::max(totals.greatest, milliseconds);
}

void ProfileRecorder::clear()
{
    const std::lock_guard lock(m_mutex);
    m_records.clear();
}

void ProfileRecorder::sumByName(float* total, unsigned long* count, const std::string& name)
{
    const ProfileTotals totals = totalsOf(name);
    *total = static_cast<float>(totals.total);
    *count = totals.count;
}

ProfileTotals ProfileRecorder::totalsOf(const std::string& name)
{
    const std::lock_guard lock(m_mutex);
    const auto found = m_records.find(name);
    return found == m_records.end() ? ProfileTotals() : found->second;
}

std::ostream& ProfileRecorder::print(std::ostream& stream)
{
    const std::lock_guard lock(m_mutex);
    std::vector<std::pair<std::string, ProfileTotals>> table(m_records.begin(), m_records.end());
    std::stable_sort(table.begin(), table.end(),
                     [](const auto& a, const auto& b) { return a.second.total > b.second.total; });
    for (const auto& [name, totals] : table)
    {
        const double average = totals.total / static_cast<double>(totals.count);
        stream << name + " - accum: " + formatMilliseconds(totals.total) +
                      " count: " + std::to_string(totals.count) +
                      " Average : " + formatMilliseconds(average) + "\n";
    }
    return stream;
}

ProfileTimer::~ProfileTimer()
{
    const std::chrono::nanoseconds elapsed = std::chrono::steady_clock::now() - m_start;
    try
    {
        m_recorder->record(m_name, static_cast<float>(elapsed.count() / 1000000));
    }
    catch (...)
    {
        // Only memory for a new name can be missing; the step itself must not fail for that.
    }
}

std::string formatByteSize(unsigned long bytes, int precision)
{
    static constexpr const char* s_units[] = {" B", " KB", " MB", " GB", " TB"};
    int unit = 0;
    while (unit < 4 && bytes >> (10 * (unit + 1)) > 0)
        ++unit;
    if (precision <= 0)
        return std::to_string(bytes >> (10 * unit)) + s_units[unit];
    return fixed(std::ldexp(static_cast<double>(bytes), -10 * unit), precision) + s_units[unit];
}

std::string formatMilliseconds(double milliseconds)
{
    if (milliseconds >= 60000.0)
    {
        const double seconds = std::floor(milliseconds / 1000.0);
        const double rest = std::fmod(seconds, 60.0);
        const std::string minutes = fixed((seconds - rest) / 60.0, 0) + " min";
        return rest == 0.0 ? minutes : minutes + " " + fixed(rest, 0) + " s";
    }
    if (milliseconds >= 1000.0)
        return fixed(milliseconds / 1000.0, 2) + " s";
    if (milliseconds >= 1.0)
        return fixed(milliseconds, 2) + " ms";
    return fixed(milliseconds * 1000.0, 2) + " us";
}

}
