#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

namespace QuiltTool
{

/// A value of its own for each thread, so that threads which note something all the time do not
/// wait for one another. Safe from any thread.
template <class T>
class PerThread
{
public:
    /// Calls with the calling thread's value, which is made when the thread asks first.
    template <class Call>
    void withOwn(Call&& call)
    {
        Slot& slot = own();
        const std::lock_guard lock(slot.mutex);
        call(slot.value);
    }

    /// Calls with the value of each thread, one after the other.
    template <class Call>
    void forEach(Call&& call)
    {
        const std::lock_guard lock(m_mutex);
        for (auto& [thread, slot] : m_slots)
        {
            const std::lock_guard slotLock(slot.mutex);
            call(slot.value);
        }
    }

private:
    struct Slot
    {
        std::mutex mutex; // guards value; its thread finds it free but for the moment of a forEach
        T value{};
    };

    Slot& own()
    {
        thread_local std::pair<uint64_t, Slot*> t_last; // that the thread has used, and of which
        if (!t_last.second || t_last.first != m_number)
        {
            const std::lock_guard lock(m_mutex);
            t_last = {m_number, &m_slots[std::this_thread::get_id()]};
        }
        return *t_last.second;
    }

    static inline std::atomic<uint64_t> s_count{0};

    const uint64_t m_number = ++s_count; // no other object ever has it
    std::mutex m_mutex;                  // guards the map; taken before that of a slot
    std::map<std::thread::id, Slot> m_slots;
};

}
