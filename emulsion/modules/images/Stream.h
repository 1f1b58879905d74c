#pragma once

#include <cstdio>
#include <mutex>

#include <OpenImageIO/filesystem.h>

namespace EMULSION::Module
{

/// The caller's file in the form that OpenImageIO takes.
///
/// It hides from a format that a write has failed, and remembers it: the library behind JPEG ends
/// the process when it is told, and not all others pass it on.
class Stream final : public OIIO::Filesystem::IOProxy
{
public:
    Stream(int descriptor, Mode mode);
    ~Stream() override;
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    const char* proxytype() const override { return "descriptor"; }
    bool seek(int64_t offset) override;
    size_t read(void* bytes, size_t count) override;
    size_t write(const void* bytes, size_t count) override;
    size_t pread(void* bytes, size_t count, int64_t offset) override;
    size_t pwrite(const void* bytes, size_t count, int64_t offset) override;
    size_t size() const override;
    void flush() const override;

    /// From now on reads give zeros behind the end of the file, in place of less than was asked
    /// for. For PNG, where OpenImageIO loses memory each time that it reports such an end.
    void hideEnd() { m_hidesEnd = true; }

    /// Whether the system has refused something since the beginning.
    bool hasFailed() const { return m_error != 0; }
    /// What it said.
    std::string failure() const;
    /// Whether more was to be read than there was, since the last call.
    bool hasEnded();

private:
    void noteFailure() const;

    FILE* const m_file;
    mutable int m_error = 0; // of errno
    bool m_ended = false;
    bool m_hidesEnd = false;
    std::mutex m_mutex; // for pread and pwrite beside each other
};

}
