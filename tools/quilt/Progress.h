#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace QuiltTool
{

/// A line on standard error that tells how far the work is, and lines above it. Safe from any
/// thread.
class Progress
{
public:
    /// `shown` false: prints lines and no bar.
    Progress(bool shown, size_t frames);
    ~Progress(); ///< takes the bar away

    /// What the bar says while no tiles are rendered, such as "reading headers".
    void setStep(const std::string& text, size_t done, size_t all);

    /// The frame's place among those to render, from 0, and its tiles.
    void setTiles(size_t frame, size_t done, size_t all);

    /// A line of its own, with the bar below it.
    void print(const std::string& line);

private:
    void draw();
    void erase();

    const bool m_shown;
    const size_t m_frames;
    const std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();

    std::mutex m_mutex; // a leaf lock: guards the bar and standard error
    std::string m_bar;  // as it stands on the terminal
    std::string m_text;
};

/// Calls a function every 50 ms on a thread of its own, from construction to destruction.
class Ticker
{
public:
    explicit Ticker(std::function<void()> tick);
    ~Ticker();
    Ticker(const Ticker&) = delete;
    Ticker& operator=(const Ticker&) = delete;

private:
    void run();

    const std::function<void()> m_tick;
    std::mutex m_mutex; // a leaf lock: guards m_ended
    std::condition_variable m_changed;
    bool m_ended = false;
    std::thread m_thread; // last: it uses all of the above
};

}
