#include "files/ModuleFormat.h"

#include <string>

#include "files/Modules.h"

namespace EMULSION::Private
{

namespace
{

constexpr ModuleName s_name = {"emulsion-io-images.so", Module::imageModuleEntryName,
                               "TIFF, PNG, JPEG, DPX and other still formats",
                               "QUILT_WITH_IMAGES=ON", "libopenimageio2.4"};

class StillFormat final : public FileFormat
{
public:
    bool recognises(const FoundFile& file) const override { return pictureKindOf(file).name; }

    std::unique_ptr<FileReader> open(FoundFile& file) const override
    {
        const PictureKind kind = pictureKindOf(file);
        if (!kind.format)
            throw FileError(ERROR_FILE_UNSUPPORTED,
                            std::string(kind.name) + " files are not among those that can be read");
        return openInModule(file, kind);
    }

    bool writes(std::string_view format) const override { return isWrittenInModule(format); }
    bool hasWindows() const override { return false; }

    std::unique_ptr<FileWriter> create(const NewFile& file) const override
    {
        return createInModule(file);
    }
};

}

const Module::ImageModule& imageModule()
{
#ifndef EMULSION_WITH_IMAGES
    throw FileError(ERROR_FILE_UNSUPPORTED, std::string("this library was built without ") +
                                                s_name.contents + " (they come with " +
                                                s_name.option + ")");
#else
    const auto entry = reinterpret_cast<Module::ImageModuleEntry>(loadModule(s_name));
    const Module::ImageModule* const module = entry();
    if (module->version != Module::imageModuleVersion)
        throw FileError(ERROR_FILE_UNSUPPORTED,
                        std::string("the module ") + s_name.file + " belongs to another version");
    return *module;
#endif
}

void raise(const Module::Fault& fault)
{
    throw FileError(static_cast<Error>(fault.code), fault.text);
}

const FileFormat& moduleFormat()
{
    static const StillFormat s_format;
    return s_format;
}

}
