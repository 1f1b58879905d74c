#include <EMULSION/Error.h>
#include <EMULSION/ImageFile.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

using namespace EMULSION;

namespace
{

constexpr int64_t s_maxSide = 2048;
constexpr int64_t s_maxBytes = int64_t{16} << 20;

// A file in memory that has a name.
class MemoryFile
{
public:
    MemoryFile(const uint8_t* bytes, size_t size)
        : m_descriptor(::memfd_create("fuzz", MFD_CLOEXEC))
    {
        if (m_descriptor < 0 || ::write(m_descriptor, bytes, size) != static_cast<ssize_t>(size))
            std::abort();
    }
    ~MemoryFile() { ::close(m_descriptor); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    std::string path() const { return "/proc/self/fd/" + std::to_string(m_descriptor); }

private:
    const int m_descriptor;
};

// Pixels that nobody wrote keep this value, which no file of sense holds.
constexpr float s_untouched = -1.2345e33f;

void readRectangle(ReadImageFunction& function, const UTIL::Rect& bounds)
{
    std::vector<float> floats(static_cast<size_t>(bounds.width() * bounds.height() * 4),
                              s_untouched);
    Image image;
    image.channels = 15;
    image.bounds = bounds;
    image.rowBytes = static_cast<uint64_t>(bounds.width()) * 16;
    image.pixelPtr = floats.data();
    function(&image);
    if (std::find(floats.begin(), floats.end(), s_untouched) != floats.end())
        std::abort();
    ClearError();
}

void readPixels(const std::string& path, const ImageDescription& description)
{
    const auto function = createReadImageFunction(path.c_str(), {});
    if (!function)
    {
        if (GetError() == ERROR_NONE)
            std::abort();
        ClearError();
        return;
    }
    const UTIL::Rect all = description.dataRegion.getBounds();
    if (all.isNull() || all.width() > s_maxSide || all.height() > s_maxSide)
        std::abort();
    readRectangle(*function, all);
    const UTIL::Rect part(all.x0 + all.width() / 3, all.y0 + all.height() / 4,
                          all.x1 - all.width() / 4 + 1, all.y1 - all.height() / 3);
    if (!part.isNull())
        readRectangle(*function, part);
}

}

// The header and the pixels of the OpenEXR reader: no crash, no pixel left as it was, no error
// without a text, and no more memory than the limits and -malloc_limit_mb allow.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    SetReadLimits(s_maxSide, s_maxBytes);
    SetFileThreads(0);
    const MemoryFile file(bytes, size);
    ImageDescription description;
    ReadImageDescription(&description, file.path().c_str());
    if (GetError() == ERROR_NONE)
        readPixels(file.path(), description);
    else if (GetErrorMessage().find(file.path()) == std::string::npos)
        std::abort();
    ClearError();
    return 0;
}
