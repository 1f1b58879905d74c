#pragma once

#include <csignal>
#include <cstdint>

#include <sys/resource.h>

namespace QUILT::Test
{

/// While it stands, files of this process end at that many bytes: what writes on meets EFBIG, as it
/// would meet a full disk.
class FileSizeLimit
{
public:
    explicit FileSizeLimit(uint64_t bytes) : m_handler(std::signal(SIGXFSZ, SIG_IGN))
    {
        ::getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit small = {bytes, m_before.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &small);
    }
    ~FileSizeLimit()
    {
        ::setrlimit(RLIMIT_FSIZE, &m_before);
        std::signal(SIGXFSZ, m_handler);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    rlimit m_before = {};
    void (*const m_handler)(int);
};

}
