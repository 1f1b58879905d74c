#pragma once

#include <string>

// Libraries that are opened when the first file needs them, because they bring hundreds of others
// with them, which every start of every program would pay for.
namespace EMULSION::Private
{

struct ModuleName
{
    const char* file;     ///< "emulsion-io-images.so"
    const char* entry;    ///< the function that it exports
    const char* contents; ///< what it brings, for error texts: "PNG, TIFF and other pictures"
    const char* option;   ///< the build option that brings it
    const char* package;  ///< the Debian package that it needs
};

/// The address of the module's entry. The module is opened by the first call, and stays.
///
/// It is sought in the folders of EMULSION_MODULE_PATH (separated by colons) if that is set, else
/// in the folder "emulsion" beside libEMULSION.so. Throws FileError, ERROR_FILE_UNSUPPORTED, when
/// there is none or it cannot be opened; the text says which module, what is missing and what
/// brings it. A call after a failure tries again. Safe from any thread.
void* loadModule(const ModuleName& name);

}
