#include <atomic>
#include <fstream>
#include <iostream>
#include <memory>
#include <mutex>
#include <streambuf>
#include <string>

#include "private/RenderLog.h"
#include "QUILT/RenderManager.h"

// What code deep inside tasks and tiles needs of RenderManager before any render runs: the debug
// trace and the cancellation poll.

namespace QUILT
{

namespace
{

// Discards everything; its area is written over when it is full.
class nullbuf final : public std::streambuf
{
protected:
    int overflow(int c) override
    {
        setp(m_area, m_area + sizeof m_area);
        return traits_type::not_eof(c);
    }

    std::streamsize xsputn(const char*, std::streamsize count) override { return count; }

private:
    char m_area[1024];
};

class nullstream final : public std::ostream
{
public:
    nullstream() : std::ostream(&m_buffer) { rdbuf(&m_buffer); }

private:
    nullbuf m_buffer;
};

std::atomic<bool> s_renderDebug{false};

// Where the trace goes. Never destroyed: worker threads may write until the process is gone.
struct RenderLog
{
    std::mutex mutex; // a leaf lock: guards the stream and what is written to it
    std::ostream* s_renderLogStream = &std::cerr;

    void write(const std::string& lines)
    {
        const std::lock_guard lock(mutex);
        s_renderLogStream->write(lines.data(), static_cast<std::streamsize>(lines.size()));
        s_renderLogStream->flush();
    }

    void redirect(const std::string& path)
    {
        const std::lock_guard lock(mutex);
        if (s_renderLogStream != &std::cerr)
            delete s_renderLogStream;
        s_renderLogStream =
            path.empty() ? &std::cerr : new std::ofstream(path, std::ios::out | std::ios::app);
    }
};

RenderLog& renderLog()
{
    static RenderLog* const log = new RenderLog;
    return *log;
}

// Collects what one thread writes and hands on whole lines, so that those of several threads do not
// mix.
class LineBuffer final : public std::streambuf
{
public:
    ~LineBuffer() override
    {
        if (!m_line.empty())
            renderLog().write(m_line + '\n');
    }

protected:
    int overflow(int c) override
    {
        if (!traits_type::eq_int_type(c, traits_type::eof()))
        {
            const char character = traits_type::to_char_type(c);
            xsputn(&character, 1);
        }
        return traits_type::not_eof(c);
    }

    std::streamsize xsputn(const char* text, std::streamsize count) override
    {
        m_line.append(text, static_cast<size_t>(count));
        if (const size_t end = m_line.rfind('\n'); end != std::string::npos)
        {
            renderLog().write(m_line.substr(0, end + 1));
            m_line.erase(0, end + 1);
        }
        return count;
    }

private:
    std::string m_line;
};

class LineStream final : public std::ostream
{
public:
    LineStream() : std::ostream(nullptr) { rdbuf(&m_buffer); }

private:
    LineBuffer m_buffer;
};

// One for each thread: a thread touches only its own, so the poll needs no lock.
thread_local std::unique_ptr<RenderManager::CancelChecker> s_cancelChecker;

}

void Private::writeToLog(const std::string& lines)
{
    renderLog().write(lines);
}

RenderManager::CancelChecker::~CancelChecker() = default;

bool RenderManager::CheckAbort()
{
    return s_cancelChecker && s_cancelChecker->isCancelled();
}

void RenderManager::SetCancelChecker(CancelChecker* checker)
{
    s_cancelChecker.reset(checker);
}

void RenderManager::setRenderDebug(bool debug)
{
    s_renderDebug = debug;
}

void RenderManager::setRenderLogFile(const std::string& path)
{
    renderLog().redirect(path);
}

std::ostream& RenderManager::debugStream()
{
    thread_local nullstream s_nullStream;
    thread_local LineStream s_lineStream;
    if (s_renderDebug.load(std::memory_order_relaxed))
        return s_lineStream;
    return s_nullStream;
}

}
