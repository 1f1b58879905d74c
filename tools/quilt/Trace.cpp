#include "Trace.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <initializer_list>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Param.h"
#include "Problems.h"

namespace QuiltTool
{

namespace
{

constexpr std::string_view s_beginning =
    "{\"displayTimeUnit\":\"ms\",\"traceEvents\":[\n"
    R"({"name":"process_name","ph":"M","pid":1,"args":{"name":"quilt render"}})";
constexpr std::string_view s_end = "\n]}\n";
constexpr size_t s_kept = 1 << 16; // bytes of events a thread

std::string quoted(const std::string& text)
{
    return Json(text).dump(-1, ' ', false, Json::error_handler_t::replace);
}

// As the format wants it: microseconds, here to the nanosecond.
std::string microseconds(std::chrono::nanoseconds time)
{
    const long all = std::max<long>(0, time.count());
    const std::string fraction = std::to_string(1000 + all % 1000);
    return std::to_string(all / 1000) + '.' + fraction.substr(1);
}

std::string listText(std::initializer_list<int64_t> numbers)
{
    std::string text;
    for (const int64_t number : numbers)
        text += (text.empty() ? "[" : ",") + std::to_string(number);
    return text + ']';
}

}

Trace::Trace(const std::string& file)
    : m_file(file),
      m_descriptor(::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666))
{
    struct stat status = {};
    m_seekable =
        m_descriptor >= 0 && ::fstat(m_descriptor, &status) == 0 && S_ISREG(status.st_mode);
    std::string events(s_beginning);
    if (m_descriptor >= 0)
        write(events);
    if (m_descriptor >= 0 && m_error == 0)
        return;
    const int error = m_descriptor < 0 ? errno : m_error;
    if (m_descriptor >= 0)
        ::close(m_descriptor);
    throw UsageError("--trace: " + file + " cannot be written: " + std::strerror(error));
}

Trace::~Trace()
{
    if (m_descriptor >= 0)
        end();
}

void Trace::add(const QUILT::TileReport& report, int64_t frame)
{
    m_events.withOwn([&](Row& row) {
        if (row.number == 0)
        {
            row.number = ++m_rows;
            const std::string number = std::to_string(row.number);
            row.events += ",\n{\"name\":\"thread_name\",\"ph\":\"M\",\"pid\":1,\"tid\":" + number +
                          ",\"args\":{\"name\":\"render thread " + number + "\"}}";
        }
        const std::string name = quoted(report.taskName);
        const std::string ofFrame = "\"frame\":" + std::to_string(frame);
        const UTIL::Rect& rect = report.rect;
        row.events += beginning(name, quoted(report.taskType), report.span, row.number) + ofFrame +
                      ",\"tile\":" + listText({report.id.x, report.id.y}) +
                      ",\"rect\":" + listText({rect.x0, rect.y0, rect.x1, rect.y1}) +
                      ",\"cached\":" + (report.fromCache ? "true" : "false") + "}}";
        if (report.preRender.end > report.preRender.begin)
            row.events +=
                beginning("\"preRender\"", "\"preRender\"", report.preRender, row.number) +
                ofFrame + ",\"task\":" + name + "}}";
        if (row.events.size() >= s_kept)
            write(row.events);
    });
}

std::string Trace::beginning(const std::string& name, const std::string& category,
                             const QUILT::TimeSpan& span, size_t row) const
{
    return ",\n{\"name\":" + name + ",\"cat\":" + category +
           ",\"ph\":\"X\",\"pid\":1,\"tid\":" + std::to_string(row) +
           ",\"ts\":" + microseconds(span.begin - m_start) +
           ",\"dur\":" + microseconds(span.end - span.begin) + ",\"args\":{";
}

void Trace::flush()
{
    m_events.forEach([this](Row& row) { write(row.events); });
}

void Trace::close()
{
    end();
    if (m_error != 0)
        throw Failed("the trace cannot be written to " + m_file + ": " + std::strerror(m_error));
}

void Trace::end()
{
    flush();
    if (!m_seekable)
        writeAll(s_end, 0);
    if (::close(m_descriptor) != 0 && m_error == 0)
        m_error = errno;
    m_descriptor = -1;
}

// What ends the file goes along each time, and the next events over it. Where they do not fit, the
// file ends behind those that did.
void Trace::write(std::string& events)
{
    const std::lock_guard lock(m_mutex);
    const size_t size = events.size();
    if (m_seekable)
        events += s_end;
    if (m_error == 0 && size > 0)
    {
        if (writeAll(events, m_size))
            m_size += size;
        else if (m_seekable && m_size > 0 && ::ftruncate(m_descriptor, m_size) == 0)
            writeAll(s_end, m_size);
    }
    events.clear();
}

bool Trace::writeAll(std::string_view text, size_t offset)
{
    while (!text.empty())
    {
        const ssize_t written = m_seekable ? ::pwrite(m_descriptor, text.data(), text.size(),
                                                      static_cast<off_t>(offset))
                                           : ::write(m_descriptor, text.data(), text.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
        {
            m_error = m_error == 0 ? errno : m_error;
            return false;
        }
        text.remove_prefix(static_cast<size_t>(written));
        offset += static_cast<size_t>(written);
    }
    return true;
}

}
