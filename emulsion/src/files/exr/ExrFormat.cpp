#include "files/exr/ExrReader.h"
#include "files/exr/ExrWriter.h"

namespace EMULSION::Private
{

namespace
{

class ExrFormat final : public FileFormat
{
public:
    bool recognises(const FoundFile& file) const override
    {
        static constexpr std::string_view magic = "\x76\x2f\x31\x01";
        return file.head.compare(0, magic.size(), magic) == 0;
    }

    std::unique_ptr<FileReader> open(FoundFile& file) const override
    {
        std::unique_ptr<FileReader> reader;
        throwingFileErrors([&] {
            ExrPart part(file);
            if (!part.picture().unreadable.empty())
                reader = std::make_unique<ExrDescribingReader>(std::move(part));
            else if (part.picture().description.isTiled)
                reader = std::make_unique<ExrTiledReader>(std::move(part));
            else
                reader = std::make_unique<ExrScanlineReader>(std::move(part));
        });
        return reader;
    }

    bool writes(std::string_view format) const override { return format == "exr"; }
    bool hasWindows() const override { return true; }

    std::unique_ptr<FileWriter> create(const NewFile& file) const override
    {
        return createExrWriter(file);
    }
};

}

const FileFormat& openExrFormat()
{
    static const ExrFormat format;
    return format;
}

}
