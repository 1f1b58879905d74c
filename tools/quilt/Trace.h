#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

#include <QUILT/RenderObserver.h>

#include "PerThread.h"

namespace QuiltTool
{

/// The tiles of a run along time, as a file in the Chrome trace format: a row for each thread, an
/// event for each tile and one for each wait for a task's preRender.
///
/// An ordinary file is valid JSON whenever one looks, whatever becomes of the process. Of an event
/// no more is kept than its text, and that for some hundred events a thread.
class Trace
{
public:
    /// Makes the file; throws UsageError when it cannot be written.
    explicit Trace(const std::string& file);
    ~Trace(); ///< without close: as that, and errors are passed over
    Trace(const Trace&) = delete;
    Trace& operator=(const Trace&) = delete;

    /// On the thread that the tile was on. Threads do not wait for one another here, except for one
    /// that writes.
    void add(const QUILT::TileReport& report, int64_t frame);

    void flush(); ///< writes what the threads have kept
    void close(); ///< flushes, and throws Failed when something could not be written

private:
    using Time = std::chrono::steady_clock::time_point;

    struct Row
    {
        size_t number = 0; // from 1; 0 before the first event
        std::string events;
    };

    std::string beginning(const std::string& name, const std::string& category,
                          const QUILT::TimeSpan& span, size_t row) const;
    void write(std::string& events);
    bool writeAll(std::string_view text, size_t offset);
    void end();

    const std::string m_file;
    const Time m_start = std::chrono::steady_clock::now();
    std::atomic<size_t> m_rows{0};
    PerThread<Row> m_events;

    std::mutex m_mutex; // guards the rest; taken after that of a row
    int m_descriptor = -1;
    bool m_seekable = false; // an ordinary file
    size_t m_size = 0;       // of what is before the file's last characters
    int m_error = 0;         // errno of the first write that failed
};

}
