#include "files/Formats.h"

namespace EMULSION::Private
{

namespace
{

// In the order in which they are asked.
using FormatFunction = const FileFormat& (*)();
constexpr FormatFunction s_formats[] = {openExrFormat, moduleFormat};

}

const FileFormat& formatOf(const FoundFile& file)
{
    if (file.head.empty())
        throw FileError(ERROR_FILE_FORMAT, "the file is empty");
    for (const FormatFunction format : s_formats)
        if (format().recognises(file))
            return format();
    throw FileError(ERROR_FILE_FORMAT, "this is no image file of a kind that can be read");
}

const FileFormat& formatNamed(std::string_view name)
{
    for (const FormatFunction format : s_formats)
        if (format().writes(name))
            return format();
    throw FileError(ERROR_FILE_UNSUPPORTED,
                    "there is no format \"" + std::string(name) + "\" to write");
}

}
