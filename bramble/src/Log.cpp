#include "Bramble3/Log.h"

#include <cstdio>
#include <memory>
#include <mutex>
#include <utility>

namespace Bramble3::internal::BzLogging
{

namespace
{

struct SinkHolder
{
    std::mutex mutex; // a leaf lock: guards sink, and is not held while it is called
    std::shared_ptr<const Sink> sink;
};

SinkHolder& holder()
{
    // Never destroyed: threads that outlive the end of main may still log.
    static SinkHolder* const holder = new SinkHolder;
    return *holder;
}

std::shared_ptr<const Sink> currentSink()
{
    const std::lock_guard lock(holder().mutex);
    return holder().sink;
}

}

void setSink(Sink sink)
{
    // Swapped, so that the one before is destroyed outside the lock.
    std::shared_ptr<const Sink> other = sink ? std::make_shared<Sink>(std::move(sink)) : nullptr;
    const std::lock_guard lock(holder().mutex);
    holder().sink.swap(other);
}

BzLog::BzLog(const std::string& name) : m_name(name) {}

void BzLog::log(const std::string& message, int severity) const noexcept
{
    try
    {
        if (const auto sink = currentSink())
        {
            (*sink)(m_name, message, severity);
            return;
        }
        // In one call, so that lines of several threads do not mix.
        const std::string line = m_name + ": " + std::to_string(severity) + ": " + message + "\n";
        std::fwrite(line.data(), 1, line.size(), stderr);
    }
    catch (...)
    {
        // There is nobody left to tell.
    }
}

}
