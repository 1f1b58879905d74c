#include <algorithm>
#include <atomic>
#include <string>
#include <thread>

#include <ImfThreading.h>

#include "EMULSION/ImageFile.h"
#include "files/FileFormat.h"
#include "Validation.h"

namespace EMULSION
{

namespace
{

std::atomic<int64_t> s_maxSide = int64_t{1} << 20;
std::atomic<int64_t> s_maxBytes = int64_t{1} << 36;
std::atomic<int> s_threads = -1; // -1: nobody has said

std::string limitsText(int64_t side, int64_t bytes)
{
    return "the limits are " + std::to_string(side) + " pixels a side and " +
           std::to_string(bytes) + " bytes";
}

}

void SetReadLimits(int64_t maxSide, int64_t maxBytes)
{
    if (maxSide < 1 || maxBytes < 1)
    {
        Private::invalidArgument("SetReadLimits", "limits start at 1.");
        return;
    }
    s_maxSide = maxSide;
    s_maxBytes = maxBytes;
}

void SetFileThreads(int count)
{
    if (count < 0)
        Private::invalidArgument("SetFileThreads",
                                 "there cannot be " + std::to_string(count) + " threads.");
    else
        s_threads = count;
}

namespace Private
{

void checkReadLimits(int64_t width, int64_t height, uint64_t pixelBytes)
{
    const int64_t maxSide = s_maxSide, maxBytes = s_maxBytes;
    const uint64_t most = std::max<uint64_t>(pixelBytes, 4 * sizeof(float));
    int64_t pixels = 0, bytes = 0;
    if (width <= maxSide && height <= maxSide && !__builtin_mul_overflow(width, height, &pixels) &&
        !__builtin_mul_overflow(pixels, most, &bytes) && bytes <= maxBytes)
        return;
    throw FileError(ERROR_IMAGE_TOO_LARGE, "it claims " + std::to_string(width) + " x " +
                                               std::to_string(height) + " pixels of " +
                                               std::to_string(most) + " bytes; " +
                                               limitsText(maxSide, maxBytes));
}

int fileThreads()
{
    const int wanted = s_threads;
    if (wanted >= 0)
    {
        if (Imf::globalThreadCount() != wanted)
            Imf::setGlobalThreadCount(wanted);
    }
    else if (Imf::globalThreadCount() == 0)
        Imf::setGlobalThreadCount(static_cast<int>(std::thread::hardware_concurrency()));
    return Imf::globalThreadCount();
}

}

}
