#include "Progress.h"

#include <algorithm>
#include <cmath>
#include <iostream>

namespace QuiltTool
{

namespace
{

constexpr std::chrono::milliseconds s_period{50};

std::string barText(double fraction)
{
    constexpr size_t width = 24;
    const auto full = static_cast<size_t>(fraction * width);
    return '[' + std::string(full, '#') + std::string(width - full, '-') + ']';
}

// "0:42", "3:05:09"
std::string durationText(double seconds)
{
    const auto all = static_cast<long>(std::ceil(seconds));
    const auto twoDigits = [](long number) {
        return (number < 10 ? "0" : "") + std::to_string(number);
    };
    const long hours = all / 3600, minutes = all / 60 % 60;
    const std::string front =
        hours > 0 ? std::to_string(hours) + ':' + twoDigits(minutes) : std::to_string(minutes);
    return front + ':' + twoDigits(all % 60);
}

}

Progress::Progress(bool shown, size_t frames) : m_shown(shown), m_frames(frames) {}

Progress::~Progress()
{
    const std::lock_guard lock(m_mutex);
    erase();
}

void Progress::setStep(const std::string& text, size_t done, size_t all)
{
    if (!m_shown)
        return;
    const std::lock_guard lock(m_mutex);
    m_text = text + ' ' + std::to_string(done) + " of " + std::to_string(all);
    draw();
}

void Progress::setTiles(size_t frame, size_t done, size_t all)
{
    if (!m_shown)
        return;
    const double ofFrame =
        all == 0 ? 0.0 : std::min(1.0, static_cast<double>(done) / static_cast<double>(all));
    const double fraction = (static_cast<double>(frame) + ofFrame) / static_cast<double>(m_frames);
    const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - m_start;
    std::string text = barText(fraction);
    text += ' ' + std::to_string(done) + '/' + std::to_string(all) + " tiles";
    if (m_frames > 1)
        text += ", frame " + std::to_string(frame + 1) + " of " + std::to_string(m_frames);
    if (fraction > 0.01)
        text += ", " + durationText(spent.count() * (1 - fraction) / fraction) + " left";
    const std::lock_guard lock(m_mutex);
    m_text = text;
    draw();
}

void Progress::print(const std::string& line)
{
    const std::lock_guard lock(m_mutex);
    erase();
    std::cerr << line << '\n';
    draw();
}

void Progress::draw()
{
    if (m_text == m_bar)
        return;
    // The rest of a longer bar is cleared to the end of the line.
    std::cerr << '\r' << m_text << "\x1b[K" << std::flush;
    m_bar = m_text;
}

void Progress::erase()
{
    if (!m_bar.empty())
        std::cerr << "\r\x1b[K" << std::flush;
    m_bar.clear();
}

Ticker::Ticker(std::function<void()> tick) : m_tick(std::move(tick)), m_thread([this] { run(); }) {}

Ticker::~Ticker()
{
    {
        const std::lock_guard lock(m_mutex);
        m_ended = true;
    }
    m_changed.notify_one();
    m_thread.join();
}

void Ticker::run()
{
    std::unique_lock lock(m_mutex);
    while (!m_changed.wait_for(lock, s_period, [this] { return m_ended; }))
    {
        lock.unlock();
        m_tick();
        lock.lock();
    }
}

}
