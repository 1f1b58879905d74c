#include "HeaderChecks.h"

#include "Failure.h"

namespace EMULSION::Module
{

namespace
{

uint64_t numberAt(Stream& file, uint64_t place, int size, bool isLittle)
{
    unsigned char bytes[8] = {};
    file.pread(bytes, static_cast<size_t>(size), static_cast<int64_t>(place));
    uint64_t number = 0;
    for (int byte = 0; byte < size; ++byte)
        number = number << 8U | bytes[isLittle ? size - 1 - byte : byte];
    return number;
}

// Of DPX and Cineon, whose first byte tells the order of the others.
uint64_t filmNumber(Stream& file, uint64_t place)
{
    const uint64_t magic = numberAt(file, 0, 1, false);
    return numberAt(file, place, 4, magic == 'X' || magic == 0xd7);
}

[[noreturn]] void refuse(const char* what, uint64_t claimed)
{
    throw Failure(ERROR_FILE_FORMAT, "its header claims " + std::to_string(claimed) + " bytes of " +
                                         what + ", which the file does not have");
}

void checkUserData(Stream& file, uint64_t place)
{
    const uint64_t claimed = filmNumber(file, place);
    constexpr uint64_t undefined = 0xffffffff;
    if (claimed != undefined && claimed > file.size())
        refuse("user data", claimed);
}

void checkCineonDepths(Stream& file)
{
    const uint64_t channels = numberAt(file, 193, 1, false);
    if (channels > 8)
        throw Failure(ERROR_FILE_FORMAT, "its header claims more than 8 channels");
    for (uint64_t channel = 0; channel < channels; ++channel)
    {
        const uint64_t bits = numberAt(file, 196 + 28 * channel + 2, 1, false);
        if (bits != 8 && bits != 10 && bits != 12 && bits != 16)
            throw Failure(ERROR_FILE_FORMAT,
                          "its header claims samples of " + std::to_string(bits) + " bits");
    }
}

void checkPhotoshop(Stream& file)
{
    const uint64_t channels = numberAt(file, 12, 2, false), mode = numberAt(file, 24, 2, false);
    constexpr uint64_t rgb = 3, cmyk = 4, lab = 9;
    if (channels < (mode == cmyk ? 4U : mode == rgb || mode == lab ? 3U : 1U))
        throw Failure(ERROR_FILE_FORMAT, "its header claims " + std::to_string(channels) +
                                             " channels, which is less than its colours need");
    // Colours, resources and layers, one behind the other, each with its length before it.
    const bool isLarge = numberAt(file, 4, 2, false) == 2;
    uint64_t place = 26;
    for (const int size : {4, 4, isLarge ? 8 : 4})
    {
        const uint64_t claimed = numberAt(file, place, size, false);
        if (claimed > file.size())
            refuse("what stands before its samples", claimed);
        place += static_cast<uint64_t>(size) + claimed;
    }
}

}

void checkHeader(Stream& file, const std::string& format)
{
    if (format == "dpx")
        checkUserData(file, 32);
    else if (format == "cineon")
    {
        checkUserData(file, 16);
        checkCineonDepths(file);
    }
    else if (format == "psd")
        checkPhotoshop(file);
}

uint64_t cineonStart(Stream& file)
{
    return filmNumber(file, 4);
}

}
