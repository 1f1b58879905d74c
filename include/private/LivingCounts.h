#pragma once

#include <atomic>
#include <cstddef>

namespace QUILT::Private
{

/// What the process counts while it lives.
enum class Living : std::size_t
{
    Tasks,
    Tiles,
    Images,
    SwapFiles,
    Jobs,
    NumberOfKinds
};

inline std::atomic<long> s_livingCounts[static_cast<std::size_t>(Living::NumberOfKinds)];

/// How many there are at this moment. Safe from any thread.
inline long livingCount(Living kind)
{
    return s_livingCounts[static_cast<std::size_t>(kind)].load(std::memory_order_relaxed);
}

inline void addToLivingCount(Living kind, long difference)
{
    s_livingCounts[static_cast<std::size_t>(kind)].fetch_add(difference, std::memory_order_relaxed);
}

/// A member that makes its owner count, from the owner's construction to its destruction. A copy
/// of the owner counts as well.
template <Living kind>
class Counted
{
public:
    Counted() { addToLivingCount(kind, 1); }
    Counted(const Counted&) : Counted() {}
    Counted& operator=(const Counted&) { return *this; }
    ~Counted() { addToLivingCount(kind, -1); }
};

}
